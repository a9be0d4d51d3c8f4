// The policy's rules, in the order in which they are held against a request.
#include "stamps/client.h"
#include "stamps/failure.h"
#include "stamps/policy.h"
#include "stamps/wide_text.h"

namespace Ferroline::PKI {
namespace {

void Refuse(bool broken, long code) {
    if (broken) Fail(static_cast<HRESULT>(code));
}

// Lists are compared as they were typed.
bool IsLeftOut(const CGPStrings& list, const std::wstring& text) {
    return list.IsInForce() && !Contains(list, text);
}

// By the scheme in small letters alone: an address in capitals meets no rule.
void CheckSchemes(const std::wstring& url, std::uint32_t scheme, const SchemeRules& secure,
                  const SchemeRules& plain, long code) {
    Refuse(url.starts_with(L"https://") && secure.Denies(scheme), code);
    Refuse(url.starts_with(L"http://") && plain.Denies(scheme), code);
}

}  // namespace

bool SchemeRules::Denies(std::uint32_t scheme) const {
    switch (scheme) {
        case 0:
            return denyAnonym;
        case WINHTTP_AUTH_SCHEME_BASIC:
            return denyBasic;
        case WINHTTP_AUTH_SCHEME_NTLM:
            return denyNtlm;
        case WINHTTP_AUTH_SCHEME_DIGEST:
            return denyDigest;
        case WINHTTP_AUTH_SCHEME_NEGOTIATE:
            return denyNegotiate;
        default:
            return false;
    }
}

void CheckPolicy(const CStampClient& client) {
    const CStampPolicy& policy = client.policySettings;
    const CStampConnection& connection = client.connection;
    Refuse(IsLeftOut(policy.allowedTsps, connection.url), kServiceDenied);
    // A proxy that is found later is not held against the list.
    Refuse(IsLeftOut(policy.allowedProxies, connection.proxy), kServiceDenied);
    if (!client.policyId.empty()) {
        Refuse(policy.disablePolicyId, kPolicyIdDenied);
        Refuse(IsLeftOut(policy.allowedPolicyId, FromAnsi(client.policyId)), kPolicyIdDenied);
    }
    const std::wstring hash = FromAnsi(client.hashOid);
    Refuse(IsLeftOut(policy.hashAlgsAllowed, hash), kHashDenied);
    Refuse(Contains(policy.hashAlgsDenied, hash), kHashDenied);
    Refuse(client.useNonce ? policy.disableNonce : policy.requireNonce, kNonceDenied);
    CheckSchemes(connection.url, connection.authType, policy.authSsl, policy.auth,
                 kAuthSchemeDenied);
    CheckSchemes(connection.proxy, connection.proxyAuthType, policy.proxyAuthSsl, policy.proxyAuth,
                 kProxySchemeDenied);
}

}  // namespace Ferroline::PKI
