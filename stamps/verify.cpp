// A token's signature, and the chain of its signer.
#include "stamps/verify.h"

#include <algorithm>

#include "stamps/failure.h"
#include "stamps/message_param.h"
#include "stamps/signer.h"
#include "stamps/stamp_records.h"

namespace Ferroline::PKI {
namespace {

// Judges chains for time stamps; the provider of the system installs it.
constexpr char kStampChainPolicy[] = "{AF74EE92-A059-492F-9B4B-EAD239B22A1B}";
constexpr DWORD kChainPolicyFlags = 0x20000;

// What that policy takes beside the chain.
struct StampChainExtra {
    DWORD size;
    const FILETIME* time;
};

kestrel::ChainHolder& BuildChain(const CStamp& stamp, kestrel::ChainHolder& chain) {
    ATL2::CStoreSet collection;
    RequireResult(collection.OpenCollection());
    RequireResult(collection.Add(stamp.GetStore()));
    CERT_CHAIN_PARA para{};
    para.cbSize = sizeof(para);
    constexpr DWORD flags =
        CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT | CERT_CHAIN_DISABLE_AUTH_ROOT_AUTO_UPDATE;
    if (!CertGetCertificateChain(nullptr, stamp.GetSigner(), nullptr, collection.GetHandle(), &para,
                                 flags, nullptr, chain.Fill())) {
        ATL::ThrowLastError();
    }
    return chain;
}

}  // namespace

HRESULT VerifyStampSignature(CStamp& stamp) {
    if (const HRESULT found = FindStampSigner(stamp); found < 0) return found;
    if (!CheckContentType(stamp.GetMessage())) return E_FAIL;
    // Once more from the bytes that are kept.
    CTokenInfo token;
    token.Decode(stamp.GetToken());
    const HCRYPTMSG message = token.message.get();
    if (MessageNumber(message, CMSG_SIGNER_COUNT_PARAM) != 1) return NTE_BAD_SIGNATURE;
    if (!CryptMsgControl(message, 0, CMSG_CTRL_VERIFY_SIGNATURE, stamp.GetSigner()->pCertInfo)) {
        return NTE_BAD_SIGNATURE;
    }
    // No extension is known, so every critical one is refused (RFC 3161 2.4.2).
    const bool critical = std::ranges::any_of(stamp.GetExtensions(), &ASN1::CExtension::critical);
    return critical ? static_cast<HRESULT>(CERT_E_CRITICAL) : S_OK;
}

HRESULT VerifyStampChain(CStamp& stamp) {
    if (stamp.GetSigner() == nullptr && FindStampSigner(stamp) < 0) {
        if (FindStampSignerById(stamp) < 0) Fail(static_cast<HRESULT>(CRYPT_E_NOT_FOUND));
    }
    // The search compared the hash that counts. What the other attributes say changes nothing,
    // but one that cannot be read ends it.
    const auto attributes = SignerAttributes::Of(stamp.GetMessage(), CMSG_SIGNER_AUTH_ATTR_PARAM);
    static_cast<void>(CheckSigningCertificateAttrs(attributes.List(), stamp.GetSigner()));

    kestrel::ChainHolder chain;
    BuildChain(stamp, chain);
    const FILETIME time{stamp.GetTime().GetLow(), stamp.GetTime().GetHigh()};
    StampChainExtra extra{sizeof(extra), &time};
    CERT_CHAIN_POLICY_PARA para{};
    para.cbSize = sizeof(para);
    para.dwFlags = kChainPolicyFlags;
    para.pvExtraPolicyPara = &extra;
    CERT_CHAIN_POLICY_STATUS status{};
    status.cbSize = sizeof(status);
    if (!CertVerifyCertificateChainPolicy(kStampChainPolicy, chain.Get(), &para, &status)) {
        ATL::ThrowLastError();
    }
    return static_cast<HRESULT>(status.dwError);
}

}  // namespace Ferroline::PKI
