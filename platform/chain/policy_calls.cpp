// CertVerifyCertificateChainPolicy, for the policies that are known here.
#include <cstring>

#include "platform/base/error.h"
#include "platform/base/handle.h"
#include "platform/base/ticks.h"
#include "platform/chain/stamp_policy.h"

using namespace platform;

namespace {

// Installed by the cryptographic provider where there is one to install it.
constexpr const char* kStampPolicy = "{AF74EE92-A059-492F-9B4B-EAD239B22A1B}";

struct StampExtra {
    DWORD size;
    const FILETIME* time;
};

const FILETIME& TimeOf(const CERT_CHAIN_POLICY_PARA& para) {
    const auto* extra = static_cast<const StampExtra*>(para.pvExtraPolicyPara);
    if (extra == nullptr || extra->size < sizeof(StampExtra) || extra->time == nullptr) {
        throw Error(E_INVALIDARG);
    }
    return *extra->time;
}

bool IsStampPolicy(LPCSTR policy) {
    return reinterpret_cast<ULONG_PTR>(policy) > 0xFFFF && std::strcmp(policy, kStampPolicy) == 0;
}

}  // namespace

BOOL WINAPI CertVerifyCertificateChainPolicy(LPCSTR policy, PCCERT_CHAIN_CONTEXT chain,
                                             PCERT_CHAIN_POLICY_PARA para,
                                             PCERT_CHAIN_POLICY_STATUS status) {
    return GuardedBool([&] {
        if (para == nullptr || status == nullptr) throw Error(E_INVALIDARG);
        if (!IsStampPolicy(policy)) throw Error(ERROR_FILE_NOT_FOUND);
        static_cast<void>(FindHandle(chain, Kind::Chain, E_INVALIDARG));
        const PolicyFinding finding = JudgeStampChain(*chain, TimeOf(*para));
        status->dwError = finding.error;
        status->lChainIndex = finding.error == 0 || finding.element < 0 ? -1 : 0;
        status->lElementIndex = finding.element;
    });
}
