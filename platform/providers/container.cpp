#include "platform/providers/container.h"

#include <fcntl.h>
#include <openssl/err.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>

#include "platform/base/error.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/key_file.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

constexpr unsigned kFileMode = 0600;
constexpr mode_t kFolderMode = 0700;
constexpr const char* kTypeFile = "provider.type";

fs::path RootOf(Side side) { return HomeOf(side) / "containers"; }

fs::path FolderOf(Side side, std::string_view name) { return RootOf(side) / name; }

fs::path EnsureRoot(Side side) {
    EnsureHome(side);
    fs::path root = RootOf(side);
    // Names of the machine's containers are everybody's to see, their content is not.
    const mode_t mode = side == Side::User ? kFolderMode : 0755;
    if (mkdir(root.c_str(), mode) == 0) {
        if (chmod(root.c_str(), mode) != 0) ThrowErrno(errno, root);
    } else if (errno != EEXIST) {
        ThrowErrno(errno, root);
    }
    return root;
}

[[noreturn]] void ThrowDamaged(const fs::path& file) {
    ERR_clear_error();
    throw Error(NTE_KEYSET_ENTRY_BAD, file.string());
}

bool Exists(const fs::path& path) {
    std::error_code error;
    return fs::exists(path, error);
}

DWORD ParseType(ByteView content) {
    const auto* begin = reinterpret_cast<const char*>(content.data());
    const char* end = begin + content.size();
    DWORD type = 0;
    const auto [rest, error] = std::from_chars(begin, end, type);
    const bool whole = error == std::errc() && std::string_view(rest, end) == "\n";
    return whole && FindProvider(type) != nullptr ? type : 0;
}

DWORD ReadType(const fs::path& folder) {
    const fs::path file = folder / kTypeFile;
    // A folder without this file was put together by hand or lost it.
    if (Exists(folder) && access(folder.c_str(), X_OK) == 0 && !Exists(file)) ThrowDamaged(file);
    const DWORD type = ParseType(ReadWholeFile(file));
    if (type == 0) ThrowDamaged(file);
    return type;
}

// False for a container that belongs to another user.
bool HasType(const fs::path& folder, DWORD type) {
    try {
        return SameFamily(ReadType(folder), type);
    } catch (const Error& error) {
        if (error.Code() != ERROR_ACCESS_DENIED) throw;
        return false;
    }
}

// A folder under a name that no container can have. Until it is renamed nobody sees it,
// so that a process killed halfway leaves no half of a container.
class HiddenFolder {
  public:
    explicit HiddenFolder(const fs::path& root) : path_((root / "\\XXXXXX").string()) {
        if (mkdtemp(path_.data()) == nullptr) ThrowErrno(errno, root);
    }
    ~HiddenFolder() {
        std::error_code error;
        if (!kept_) fs::remove_all(path_, error);
    }
    HiddenFolder(const HiddenFolder&) = delete;
    HiddenFolder& operator=(const HiddenFolder&) = delete;
    [[nodiscard]] const std::string& Path() const { return path_; }
    void RenameTo(const fs::path& folder) {
        if (renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, folder.c_str(), RENAME_NOREPLACE) != 0) {
            if (errno == EEXIST) throw Error(NTE_EXISTS, folder.filename().string());
            ThrowErrno(errno, folder);
        }
        kept_ = true;
    }

  private:
    std::string path_;
    bool kept_ = false;
};

KeyFile ReadKeyFile(const fs::path& file) {
    if (!Exists(file)) throw Error(NTE_NO_KEY);
    Bytes content = ReadWholeFile(file);
    std::optional<KeyFile> key = ParseKeyFile(content);
    Wipe(content);
    if (!key) ThrowDamaged(file);
    return *std::move(key);
}

void CheckName(std::string_view name, LONG code) {
    if (!Container::ValidName(name)) throw Error(code, std::string(name));
}

// As long as a file name may be.
constexpr std::size_t kLongestName = 255;

bool IsControl(char character) {
    const auto value = static_cast<unsigned char>(character);
    return value < 0x20 || value == 0x7F;
}

}  // namespace

bool Container::ValidName(std::string_view name) {
    return !name.empty() && name.size() <= kLongestName && name != "." && name != ".." &&
           name.find_first_of("/\\") == std::string_view::npos &&
           std::ranges::none_of(name, IsControl);
}

std::vector<std::string> Container::List(Side side, DWORD type) {
    std::vector<std::string> names;
    const fs::path root = RootOf(side);
    if (!Exists(root)) return names;
    std::error_code error;
    for (fs::directory_iterator at(root, error), end; !error && at != end; at.increment(error)) {
        const std::string name = at->path().filename().string();
        std::error_code ignored;
        if (!ValidName(name) || !at->is_directory(ignored)) continue;
        if (type == 0 || HasType(at->path(), type)) names.push_back(name);
    }
    if (error) ThrowErrno(error.value(), root);
    std::ranges::sort(names);
    return names;
}

Container::Container(Side side, std::string name, DWORD type)
    : side_(side), name_(std::move(name)), type_(type) {}

Container Container::Open(Side side, std::string_view name) {
    CheckName(name, NTE_BAD_KEYSET);
    const fs::path folder = FolderOf(side, name);
    if (!Exists(folder)) throw Error(NTE_BAD_KEYSET, std::string(name));
    return {side, std::string(name), ReadType(folder)};
}

Container Container::Create(Side side, std::string_view name, DWORD type) {
    CheckName(name, ERROR_INVALID_PARAMETER);
    if (FindProvider(type) == nullptr) throw Error(NTE_PROV_TYPE_NOT_DEF);
    const fs::path root = EnsureRoot(side);
    if (Exists(root / name)) throw Error(NTE_EXISTS, std::string(name));
    HiddenFolder folder(root);
    ReplaceFile(fs::path(folder.Path()) / kTypeFile, ViewOf(std::to_string(type) + "\n"),
                kFileMode);
    folder.RenameTo(root / name);
    return {side, std::string(name), type};
}

void Container::Delete(Side side, std::string_view name) {
    CheckName(name, NTE_BAD_KEYSET);
    const fs::path folder = FolderOf(side, name);
    if (!Exists(folder)) throw Error(NTE_BAD_KEYSET, std::string(name));
    // Into a hidden folder first: a container is there whole or not at all.
    const HiddenFolder grave(RootOf(side));
    if (rename(folder.c_str(), grave.Path().c_str()) != 0) ThrowErrno(errno, folder);
}

fs::path Container::FileOf(DWORD keySpec, const char* extension) const {
    if (keySpec != AT_KEYEXCHANGE && keySpec != AT_SIGNATURE) throw Error(NTE_NO_KEY);
    const std::string stem = keySpec == AT_KEYEXCHANGE ? "exchange" : "signature";
    return FolderOf(side_, name_) / (stem + extension);
}

bool Container::HasKey(DWORD keySpec) const {
    const bool known = keySpec == AT_KEYEXCHANGE || keySpec == AT_SIGNATURE;
    return known && Exists(FileOf(keySpec, ".key"));
}

bool Container::NeedsPassword(DWORD keySpec) const {
    return ReadKeyFile(FileOf(keySpec, ".key")).encrypted;
}

AnyKey Container::LoadKey(DWORD keySpec, const Secret& password) const {
    const fs::path file = FileOf(keySpec, ".key");
    const KeyFile content = ReadKeyFile(file);
    const char* algorithm = FindProvider(type_)->keyOid;
    AnyKey key = OpenKeyFile(content, password);
    if (!key || key.Oid() != algorithm) ThrowDamaged(file);
    return key;
}

void Container::SaveKey(DWORD keySpec, const AnyKey& key, const Secret& password) {
    if (key.Oid() != FindProvider(type_)->keyOid) throw Error(NTE_BAD_KEY);
    ReplaceFile(FileOf(keySpec, ".key"), EncodeKeyFile(key, password).View(), kFileMode);
}

std::optional<Bytes> Container::CertificateOf(DWORD keySpec) const {
    const fs::path file = FileOf(keySpec, ".cer");
    if (!Exists(file)) return std::nullopt;
    Bytes der = ReadWholeFile(file);
    using Certificate = std::unique_ptr<X509, Freer<X509_free>>;
    if (!DecodeWhole<Certificate>(&d2i_X509, der)) ThrowDamaged(file);
    return der;
}

void Container::SaveCertificate(DWORD keySpec, ByteView der) {
    ReplaceFile(FileOf(keySpec, ".cer"), der, kFileMode);
}

void Container::RemoveCertificate(DWORD keySpec) {
    const fs::path file = FileOf(keySpec, ".cer");
    if (unlink(file.c_str()) != 0 && errno != ENOENT) ThrowErrno(errno, file);
}

}  // namespace platform
