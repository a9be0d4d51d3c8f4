// The folder of a side's key containers on the disk: one writer at a time, and container
// folders that show whole or not at all. Failures are thrown with the file's name.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "platform/base/bytes.h"
#include "platform/base/descriptor.h"
#include "platform/base/home.h"

namespace platform {

std::filesystem::path ContainersOf(Side side);

// False for "no such file" alone: what cannot be looked at is an error, never nothing.
bool FileIsThere(const std::filesystem::path& file);
std::vector<std::filesystem::path> EntriesOf(const std::filesystem::path& folder);

// Both at once and for good; neither minds when it is so already.
void AddEmptyFile(const std::filesystem::path& file);
void RemoveFile(const std::filesystem::path& file);

// Held while a side's containers change; a second one in the same process shares the first.
// Taking it makes the folder and clears away what killed writers left: they are gone, or
// they would still hold it. Throws ERROR_SHARING_VIOLATION when another process keeps it
// for longer than a change takes. One thread changes containers.
class ContainerLock {
  public:
    explicit ContainerLock(Side side);

  private:
    std::shared_ptr<Descriptor> file_;
};

// A folder under a name that no container can have, so that nobody sees it until it takes a
// container's place. A ContainerLock must be held. What is left of it goes with its holder.
class StagedFolder {
  public:
    explicit StagedFolder(Side side);
    ~StagedFolder();
    StagedFolder(const StagedFolder&) = delete;
    StagedFolder& operator=(const StagedFolder&) = delete;

    void Add(const std::string& file, ByteView content) const;
    // Gives it a container's name that is free.
    void Publish(const std::string& name);
    // Puts it in a container's place, or nothing, and removes what stood there.
    void Replace(const std::string& name);
    void TakeAway(const std::string& name);

  private:
    void Remove();

    std::filesystem::path root_;
    std::string path_;
    bool there_ = true;
};

}  // namespace platform
