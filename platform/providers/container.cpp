// Key containers: what their files hold.
#include "platform/providers/container.h"

#include <openssl/err.h>

#include <algorithm>
#include <charconv>

#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/container_folder.h"
#include "platform/providers/key_file.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

constexpr const char* kTypeFile = "provider.type";
constexpr const char* kPendingFile = "pending";
constexpr const char* kKey = ".key";
constexpr const char* kCertificate = ".cer";
constexpr const char* kPublic = ".pub";

fs::path FolderOf(Side side, std::string_view name) { return ContainersOf(side) / name; }

[[noreturn]] void ThrowDamaged(const fs::path& file) {
    ERR_clear_error();
    throw Error(NTE_KEYSET_ENTRY_BAD, file.string());
}

Bytes ReadEntry(const fs::path& file) {
    return ReadOwnFile(file, static_cast<DWORD>(NTE_KEYSET_ENTRY_BAD));
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
    if (!FileIsThere(file)) {
        if (!FileIsThere(folder)) throw Error(NTE_BAD_KEYSET, folder.filename().string());
        // It was put together by hand or lost this file.
        ThrowDamaged(file);
    }
    const DWORD type = ParseType(ReadEntry(file));
    if (type == 0) ThrowDamaged(file);
    return type;
}

// False for one of another user among the machine's, and for one that was just deleted.
bool HasType(Side side, const fs::path& folder, DWORD type) {
    try {
        return SameFamily(ReadType(folder), type);
    } catch (const Error& error) {
        const bool foreign = side == Side::Machine && error.Code() == ERROR_ACCESS_DENIED;
        if (!foreign && error.Code() != static_cast<DWORD>(NTE_BAD_KEYSET)) throw;
        return false;
    }
}

std::string FileName(DWORD keySpec, const char* extension) {
    if (keySpec != AT_KEYEXCHANGE && keySpec != AT_SIGNATURE) throw Error(NTE_NO_KEY);
    return (keySpec == AT_KEYEXCHANGE ? "exchange" : "signature") + std::string(extension);
}

Secret ReadSecret(const fs::path& file) {
    Bytes content = ReadEntry(file);
    Secret secret{ByteView(content)};
    Wipe(content);
    return secret;
}

KeyFile ReadKeyFile(const fs::path& file) {
    if (!FileIsThere(file)) throw Error(NTE_NO_KEY);
    std::optional<KeyFile> key = ParseKeyFile(ReadSecret(file).View());
    if (!key) ThrowDamaged(file);
    return *std::move(key);
}

void CheckName(std::string_view name, LONG code) {
    if (!Container::ValidName(name)) throw Error(code, std::string(name));
}

// As long as a file name may be.
constexpr std::size_t kLongestName = 255;

AnyKey PublicKeyOfCertificate(ByteView der) {
    const auto certificate = DecodeWhole<NativeCertificate>(&d2i_X509, der);
    return PublicKeyFromDer(EncodeWhole(&i2d_X509_PUBKEY, X509_get_X509_PUBKEY(certificate.get())));
}

template <class Read>
AnyKey OrDamaged(const fs::path& file, Read read) {
    try {
        return read();
    } catch (const Error& error) {
        const auto code = static_cast<LONG>(error.Code());
        if (code != CRYPT_E_ASN1_BADTAG && code != NTE_BAD_ALGID) throw;
        ThrowDamaged(file);
    }
}

bool IsControl(char character) {
    const auto value = static_cast<unsigned char>(character);
    return value < 0x20 || value == 0x7F;
}

}  // namespace

// A blank at either end would not show where names are listed.
bool Container::ValidName(std::string_view name) {
    return !name.empty() && name.size() <= kLongestName && name != "." && name != ".." &&
           name.front() != ' ' && name.back() != ' ' &&
           name.find_first_of("/\\") == std::string_view::npos &&
           std::ranges::none_of(name, IsControl);
}

ContainerChange::ContainerChange(DWORD type) : type_(type) {
    if (FindProvider(type) == nullptr) throw Error(NTE_PROV_TYPE_NOT_DEF);
}

void ContainerChange::SetKey(DWORD keySpec, const AnyKey& key, const Secret& password) {
    if (!Serves(*FindProvider(type_), key.Oid())) throw Error(NTE_BAD_KEY);
    files_[FileName(keySpec, kKey)] = EncodeKeyFile(key, password);
    files_[FileName(keySpec, kPublic)] =
        password.Empty() ? std::nullopt : std::optional<Secret>(Secret(PublicKeyToDer(key)));
}

void ContainerChange::SetCertificate(DWORD keySpec, ByteView der) {
    files_[FileName(keySpec, kCertificate)] = Secret(der);
}

void ContainerChange::RemoveCertificate(DWORD keySpec) {
    files_[FileName(keySpec, kCertificate)] = std::nullopt;
}

void ContainerChange::SetPending(std::string_view note) {
    files_[kPendingFile] = Secret(ViewOf(note));
}

std::vector<std::string> Container::List(Side side, DWORD type) {
    std::vector<std::string> names;
    const fs::path root = ContainersOf(side);
    if (!FileIsThere(root)) return names;
    for (const fs::path& entry : EntriesOf(root)) {
        const std::string name = entry.filename();
        std::error_code ignored;
        if (!ValidName(name) || !fs::is_directory(entry, ignored)) continue;
        if (type == 0 || HasType(side, entry, type)) names.push_back(name);
    }
    std::ranges::sort(names);
    return names;
}

Container::Container(Side side, std::string name, DWORD type)
    : side_(side), name_(std::move(name)), type_(type) {}

Container Container::Open(Side side, std::string_view name) {
    CheckName(name, NTE_BAD_KEYSET);
    return {side, std::string(name), ReadType(FolderOf(side, name))};
}

Container Container::Create(Side side, std::string_view name, DWORD type) {
    return Create(side, name, ContainerChange(type));
}

Container Container::Create(Side side, std::string_view name, const ContainerChange& content) {
    CheckName(name, ERROR_INVALID_PARAMETER);
    const ContainerLock lock(side);
    StagedFolder folder(side);
    folder.Add(kTypeFile, ViewOf(std::to_string(content.type_) + "\n"));
    for (const auto& [file, bytes] : content.files_) {
        if (bytes) folder.Add(file, bytes->View());
    }
    folder.Publish(std::string(name));
    return {side, std::string(name), content.type_};
}

std::string Container::NameFrom(std::string_view text) {
    std::string name(text);
    for (char& c : name) {
        if (c == '/' || c == '\\' || IsControl(c)) c = '_';
    }
    bool shows = ValidName(name);
    for (std::string_view rest = name; shows && !rest.empty();) {
        const wchar_t character = TakeCharacter(rest);
        shows = !IsHidden(character) && !IsSurrogate(character);
    }
    return shows ? name : "identity";
}

// Other processes wait at the lock, so that a free name stays free.
Container Container::CreateFresh(Side side, std::string_view text, const ContainerChange& content) {
    const ContainerLock lock(side);
    const std::string base = NameFrom(text);
    std::string name = base;
    for (int number = 2; FileIsThere(FolderOf(side, name)); ++number) {
        name = base + "-" + std::to_string(number);
    }
    return Create(side, name, content);
}

void Container::Apply(const ContainerChange& change) {
    const ContainerLock lock(side_);
    const fs::path before = FolderOf(side_, name_);
    if (!FileIsThere(before)) throw Error(NTE_BAD_KEYSET, name_);
    StagedFolder folder(side_);
    for (const fs::path& entry : EntriesOf(before)) {
        const std::string file = entry.filename();
        if (!change.files_.contains(file)) folder.Add(file, ReadSecret(entry).View());
    }
    for (const auto& [file, bytes] : change.files_) {
        if (bytes) folder.Add(file, bytes->View());
    }
    folder.Replace(name_);
}

void Container::Delete(Side side, std::string_view name) {
    CheckName(name, NTE_BAD_KEYSET);
    if (!FileIsThere(ContainersOf(side))) throw Error(NTE_BAD_KEYSET, std::string(name));
    const ContainerLock lock(side);
    if (!FileIsThere(FolderOf(side, name))) throw Error(NTE_BAD_KEYSET, std::string(name));
    StagedFolder(side).TakeAway(std::string(name));
}

fs::path Container::FileOf(const std::string& file) const { return FolderOf(side_, name_) / file; }

bool Container::HasKey(DWORD keySpec) const {
    const bool known = keySpec == AT_KEYEXCHANGE || keySpec == AT_SIGNATURE;
    return known && FileIsThere(FileOf(FileName(keySpec, kKey)));
}

bool Container::NeedsPassword(DWORD keySpec) const {
    return ReadKeyFile(FileOf(FileName(keySpec, kKey))).encrypted;
}

AnyKey Container::LoadKey(DWORD keySpec, const Secret& password) const {
    const fs::path file = FileOf(FileName(keySpec, kKey));
    const KeyFile content = ReadKeyFile(file);
    AnyKey key = OpenKeyFile(content, password);
    if (!key || !Serves(*FindProvider(type_), key.Oid())) ThrowDamaged(file);
    return key;
}

AnyKey Container::OwnPublicKey(DWORD keySpec) const {
    if (!NeedsPassword(keySpec)) return LoadKey(keySpec, Secret());
    const fs::path file = FileOf(FileName(keySpec, kPublic));
    if (!FileIsThere(file)) return {};
    return OrDamaged(file, [&] { return PublicKeyFromDer(ReadEntry(file)); });
}

// The certificate stands in for the public part beside keys that were protected before there was
// one.
AnyKey Container::PublicKey(DWORD keySpec) const {
    if (AnyKey own = OwnPublicKey(keySpec)) return own;
    const auto der = CertificateOf(keySpec);
    if (!der) return {};
    return OrDamaged(FileOf(FileName(keySpec, kCertificate)),
                     [&] { return PublicKeyOfCertificate(*der); });
}

void Container::SaveKey(DWORD keySpec, const AnyKey& key, const Secret& password) {
    ContainerChange change(type_);
    change.SetKey(keySpec, key, password);
    Apply(change);
}

void Container::SaveCertificate(DWORD keySpec, ByteView der) {
    ContainerChange change(type_);
    change.SetCertificate(keySpec, der);
    Apply(change);
}

std::optional<Bytes> Container::CertificateOf(DWORD keySpec) const {
    const fs::path file = FileOf(FileName(keySpec, kCertificate));
    if (!FileIsThere(file)) return std::nullopt;
    Bytes der = ReadEntry(file);
    if (!DecodeWhole<NativeCertificate>(&d2i_X509, der)) ThrowDamaged(file);
    return der;
}

std::optional<std::string> Container::Pending() const {
    const fs::path file = FileOf(kPendingFile);
    if (!FileIsThere(file)) return std::nullopt;
    const Bytes note = ReadEntry(file);
    return std::string(note.begin(), note.end());
}

void Container::SetPending() const { AddEmptyFile(FileOf(kPendingFile)); }

void Container::ClearPending() const { RemoveFile(FileOf(kPendingFile)); }

}  // namespace platform
