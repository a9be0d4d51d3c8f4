// The exported calls of chains.
#include "platform/base/error.h"
#include "platform/base/handle.h"
#include "platform/chain/chain.h"

using namespace platform;

BOOL WINAPI CertGetCertificateChain(HCERTCHAINENGINE engine, PCCERT_CONTEXT certificate,
                                    LPFILETIME time, HCERTSTORE additional, PCERT_CHAIN_PARA para,
                                    DWORD flags, LPVOID reserved, PCCERT_CHAIN_CONTEXT* chain) {
    if (chain != nullptr) *chain = nullptr;
    return GuardedBool([&] {
        if (certificate == nullptr || para == nullptr || reserved != nullptr || chain == nullptr) {
            throw Error(E_INVALIDARG);
        }
        const auto leaf = Certificate::Of(certificate);
        const auto store =
            additional == nullptr ? nullptr : Resolve<Store>(additional, E_INVALIDARG);
        auto built = BuildChain(leaf, engine, store, time, *para, flags);
        const PCCERT_CHAIN_CONTEXT context = built->Context();
        PublishHandle(context, std::move(built));
        *chain = context;
    });
}

void WINAPI CertFreeCertificateChain(PCCERT_CHAIN_CONTEXT chain) {
    if (chain == nullptr) return;
    const LastErrorKeeper keeper;
    GuardedBool([&] { ReleaseHandle(chain, Kind::Chain, ERROR_INVALID_PARAMETER); });
}
