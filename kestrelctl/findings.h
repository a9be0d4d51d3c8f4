// What doctor finds on one side, and its checks.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "platform/base/descriptor.h"
#include "platform/base/error.h"
#include "platform/base/home.h"

namespace kestrelctl {

struct Finding {
    std::string side;  // "user", "machine" or "system"
    std::string kind;  // docs/json.md lists them
    std::string place;
    std::string finding;
    std::string remedy;  // a line for the shell, a remark behind it as a comment
};

class Findings {
  public:
    explicit Findings(platform::Side side) : side_(side) {}

    void Add(const char* kind, std::string place, std::string finding, std::string remedy);
    // Runs `check`; a failure is a finding, with that remedy when something is damaged.
    void Try(const std::string& place, const std::string& remedy,
             const std::function<void()>& check);
    using Remedy = std::function<std::string(const platform::Error&)>;
    void Try(const std::string& place, const Remedy& remedy, const std::function<void()>& check);

    [[nodiscard]] platform::Side GetSide() const { return side_; }
    [[nodiscard]] std::filesystem::path Home() const { return platform::HomeOf(side_); }
    // "kestrelctl ...", with --machine for that side.
    [[nodiscard]] std::string Ctl(const std::string& words) const;
    [[nodiscard]] const std::vector<Finding>& All() const { return all_; }

    // Whether another process had something that was to be looked at.
    [[nodiscard]] bool MetBusy() const { return metBusy_; }

  private:
    platform::Side side_;
    bool metBusy_ = false;
    std::vector<Finding> all_;
};

// Whether another process has it; looking again may go well.
bool IsBusy(const platform::Error& error);

// Keeps others from changing a side's containers while they are looked at, where the lock may be
// opened. Throws ERROR_SHARING_VIOLATION when another process keeps it.
class ContainersHeld {
  public:
    explicit ContainersHeld(platform::Side side);

  private:
    platform::Descriptor lock_;
};

// A word as a shell takes it.
std::string ShellWord(const std::string& word);

// A line that lets the side's owner, and on the machine's all users, at what is barred.
std::string GiveAccess(const Findings& findings, const std::filesystem::path& wanted);

// Whether it can be read as a file, or is not there: opening a pipe would wait for who writes into
// it.
bool IsFileOrNothing(Findings& findings, const std::filesystem::path& file);
bool IsFolderOrNothing(Findings& findings, const std::filesystem::path& folder);

// The settings of a side; they need no home. False when going on would open one that is no file.
bool CheckSettings(Findings& findings);
// Home, files, their modes and owners, leftovers, the cache. False when there is no home
// that could be looked into.
bool CheckFiles(Findings& findings);
// The stores and the certificates in them, and the containers.
void CheckIdentities(Findings& findings);

}  // namespace kestrelctl
