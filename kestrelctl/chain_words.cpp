// What is wrong with a chain, a sentence for each bit.
#include "kestrelctl/chain_words.h"

namespace kestrelctl {
namespace {

constexpr struct {
    DWORD bit;
    const char* words;
} kBits[] = {
    {CERT_TRUST_IS_NOT_TIME_VALID, "not valid at this time"},
    {CERT_TRUST_IS_REVOKED, "revoked"},
    {CERT_TRUST_IS_NOT_SIGNATURE_VALID, "its signature is wrong"},
    {CERT_TRUST_IS_NOT_VALID_FOR_USAGE, "not for this use"},
    {CERT_TRUST_IS_UNTRUSTED_ROOT, "the root is not trusted"},
    {CERT_TRUST_REVOCATION_STATUS_UNKNOWN, "nobody told whether it is revoked"},
    {CERT_TRUST_IS_CYCLIC, "the issuers go round in a circle"},
    {CERT_TRUST_INVALID_EXTENSION, "an extension is damaged"},
    {CERT_TRUST_INVALID_POLICY_CONSTRAINTS, "policies do not fit"},
    {CERT_TRUST_INVALID_BASIC_CONSTRAINTS, "it may not issue certificates, or not so many"},
    {CERT_TRUST_INVALID_NAME_CONSTRAINTS, "names do not fit what an issuer allows"},
    {CERT_TRUST_HAS_NOT_PERMITTED_NAME_CONSTRAINT, "an issuer does not permit the name"},
    {CERT_TRUST_HAS_EXCLUDED_NAME_CONSTRAINT, "an issuer excludes the name"},
    {CERT_TRUST_HAS_NOT_SUPPORTED_CRITICAL_EXT, "a critical extension is unknown"},
    {CERT_TRUST_IS_PARTIAL_CHAIN, "its issuer was not found"},
};

}  // namespace

std::string WordsOf(DWORD error) {
    std::string words;
    for (const auto& row : kBits) {
        if ((error & row.bit) == 0) continue;
        words += (words.empty() ? "" : "; ") + std::string(row.words);
        error &= ~row.bit;
    }
    if (error != 0) words += (words.empty() ? "" : "; ") + std::string("another fault");
    return words.empty() ? "good" : words;
}

const char* WordOf(platform::Revocation revocation) {
    switch (revocation) {
        case platform::Revocation::Good:
            return "not revoked";
        case platform::Revocation::Revoked:
            return "revoked";
        case platform::Revocation::Unknown:
            break;
    }
    return "unknown";
}

}  // namespace kestrelctl
