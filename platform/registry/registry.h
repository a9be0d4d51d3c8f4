// The settings of both sides. HKEY_CURRENT_USER is registry.reg of the user's home;
// HKEY_LOCAL_MACHINE is what is built in, registry.reg of the machine's home, and
// /etc/kestrel/registry.reg, each winning over the one before.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/base/home.h"
#include "platform/registry/document.h"

namespace platform {

// A key with what is under it. Names fold case; keys are in order of their folded names,
// values in order of their first mention.
struct RegistryNode {
    std::string name;
    std::vector<RegistryValue> values;
    std::map<std::wstring, std::shared_ptr<RegistryNode>> keys;

    // Null when there is none of that name.
    [[nodiscard]] const RegistryValue* FindValue(std::string_view valueName) const;
};

class RegistryTree {
  public:
    // `rootName`: "HKEY_LOCAL_MACHINE" or another root; only keys under it are taken.
    explicit RegistryTree(std::string rootName);

    void Apply(const RegistryDocument& document);
    [[nodiscard]] std::shared_ptr<const RegistryNode> Root() const { return root_; }

  private:
    void Apply(std::span<const RegistryEdit> block);
    void ApplyValues(std::string_view path, std::span<const RegistryEdit> block);
    std::string rootName_;
    std::shared_ptr<RegistryNode> root_;
};

// A key below `node`, "\" between names; null when there is none. An empty path is the
// node itself.
std::shared_ptr<const RegistryNode> FindKey(std::shared_ptr<const RegistryNode> node,
                                            std::string_view path);

inline constexpr const char* kUserRoot = "HKEY_CURRENT_USER";
inline constexpr const char* kMachineRoot = "HKEY_LOCAL_MACHINE";

// What is built in with the files laid over it in their order. A missing file says
// nothing; a damaged one throws ERROR_BADDB with its name and line.
RegistryTree LoadTree(Side side, std::span<const std::filesystem::path> files);

// The files that make up one side, in the order in which they are laid.
std::vector<std::filesystem::path> RegistryFiles(Side side);

// One side as this process sees it: read again when one of its files changed, when the home
// moved or ForgetRegistry was called.
std::shared_ptr<const RegistryTree> LoadSide(Side side);
void ForgetRegistry();

// A DWORD of the machine's side, by a path under the root.
std::optional<DWORD> ReadMachineDword(std::string_view path, std::string_view name);
// The same of a text; empty when there is none.
std::string ReadMachineText(std::string_view path, std::string_view name);

// One side's own file (that in its home), for changing it. An absent one is empty.
std::filesystem::path OwnRegistryFile(Side side);
RegistryDocument LoadOwnDocument(Side side);
// Reads it, lets `change` work on it and puts it back as one step: what other processes set
// meanwhile is not lost.
void ChangeOwnDocument(Side side, const std::function<void(RegistryDocument&)>& change);

}  // namespace platform
