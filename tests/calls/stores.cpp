// Stores and collections.
#include "tests/calls/calls.h"
#include "tests/calls/fixtures.h"

namespace calls {
namespace {

constexpr const char* kStoreName = "Suite of calls";

HCERTSTORE Memory() { return CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr); }
HCERTSTORE Collection() { return CertOpenStore(CERT_STORE_PROV_COLLECTION, 0, 0, 0, nullptr); }

HCERTSTORE System(DWORD flags) {
    return CertOpenStore(CERT_STORE_PROV_SYSTEM_A, 0, 0, CERT_SYSTEM_STORE_CURRENT_USER | flags,
                         kStoreName);
}

std::string OpenedAndClosed(HCERTSTORE store) {
    const std::string told = Told(store);
    CertCloseStore(store, 0);
    return told;
}

std::string Add(HCERTSTORE store, DWORD disposition = CERT_STORE_ADD_NEW) {
    const Octets der = FromHex(kCertificate);
    return Told(CertAddEncodedCertificateToStore(
        store, kEncoding, der.data(), static_cast<DWORD>(der.size()), disposition, nullptr));
}

std::string Count(HCERTSTORE store) {
    int count = 0;
    PCCERT_CONTEXT at = nullptr;
    while ((at = CertEnumCertificatesInStore(store, at)) != nullptr) ++count;
    return Joined({std::to_string(count), Told(FALSE)});
}

std::string Find(DWORD type, const void* value) {
    const HCERTSTORE store = Memory();
    Add(store);
    const PCCERT_CONTEXT found =
        CertFindCertificateInStore(store, kEncoding, 0, type, value, nullptr);
    const std::string told = Told(found);
    CertFreeCertificateContext(found);
    CertCloseStore(store, 0);
    return told;
}

std::string ClosedWithAContextOut() {
    const HCERTSTORE store = Memory();
    Add(store);
    const PCCERT_CONTEXT out = CertEnumCertificatesInStore(store, nullptr);
    const std::string told = Told(CertCloseStore(store, CERT_CLOSE_STORE_CHECK_FLAG));
    CertFreeCertificateContext(out);
    return told;
}

std::string Dispositions() {
    const HCERTSTORE store = Memory();
    std::string told;
    for (const DWORD disposition :
         {CERT_STORE_ADD_NEW, CERT_STORE_ADD_NEW, CERT_STORE_ADD_USE_EXISTING,
          CERT_STORE_ADD_REPLACE_EXISTING, CERT_STORE_ADD_NEWER, CERT_STORE_ADD_ALWAYS, 77}) {
        told += Add(store, static_cast<DWORD>(disposition)) + " ";
    }
    told += Count(store);
    CertCloseStore(store, 0);
    return told;
}

std::string CreatedAndDeleted() {
    System(CERT_STORE_DELETE_FLAG);
    std::string told;
    for (const DWORD flags : {CERT_STORE_OPEN_EXISTING_FLAG, CERT_STORE_CREATE_NEW_FLAG,
                              CERT_STORE_CREATE_NEW_FLAG, CERT_STORE_OPEN_EXISTING_FLAG}) {
        told += OpenedAndClosed(System(static_cast<DWORD>(flags))) + " ";
    }
    SetLastError(77);
    const HCERTSTORE deleted = System(CERT_STORE_DELETE_FLAG);
    told += Joined({deleted == nullptr ? "null" : "handle", Told(FALSE), ""});
    told += OpenedAndClosed(System(CERT_STORE_OPEN_EXISTING_FLAG));
    SetLastError(77);
    System(CERT_STORE_DELETE_FLAG);
    return told + " " + Told(FALSE);
}

std::string Committed(HCERTSTORE store, HCERTSTORE (*again)()) {
    const std::string added = Add(store);
    const std::string told = Told(CertControlStore(store, 0, CERT_STORE_CTRL_COMMIT, nullptr));
    const HCERTSTORE other = again();
    const std::string count = Count(other);
    for (const HCERTSTORE one : {store, other}) CertCloseStore(one, 0);
    return Joined({added, told, count});
}

std::string FoundThroughACollection() {
    const HCERTSTORE collection = Collection();
    const HCERTSTORE store = Memory();
    Add(store);
    CertAddStoreToCollection(collection, store, 0, 0);
    const PCCERT_CONTEXT found = CertEnumCertificatesInStore(collection, nullptr);
    if (found == nullptr) return Told(found);
    const std::string told = found->hCertStore == collection ? "collection"
                             : found->hCertStore == store    ? "store"
                                                             : "other";
    CertFreeCertificateContext(found);
    CertCloseStore(store, 0);
    CertCloseStore(collection, 0);
    return told;
}

std::string AddedThroughACollection(DWORD flags, bool there, DWORD disposition) {
    const HCERTSTORE collection = Collection();
    const HCERTSTORE store = Memory();
    if (there) Add(store);
    CertAddStoreToCollection(collection, store, flags, 0);
    const std::string told = Add(collection, disposition);
    const std::string count = Count(store);
    CertCloseStore(store, 0);
    CertCloseStore(collection, 0);
    return Joined({told, count});
}

// The certificate stands in a store that takes nothing, before one that does.
std::string AddedBehindAnother(DWORD disposition) {
    const HCERTSTORE collection = Collection();
    const HCERTSTORE first = Memory();
    const HCERTSTORE second = Memory();
    Add(first);
    CertAddStoreToCollection(collection, first, 0, 1);
    CertAddStoreToCollection(collection, second, 1, 0);
    const std::string told = Add(collection, disposition);
    const std::string counts = Joined({Count(first), Count(second)});
    for (const HCERTSTORE store : {collection, first, second}) CertCloseStore(store, 0);
    return Joined({told, counts});
}

std::string AddedTo(bool collection) {
    const HCERTSTORE target = collection ? Collection() : Memory();
    const HCERTSTORE store = Memory();
    const std::string told = Told(CertAddStoreToCollection(target, store, 0, 0));
    CertCloseStore(store, 0);
    CertCloseStore(target, 0);
    return told;
}

std::string StandsIn() {
    const HCERTSTORE store = Memory();
    Add(store);
    const PCCERT_CONTEXT found = CertEnumCertificatesInStore(store, nullptr);
    const std::string told = found->hCertStore == store ? "store" : "other";
    CertFreeCertificateContext(found);
    CertCloseStore(store, 0);
    return told;
}

const Case kStoreCases[] = {
    {"store: unknown kind",
     [] { return OpenedAndClosed(CertOpenStore(reinterpret_cast<LPCSTR>(77), 0, 0, 0, nullptr)); },
     "00000002"},
    {"store: no side",
     [] { return OpenedAndClosed(CertOpenStore(CERT_STORE_PROV_SYSTEM_A, 0, 0, 0, "My")); },
     "00000002"},
    {"store: null name",
     [] {
         return OpenedAndClosed(CertOpenStore(CERT_STORE_PROV_SYSTEM_A, 0, 0,
                                              CERT_SYSTEM_STORE_CURRENT_USER, nullptr));
     },
     "00000002"},
    {"store: close null", [] { return Told(CertCloseStore(nullptr, 0)); }, "ok"},
    {"store: created and deleted", CreatedAndDeleted,
     "00000002 ok 00000050 ok null 00000000 00000002 00000002"},
    {"store: dispositions", Dispositions, "ok 80092005 ok ok 80092005 ok 80070057 2 80092004"},
    {"store: what is found stands in it", StandsIn, "store"},
    {"store: closed with a context out", ClosedWithAContextOut, "8009200f"},
    {"store: find unknown kind", [] { return Find(0x00990000, nullptr); }, "80070057"},
    {"store: find other hash",
     [] {
         BYTE hash[20] = {};
         const CRYPT_HASH_BLOB blob{20, hash};
         return Find(CERT_FIND_SHA1_HASH, &blob);
     },
     "80092004"},
    {"store: delete null", [] { return Told(CertDeleteCertificateFromStore(nullptr)); },
     "00000057"},
    {"store: changes committed", [] { return Committed(Memory(), Memory); }, "ok ok 0 80092004"},
    {"store: changes of a system store committed",
     [] {
         const auto existing = [] { return System(CERT_STORE_OPEN_EXISTING_FLAG); };
         const std::string told = Committed(System(0), existing);
         System(CERT_STORE_DELETE_FLAG);
         return told;
     },
     "ok ok 1 80092004"},
    {"collection: what is found stands in it", FoundThroughACollection, "collection"},
    {"collection: nobody may add",
     [] { return AddedThroughACollection(0, false, CERT_STORE_ADD_NEW); }, "80070005 0 80092004"},
    {"collection: empty",
     [] {
         const HCERTSTORE c = Collection();
         const std::string told = Add(c);
         CertCloseStore(c, 0);
         return told;
     },
     "80070005"},
    {"collection: added", [] { return AddedThroughACollection(1, false, CERT_STORE_ADD_NEW); },
     "ok 1 80092004"},
    {"collection: has it, new", [] { return AddedThroughACollection(0, true, CERT_STORE_ADD_NEW); },
     "80092005 1 80092004"},
    {"collection: has it, existing",
     [] { return AddedThroughACollection(0, true, CERT_STORE_ADD_USE_EXISTING); }, "ok 1 80092004"},
    {"collection: has it, replace",
     [] { return AddedThroughACollection(0, true, CERT_STORE_ADD_REPLACE_EXISTING); },
     "ok 1 80092004"},
    {"collection: another has it, new", [] { return AddedBehindAnother(CERT_STORE_ADD_NEW); },
     "80092005 1 80092004 0 80092004"},
    {"collection: another has it, always", [] { return AddedBehindAnother(CERT_STORE_ADD_ALWAYS); },
     "ok 1 80092004 1 80092004"},
    {"collection: into no collection", [] { return AddedTo(false); }, "80070057"},
    {"collection: into one", [] { return AddedTo(true); }, "ok"},
};

}  // namespace

std::span<const Case> StoreCases() { return kStoreCases; }

}  // namespace calls
