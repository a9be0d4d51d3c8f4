// Certificate stores: system stores on SQLite, memory stores, file stores and
// collections, behind one interface.
#pragma once

#include "platform/base/ground.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/base/handle.h"
#include "platform/base/home.h"
#include "platform/certs/certificate.h"

namespace platform {

class Store : public CertificateOwner, public std::enable_shared_from_this<Store> {
  public:
    static constexpr Kind kKind = Kind::Store;
    Store() : CertificateOwner(Kind::Store) {}

    // In order of insertion. The lists are a snapshot: changes show in the next call.
    virtual std::vector<std::shared_ptr<Certificate>> Certificates() = 0;
    virtual std::vector<std::shared_ptr<Crl>> Crls() = 0;
    // The item behind `previous` in order of insertion, the first one for null, null at
    // the end. `previous` may have been removed meanwhile.
    virtual std::shared_ptr<Certificate> NextCertificate(const Certificate* previous) = 0;
    virtual std::shared_ptr<Crl> NextCrl(const Crl* previous) = 0;

    // `disposition` is a CERT_STORE_ADD_* value. Throws CRYPT_E_EXISTS for
    // CERT_STORE_ADD_NEW of a certificate that is there. Returns the stored one. A
    // certificate is there when one of the same bytes is; a CRL, when one of the same
    // issuer, kind, issuer key and distribution point is.
    virtual std::shared_ptr<Certificate> Add(const Certificate& certificate, DWORD disposition) = 0;
    virtual std::shared_ptr<Crl> Add(const Crl& crl, DWORD disposition) = 0;
    // Removing what is not there (any more) changes nothing. An item of another store
    // stands for the one of the same bytes.
    virtual void Remove(const Certificate& certificate) = 0;
    virtual void Remove(const Crl& crl) = 0;
    // Runs `body`, whose changes of this store are kept together or, when it throws, not at
    // all. That is much faster than each alone, too.
    virtual void Together(const std::function<void()>& body) = 0;
    // True when what is found here belongs to the store that it stands in.
    [[nodiscard]] virtual bool IsCollection() const { return false; }
    // Side and folded name of a store in a side's database; empty for the others.
    [[nodiscard]] virtual std::string SystemName() const { return {}; }
    // Keeps the changes that wait; throws what they were lost by, since they began to wait.
    virtual void Keep() {}
    // Changes of a read-only store throw ERROR_ACCESS_DENIED.
    bool readOnly = false;
    // Items added to and removed from a system store that gathers wait, seen by itself, until Keep
    // or until anything else of its side is looked at or changed in this process: many are one
    // change of the database then. What waits when the store goes is lost.
    bool gathers = false;
};

// The store that an item stands in, null for none.
template <class Item>
std::shared_ptr<Store> StoreHolding(const Item& item) {
    return std::static_pointer_cast<Store>(item.store.lock());
}

enum class OpenMode { Existing, OpenOrCreate, CreateOnWrite, CreateNew };

// A store opened with OpenOrCreate or CreateNew exists from then on, one opened with
// CreateOnWrite once its first change is kept. Reading creates no file.
// Names fold case. "My", "Root", "CA" always exist; others once something was written
// to them. Existing mode throws ERROR_FILE_NOT_FOUND for a store that is not there, CreateNew
// ERROR_FILE_EXISTS for one that is. A database that cannot be read throws the system's
// reason with its path as detail, never an empty store; a damaged one throws ERROR_FILE_CORRUPT
// with its path as detail, a database of another program or a newer version ERROR_BADDB.
std::shared_ptr<Store> OpenSystemStore(Side side, std::string_view name, OpenMode mode);
// Deletes a store with all that it holds. Throws ERROR_FILE_NOT_FOUND when there is none.
void DeleteSystemStore(Side side, std::string_view name);
// Names of the stores of one side, in order of creation, predefined ones first.
std::vector<std::string> SystemStoreNames(Side side);

// What stays the same as long as nobody changed a store of this side, told without
// opening its database; no two states of one file have it in common.
std::string StoresGeneration(Side side);

std::shared_ptr<Store> NewMemoryStore();

// Draws on other stores, which it keeps alive. Certificates found in it belong to the
// store that they stand in.
std::shared_ptr<Store> NewCollectionStore();
// Stores of higher priority come first, equal ones in the order in which they were added.
// What is added to the collection and stands in one of them already is that store's affair;
// the rest goes to the first one with `takesNew`, or fails with E_ACCESSDENIED. Throws E_INVALIDARG
// when `collection` is none, or would hold itself.
void AddToCollection(Store& collection, std::shared_ptr<Store> sibling, bool takesNew,
                     DWORD priority);

// What a file holds: one certificate (DER or PEM), a PEM bundle of certificates and
// CRLs, a PKCS #7 bundle or SignedData message (DER, PEM or bare BASE64), or one CRL.
// Throws ERROR_FILE_NOT_FOUND, CRYPT_E_FILE_ERROR with the file's name.
std::shared_ptr<Store> OpenFileStore(const std::filesystem::path& file);
// The same from bytes. Throws CRYPT_E_BAD_ENCODE when they are none of these, and what
// reading a certificate, CRL or message throws.
struct CertificateBundle {
    std::vector<std::shared_ptr<Certificate>> certificates;
    std::vector<std::shared_ptr<Crl>> crls;
};
CertificateBundle ReadBundle(ByteView content);
// A memory store of what was read.
std::shared_ptr<Store> StoreOf(const CertificateBundle& bundle);

}  // namespace platform
