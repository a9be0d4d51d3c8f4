// The records of the time-stamp protocol (RFC 3161) as values.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "asn1data/records.h"
#include "front/core/holders.h"
#include "stamps/algorithm.h"
#include "stamps/attribute.h"
#include "stamps/general_name.h"

namespace Ferroline::PKI {

using ASN1::CAlgorithmIdentifier;
using ASN1::CAlgorithmIdentifierEx;
using ASN1::CAttributes;
using ASN1::CBigInteger;
using ASN1::CExtensions;
using ASN1::CGeneralName;

struct CStampRequest {
    std::uint32_t version = 1;
    CAlgorithmIdentifierEx hashAlgorithm;
    CBlob hashValue;
    bool certReq = false;
    std::optional<std::string> policy;
    std::optional<CBigInteger> nonce;
    std::optional<CExtensions> extensions;  // an empty list is not sent

    // The DER of the TimeStampReq. Throws CRYPT_E_ASN1_INTERNAL for a value that has no
    // encoding, CRYPT_E_ASN1_MEMORY without memory.
    [[nodiscard]] CBlob Encode() const;
};

// Parts that are absent are 0.
struct CAccuracy {
    std::uint32_t seconds = 0;
    std::uint32_t millis = 0;
    std::uint32_t micros = 0;

    friend bool operator==(const CAccuracy&, const CAccuracy&) = default;
};

struct CSignerInfo {
    std::uint32_t version = 0;
    CBlob issuer;  // DER of the Name
    CBigInteger serial;
    CAlgorithmIdentifier signatureAlgorithm;
    CAlgorithmIdentifier digestAlgorithm;
    CBlob signature;
};

// A token: what was signed, who signed it, and what came along. It owns its message, so it
// moves and is not copied.
struct CTokenInfo {
    std::uint32_t version = 0;
    std::string policy;
    CAlgorithmIdentifierEx hashAlgorithm;
    CBlob hashValue;
    CBigInteger serial;
    std::string genTime;  // as encoded
    bool ordering = false;
    std::optional<CAccuracy> accuracy;
    std::optional<CBigInteger> nonce;
    std::optional<CGeneralName> tsa;
    std::optional<CExtensions> extensions;
    std::optional<CAttributes> signedAttributes;
    std::optional<CAttributes> unsignedAttributes;
    std::optional<std::vector<CBlob>> certificates;
    kestrel::MessageHolder message;
    CSignerInfo signer;
    CBlob encoded;  // the whole token

    // Everything, from a TimeStampToken (RFC 3161 2.4.2), read as a message: what else may
    // stand in one, as answers of OCSP or certificates of other kinds, does not matter. Throws
    // CRYPT_E_BAD_MSG when it is no TSTInfo, CRYPT_E_ASN1_INTERNAL for parts that do not
    // decode, and what the message object says of other messages.
    void Decode(const CBlob& token);
};

// From a TSTInfo. Throws CRYPT_E_ASN1_INTERNAL, and E_INVALIDARG for a version of more than
// four bytes and a name that CGeneralName does not keep.
void ReadContent(const CBlob& tstInfo, CTokenInfo& token);

// The codes of PKIStatus.
inline constexpr std::uint32_t kGranted = 0;
inline constexpr std::uint32_t kGrantedWithMods = 1;
inline constexpr std::uint32_t kRejection = 2;

struct CStampStatus {
    std::uint32_t status = kRejection;
    std::uint32_t failInfo = 0;  // bit n of PKIFailureInfo is bit n of the number
    std::vector<std::wstring> statusString;
};

struct CStampResponse {
    CStampStatus status;
    std::optional<CTokenInfo> token;

    // From a TimeStampResp. Throws E_INVALIDARG for no bytes and for a status that is
    // negative or beyond 32 bits, otherwise as CTokenInfo does.
    void Decode(const CBlob& response);
};

void Fill(asn1rt::ASN1Context& context, asn1data::TimeStampReq& record, const CStampRequest& value);
void Read(const asn1data::Accuracy& record, CAccuracy& value);
void Read(const asn1data::PKIStatusInfo& record, CStampStatus& value);

}  // namespace Ferroline::PKI
