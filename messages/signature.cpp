// What the commands that sign have in common.
#include "messages/signature.h"

#include <utility>
#include <vector>

#include "front/core/catalogue.h"
#include "front/core/keys.h"
#include "messages/attributes.h"
#include "stamps/stamps.h"

namespace kestrel {

SignatureKeys TakeSignatureKeys() {
    SignatureKeys keys;
    keys.noCert = TakeKey("nocert");
    keys.crl = TakeKey("crl");
    keys.stamps = TakeStampKeys();
    return keys;
}

Reported SelectSigner(const SignatureKeys& keys, SearchStores& stores) {
    if (const Reported failure = CheckStampTransport(keys.stamps)) return failure;
    if (const Reported failure = ParseAttributes("attr", unsignedAttributes)) return failure;
    if (const Reported failure = ParseAttributes("authattr", signedAttributes)) return failure;
    if (const Reported failure = ParseSearchCriterion(false)) return failure;
    return SelectCertificates(stores.open, true, Purpose::Signing);
}

void FillSigner(CMSG_SIGNER_ENCODE_INFO& signer, PCCERT_CONTEXT certificate, const PrivateKey& key,
                const CRYPT_ALGORITHM_IDENTIFIER& hash) {
    signer.cbSize = sizeof(signer);
    signer.pCertInfo = certificate->pCertInfo;
    signer.hCryptProv = key.provider.Get();
    signer.dwKeySpec = key.keySpec;
    signer.HashAlgorithm.pszObjId = hash.pszObjId;
    signer.cAuthAttr = signedAttributes.count;
    signer.rgAuthAttr = signedAttributes.attributes.get();
    signer.cUnauthAttr = unsignedAttributes.count;
    signer.rgUnauthAttr = unsignedAttributes.attributes.get();
}

Reported StampContent(const StampKeys& keys, const BYTE* content, DWORD size) {
    std::vector<BYTE> token;
    if (!RequestTimeStamp(content, size, StampUrl(keys.contentUrl), token, !keys.noStampCert)) {
        return ReportError(kLastError);
    }
    AppendAttribute(signedAttributes, kContentStampOid, std::move(token));
    return 0;
}

Reported StampSignature(const StampKeys& keys, BytesHolder& message, DWORD& size) {
    if (keys.signatureUrl == nullptr) return 0;
    BYTE* data = message.release();
    const DWORD code =
        AddSignatureTimeStamp(data, size, StampUrl(keys.signatureUrl), keys.noStampCert);
    message.reset(data);
    if (code == 0) return 0;
    SetLastError(code);
    return ReportError(kLastError);
}

}  // namespace kestrel
