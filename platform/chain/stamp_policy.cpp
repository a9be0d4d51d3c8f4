// The policy for chains of time-stamp services.
#include "platform/chain/stamp_policy.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "platform/base/ticks.h"
#include "platform/certs/compare.h"
#include "platform/chain/path.h"

namespace platform {
namespace {

constexpr const char* kTimeStamping = "1.3.6.1.5.5.7.3.8";
// digitalSignature and nonRepudiation in the first octet of KeyUsage (RFC 5280 4.2.1.3).
constexpr std::uint8_t kSigningBits = 0xC0;

struct Rule {
    DWORD bits;
    LONG error;
};

// In order of weight.
constexpr Rule kStructure[] = {
    {CERT_TRUST_IS_PARTIAL_CHAIN | CERT_TRUST_IS_CYCLIC, CERT_E_CHAINING},
    {CERT_TRUST_IS_UNTRUSTED_ROOT, CERT_E_UNTRUSTEDROOT},
    {CERT_TRUST_IS_NOT_SIGNATURE_VALID, TRUST_E_CERT_SIGNATURE},
};
constexpr Rule kConstraints[] = {
    {CERT_TRUST_IS_REVOKED, CRYPT_E_REVOKED},
    {CERT_TRUST_INVALID_POLICY_CONSTRAINTS, CERT_E_INVALID_POLICY},
    {CERT_TRUST_INVALID_NAME_CONSTRAINTS | CERT_TRUST_HAS_NOT_PERMITTED_NAME_CONSTRAINT |
         CERT_TRUST_HAS_EXCLUDED_NAME_CONSTRAINT,
     CERT_E_INVALID_NAME},
    {CERT_TRUST_INVALID_BASIC_CONSTRAINTS, CERT_E_ROLE},
    {CERT_TRUST_HAS_NOT_SUPPORTED_CRITICAL_EXT | CERT_TRUST_INVALID_EXTENSION, CERT_E_CRITICAL},
    {CERT_TRUST_IS_NOT_VALID_FOR_USAGE, CERT_E_WRONG_USAGE},
};

using Elements = std::span<PCERT_CHAIN_ELEMENT>;

template <std::size_t Count>
PolicyFinding FirstBroken(const Rule (&rules)[Count], Elements elements, DWORD chainBits) {
    for (const Rule& rule : rules) {
        for (std::size_t at = 0; at < elements.size(); ++at) {
            if ((elements[at]->TrustStatus.dwErrorStatus & rule.bits) == 0) continue;
            return {static_cast<DWORD>(rule.error), static_cast<LONG>(at)};
        }
        if ((chainBits & rule.bits) != 0) return {static_cast<DWORD>(rule.error), -1};
    }
    return {};
}

// The chain was built for another moment, so its own bit says nothing.
PolicyFinding CheckTimes(Elements elements, const FILETIME& time) {
    const auto moment = TicksOf(time);
    for (std::size_t at = 0; at < elements.size(); ++at) {
        const CERT_INFO& info = *elements[at]->pCertContext->pCertInfo;
        if (moment >= TicksOf(info.NotBefore) && moment <= TicksOf(info.NotAfter)) continue;
        return {static_cast<DWORD>(CERT_E_EXPIRED), static_cast<LONG>(at)};
    }
    return {};
}

// RFC 3161 2.3: the extension is critical, and time stamping is all that it permits.
bool StampsAlone(const CERT_CHAIN_ELEMENT& end) {
    const CERT_INFO& info = *end.pCertContext->pCertInfo;
    const CERT_EXTENSION* extension =
        FindExtension(szOID_ENHANCED_KEY_USAGE, info.cExtension, info.rgExtension);
    const CERT_ENHKEY_USAGE* usage = end.pApplicationUsage;
    return extension != nullptr && extension->fCritical != FALSE && usage != nullptr &&
           usage->cUsageIdentifier == 1 &&
           std::string_view(usage->rgpszUsageIdentifier[0]) == kTimeStamping;
}

// Without the extension the key may do anything.
bool MaySign(const CERT_INFO& info) {
    const CERT_EXTENSION* extension =
        FindExtension(szOID_KEY_USAGE, info.cExtension, info.rgExtension);
    if (extension == nullptr) return true;
    // BIT STRING: tag, length, count of unused bits, bits.
    const ByteView value = ViewOf(extension->Value);
    return value.size() > 3 && (value[3] & kSigningBits) != 0;
}

PolicyFinding CheckEnd(const CERT_CHAIN_ELEMENT& end) {
    if (!StampsAlone(end)) return {static_cast<DWORD>(CERT_E_WRONG_USAGE), 0};
    if (!MaySign(*end.pCertContext->pCertInfo)) return {static_cast<DWORD>(CERT_E_PURPOSE), 0};
    return {};
}

}  // namespace

PolicyFinding JudgeStampChain(const CERT_CHAIN_CONTEXT& chain, const FILETIME& time) {
    const CERT_SIMPLE_CHAIN& simple = *chain.rgpChain[0];
    const Elements elements(simple.rgpElement, simple.cElement);
    const DWORD bits = chain.TrustStatus.dwErrorStatus;
    PolicyFinding finding = FirstBroken(kStructure, elements, bits);
    if (finding.error == 0) finding = CheckTimes(elements, time);
    if (finding.error == 0) finding = FirstBroken(kConstraints, elements, bits);
    if (finding.error == 0) finding = CheckEnd(*elements[0]);
    return finding;
}

}  // namespace platform
