// Key containers: one folder each under a home's containers/, with an exchange key and
// a signature key, each PKCS #8 (encrypted under a password), the provider type, and
// the certificate of each key. Folder 0700, files 0600. Every change is a new folder that
// takes the old one's place by one rename, so that a container is whole at any moment.
#pragma once

#include <openssl/evp.h>
#include "platform/base/ground.h"

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/bytes.h"
#include "platform/base/home.h"
#include "platform/providers/crypto.h"

namespace platform {

// What changes in a container in one step.
class ContainerChange {
  public:
    // Throws NTE_PROV_TYPE_NOT_DEF.
    explicit ContainerChange(DWORD type);
    // An empty password stores the key in clear. Throws NTE_BAD_KEY for a key of another
    // provider type, NTE_NO_KEY for a key specification that there is not, as all do.
    void SetKey(DWORD keySpec, const AnyKey& key, const Secret& password);
    void SetCertificate(DWORD keySpec, ByteView der);
    void RemoveCertificate(DWORD keySpec);
    // See Container::Pending.
    void SetPending(std::string_view note);

  private:
    friend class Container;
    DWORD type_;
    std::map<std::string, std::optional<Secret>> files_;  // no value: the file goes
};

class Container {
  public:
    // Names are any text without "/", "\" and control characters and without a blank at either
    // end, not "." or "..".
    static bool ValidName(std::string_view name);
    // Sorted; `type` 0: all, else those that its provider reads. Containers of other users
    // are left out; a damaged one throws NTE_KEYSET_ENTRY_BAD with its file's name.
    static std::vector<std::string> List(Side side, DWORD type);
    // Throws NTE_BAD_KEYSET when it does not exist, NTE_KEYSET_ENTRY_BAD with the file's
    // name when it is damaged.
    static Container Open(Side side, std::string_view name);
    // Empty, or with all that the change sets. Throws NTE_EXISTS, ERROR_INVALID_PARAMETER
    // for a name that is not valid.
    static Container Create(Side side, std::string_view name, DWORD type);
    static Container Create(Side side, std::string_view name, const ContainerChange& content);
    // The same under a name made of any text, with a number behind it when that is taken.
    static Container CreateFresh(Side side, std::string_view text, const ContainerChange& content);
    // The name without its number; "identity" for what shows as something else, or not at all.
    static std::string NameFrom(std::string_view text);
    static void Delete(Side side, std::string_view name);

    [[nodiscard]] const std::string& Name() const { return name_; }
    [[nodiscard]] Side GetSide() const { return side_; }
    [[nodiscard]] DWORD Type() const { return type_; }
    [[nodiscard]] bool HasKey(DWORD keySpec) const;
    [[nodiscard]] bool NeedsPassword(DWORD keySpec) const;

    // Throws NTE_NO_KEY, SCARD_W_WRONG_CHV for a wrong or missing password.
    [[nodiscard]] AnyKey LoadKey(DWORD keySpec, const Secret& password) const;
    // The public part of a key, without a password: no key when nothing tells it. Throws
    // NTE_NO_KEY.
    [[nodiscard]] AnyKey PublicKey(DWORD keySpec) const;
    // The same by the key's own files alone: the certificate beside it may be another key's.
    [[nodiscard]] AnyKey OwnPublicKey(DWORD keySpec) const;
    // All of the change or, when it throws, nothing. The change is for this type.
    void Apply(const ContainerChange& change);
    // Changes of one file.
    void SaveKey(DWORD keySpec, const AnyKey& key, const Secret& password);
    void SaveCertificate(DWORD keySpec, ByteView der);

    [[nodiscard]] std::optional<Bytes> CertificateOf(DWORD keySpec) const;

    // A note for who binds containers to stores: it is set before both change and goes when
    // both have, so that one found later tells of a run that was killed between.
    [[nodiscard]] std::optional<std::string> Pending() const;
    // The note is empty.
    void SetPending() const;
    void ClearPending() const;

  private:
    Container(Side side, std::string name, DWORD type);
    [[nodiscard]] std::filesystem::path FileOf(const std::string& file) const;
    Side side_;
    std::string name_;
    DWORD type_;
};

// A fresh key pair for a provider type (see the provider table): RSA of `bits` (default
// 2048) for 1 and 24, P-256 for 16, GOST for 75, 80 and 81. Throws NTE_PROV_TYPE_NOT_DEF.
AnyKey GenerateKey(DWORD type, DWORD bits = 0);
// The provider type that serves a key: by its algorithm. Throws NTE_BAD_ALGID.
DWORD TypeForKey(const AnyKey& key);

}  // namespace platform
