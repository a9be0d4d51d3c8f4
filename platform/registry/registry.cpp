// The settings of both sides.
#include "platform/registry/registry.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>

#include "platform/base/error.h"
#include "platform/base/folder_lock.h"
#include "platform/base/text.h"
#include "platform/providers/algorithms.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFileName = "registry.reg";
constexpr const char* kPolicyFile = "/etc/kestrel/registry.reg";
constexpr const char* kProviderTypes =
    "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types\\";

std::wstring FoldedName(std::string_view name) {
    std::wstring folded;
    while (!name.empty()) folded += FoldCase(TakeCharacter(name));
    return folded;
}

// Takes the first name off a path.
std::string_view TakeName(std::string_view& path) {
    const std::size_t end = std::min(path.find('\\'), path.size());
    const std::string_view name = path.substr(0, end);
    path.remove_prefix(std::min(end + 1, path.size()));
    return name;
}

std::shared_ptr<RegistryNode> Child(const RegistryNode& node, std::string_view name) {
    const auto found = node.keys.find(FoldedName(name));
    return found == node.keys.end() ? nullptr : found->second;
}

RegistryNode& MakeKey(RegistryNode& root, std::string_view path) {
    RegistryNode* node = &root;
    while (!path.empty()) {
        const std::string_view name = TakeName(path);
        auto& child = node->keys[FoldedName(name)];
        if (child == nullptr) child = std::make_shared<RegistryNode>();
        if (child->name.empty()) child->name = name;
        node = child.get();
    }
    return *node;
}

RegistryNode* FindForChange(RegistryNode& root, std::string_view path) {
    RegistryNode* node = &root;
    while (node != nullptr && !path.empty()) node = Child(*node, TakeName(path)).get();
    return node;
}

void RemoveKey(RegistryNode& root, std::string_view path) {
    const std::size_t cut = path.rfind('\\');
    const bool nested = cut != std::string_view::npos;
    RegistryNode* parent = nested ? FindForChange(root, path.substr(0, cut)) : &root;
    if (parent != nullptr) parent->keys.erase(FoldedName(nested ? path.substr(cut + 1) : path));
}

// The values of a key while a block of statements changes them, found by name: lists come with
// many thousands of entries.
class ValueChange {
  public:
    explicit ValueChange(std::vector<RegistryValue> values) {
        for (auto& value : values) Put(std::move(value));
    }
    void Put(RegistryValue value) {
        const auto [place, fresh] = places_.emplace(FoldedName(value.name), values_.size());
        if (fresh) values_.emplace_back();
        values_[place->second] = std::move(value);
    }
    void Remove(std::string_view name) {
        const auto place = places_.find(FoldedName(name));
        if (place == places_.end()) return;
        values_[place->second].reset();
        places_.erase(place);
    }
    // In order of their first mention.
    std::vector<RegistryValue> Take() {
        std::vector<RegistryValue> left;
        for (auto& value : values_) {
            if (value) left.push_back(*std::move(value));
        }
        return left;
    }

  private:
    std::vector<std::optional<RegistryValue>> values_;
    std::map<std::wstring, std::size_t> places_;
};

bool SetsValue(const RegistryEdit& edit) { return edit.action == RegistryEdit::Action::SetValue; }

// The provider types that the platform has, as an administrator's file would list them.
RegistryDocument BuiltIn() {
    RegistryDocument document;
    for (const ProviderRow& row : ProviderTable()) {
        char key[16];
        std::snprintf(key, sizeof key, "Type %03u", static_cast<unsigned>(row.type));
        document.Set(std::string(kProviderTypes) + key, TextValue("Name", row.name));
        document.Set(std::string(kProviderTypes) + key, TextValue("TypeName", row.typeName));
    }
    return document;
}

bool IsMissing(const Error& error) {
    return error.Code() == ERROR_FILE_NOT_FOUND || error.Code() == ERROR_PATH_NOT_FOUND;
}

RegistryDocument ReadDocument(const fs::path& file) {
    Bytes content;
    try {
        content = ReadOwnFile(file);
    } catch (const Error& error) {
        if (!IsMissing(error)) throw;
        return {};
    }
    return RegistryDocument::Parse(content, file.string());
}

// What tells one content of a file from another without reading it; zeros for none.
struct FileStamp {
    ino_t inode = 0;
    off_t size = 0;
    time_t seconds = 0;
    long nanoseconds = 0;
    friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

FileStamp StampOf(const fs::path& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) return {};
    return {status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

struct CachedSide {
    std::vector<std::pair<fs::path, FileStamp>> files;
    std::shared_ptr<const RegistryTree> tree;
};

CachedSide& CacheOf(Side side) {
    static CachedSide cache[2];
    return cache[side == Side::User ? 0 : 1];
}

}  // namespace

const RegistryValue* RegistryNode::FindValue(std::string_view valueName) const {
    for (const RegistryValue& value : values) {
        if (SameName(value.name, valueName)) return &value;
    }
    return nullptr;
}

RegistryTree::RegistryTree(std::string rootName)
    : rootName_(std::move(rootName)), root_(std::make_shared<RegistryNode>()) {}

void RegistryTree::Apply(const RegistryDocument& document) {
    for (std::span<const RegistryEdit> rest = document.Edits(); !rest.empty();) {
        const auto block = rest.first(BlockSize(rest));
        Apply(block);
        rest = rest.subspan(block.size());
    }
}

void RegistryTree::Apply(std::span<const RegistryEdit> block) {
    std::string_view path = block.front().key;
    if (!SameName(TakeName(path), rootName_)) return;
    switch (block.front().action) {
        case RegistryEdit::Action::CreateKey:
            MakeKey(*root_, path);
            break;
        case RegistryEdit::Action::DeleteKey:
            RemoveKey(*root_, path);
            break;
        default:
            ApplyValues(path, block);
    }
}

// Deleting a value makes no key.
void RegistryTree::ApplyValues(std::string_view path, std::span<const RegistryEdit> block) {
    RegistryNode* const node = std::ranges::any_of(block, SetsValue) ? &MakeKey(*root_, path)
                                                                     : FindForChange(*root_, path);
    if (node == nullptr) return;
    ValueChange change(std::move(node->values));
    for (const RegistryEdit& edit : block) {
        if (SetsValue(edit)) {
            change.Put(edit.value);
        } else {
            change.Remove(edit.value.name);
        }
    }
    node->values = change.Take();
}

std::shared_ptr<const RegistryNode> FindKey(std::shared_ptr<const RegistryNode> node,
                                            std::string_view path) {
    while (node != nullptr && !path.empty()) node = Child(*node, TakeName(path));
    return node;
}

RegistryTree LoadTree(Side side, std::span<const fs::path> files) {
    RegistryTree tree(side == Side::User ? kUserRoot : kMachineRoot);
    if (side == Side::Machine) tree.Apply(BuiltIn());
    for (const fs::path& file : files) tree.Apply(ReadDocument(file));
    return tree;
}

std::vector<fs::path> RegistryFiles(Side side) {
    std::vector<fs::path> files{OwnRegistryFile(side)};
    if (side == Side::Machine) files.emplace_back(kPolicyFile);
    return files;
}

std::shared_ptr<const RegistryTree> LoadSide(Side side) {
    CachedSide& cache = CacheOf(side);
    const std::vector<fs::path> names = RegistryFiles(side);
    std::vector<std::pair<fs::path, FileStamp>> files;
    for (const fs::path& name : names) files.emplace_back(name, StampOf(name));
    if (!cache.tree || cache.files != files) {
        cache.tree = std::make_shared<const RegistryTree>(LoadTree(side, names));
        cache.files = std::move(files);
    }
    return cache.tree;
}

void ForgetRegistry() {
    for (const Side side : {Side::User, Side::Machine}) CacheOf(side).tree = nullptr;
}

std::optional<DWORD> ReadMachineDword(std::string_view path, std::string_view name) {
    const auto key = FindKey(LoadSide(Side::Machine)->Root(), path);
    const RegistryValue* value = key == nullptr ? nullptr : key->FindValue(name);
    return value == nullptr ? std::nullopt : NumberOf(*value);
}

std::string ReadMachineText(std::string_view path, std::string_view name) {
    const auto key = FindKey(LoadSide(Side::Machine)->Root(), path);
    const RegistryValue* value = key == nullptr ? nullptr : key->FindValue(name);
    return value == nullptr ? "" : TextOf(*value);
}

namespace {

std::string GostCipherSetting() {
    return ReadMachineText("Software\\Kestrel\\Platform", "GostCipher");
}
[[maybe_unused]] const bool settingBrought = (SetCipherSetting(&GostCipherSetting), true);

}  // namespace

fs::path OwnRegistryFile(Side side) { return HomeOf(side) / kFileName; }

RegistryDocument LoadOwnDocument(Side side) { return ReadDocument(OwnRegistryFile(side)); }

void ChangeOwnDocument(Side side, const std::function<void(RegistryDocument&)>& change) {
    const FolderLock lock(EnsureHome(side));
    RegistryDocument document = LoadOwnDocument(side);
    change(document);
    ReplaceFile(OwnRegistryFile(side), ViewOf(document.Serialize()),
                side == Side::User ? 0600 : 0644);
    ForgetRegistry();
}

}  // namespace platform
