// Stores that live with the process.
#include "platform/stores/list_store.h"

namespace platform {

std::shared_ptr<Store> NewMemoryStore() { return std::make_shared<ListStore>(); }

std::shared_ptr<Store> StoreOf(const CertificateBundle& bundle) {
    std::shared_ptr<Store> store = NewMemoryStore();
    for (const auto& certificate : bundle.certificates) {
        store->Add(*certificate, CERT_STORE_ADD_ALWAYS);
    }
    for (const auto& crl : bundle.crls) store->Add(*crl, CERT_STORE_ADD_ALWAYS);
    return store;
}

}  // namespace platform
