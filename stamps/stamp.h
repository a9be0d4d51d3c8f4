// A time stamp as the rest of the program sees it.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

#include "front/core/holders.h"
#include "stamps/attribute.h"
#include "stamps/blob.h"
#include "stamps/date_time.h"
#include "stamps/store_set.h"

namespace Ferroline::PKI {

class CStampClient;
struct CTokenInfo;

using ASN1::CBigInteger;
using ASN1::CExtensions;

inline constexpr std::uint32_t kNoAccuracy = UINT32_MAX;

// What a response and its token say. Copies share the certificates; the message and the
// signer's certificate of a copy are found again when they are asked for.
struct CStampFields {
    std::uint32_t status = 0;
    std::wstring statusString;  // the texts of the response, one behind the other
    std::uint32_t failInfo = 0;
    bool hasResponse = false;
    ATL2::CStoreSet store;  // of certificates that the token brings
    std::string policy;
    CBigInteger nonce;
    bool hasNonce = false;
    CBigInteger serial;
    CDateTime genTime;
    std::uint32_t accuracy = kNoAccuracy;  // microseconds
    bool ordering = false;
    std::uint32_t version = 0;
    CExtensions extensions;
    ALG_ID hashAlg = 0;
    std::string hashOid;
    std::string signatureOid;
    std::wstring tsaName;
    CBlob tsaDer;
    CBlob hashValue;
    CBlob token;
    CBlob signature;
};

class CStamp {
  public:
    // Both throw when the store of certificates cannot be opened.
    CStamp();
    CStamp(const CStamp& other) : fields_(other.fields_) {}
    CStamp& operator=(const CStamp&) = delete;
    ~CStamp() = default;
    // Everything as at the start, but the time, which is now.
    void Reset();

    // Throws ERROR_INVALID_STATE as a result without a response.
    [[nodiscard]] std::uint32_t GetStatus() const;

    // All of these throw ERROR_INVALID_STATE as a result without a token.
    [[nodiscard]] const CBlob& GetToken() const;
    // The size alone for a null buffer; ERROR_MORE_DATA as a result for one too small.
    void GetTokenDER(BYTE* buffer, DWORD& size) const;
    [[nodiscard]] const CDateTime& GetTime() const;
    [[nodiscard]] const CBlob& GetHashValue() const;
    [[nodiscard]] ALG_ID GetHashAlg() const;
    [[nodiscard]] bool HasNonce() const;
    [[nodiscard]] const CExtensions& GetExtensions() const;
    // Null until it was found (signer.h).
    [[nodiscard]] PCCERT_CONTEXT GetSigner() const;
    [[nodiscard]] const ATL2::CStoreSet& GetStore() const { return fields_.store; }

    // The token as a message, opened on demand. Throws what opening throws.
    [[nodiscard]] HCRYPTMSG GetMessage();

    void SetSigner(kestrel::CertificateHolder signer) { signer_ = std::move(signer); }

  private:
    friend void DecodeResponse(CStamp& stamp, const CBlob& bytes, const CStampClient* client);
    void TakeToken(const CTokenInfo& token);
    void CheckToken() const;

    CStampFields fields_;
    kestrel::CertificateHolder signer_;
    kestrel::MessageHolder message_;
};

// Fills the stamp from a TimeStampResp or from a bare token (RFC 3161 2.4.2); with a client the
// answer is held against its request. Throws CRYPT_E_HASH_VALUE for another imprint, kNonceDiffers
// for another nonce, E_FAIL for a status that no service gives, and what decoding throws.
void DecodeResponse(CStamp& stamp, const CBlob& bytes, const CStampClient* client);

inline constexpr long kNonceDiffers = static_cast<long>(0xC2100120);

}  // namespace Ferroline::PKI
