// How a signature names the certificate of its signer: by a hash, and perhaps by issuer and
// serial number (RFC 2634, RFC 5035, RFC 5126).
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "asn1data/records.h"
#include "stamps/algorithm.h"
#include "stamps/general_name.h"
#include "stamps/other_hash.h"

namespace Ferroline::ASN1 {

inline constexpr const char* kSha1Oid = "1.3.14.3.2.26";
inline constexpr const char* kSha256Oid = "2.16.840.1.101.3.4.2.1";

struct CIssuerSerial {
    CGeneralNames issuer;
    CBigInteger serial;

    friend bool operator==(const CIssuerSerial&, const CIssuerSerial&) = default;
};

// The hash is SHA-1.
struct CESSCertID {
    CBlob hash;
    std::optional<CIssuerSerial> issuerSerial;

    friend bool operator==(const CESSCertID&, const CESSCertID&) = default;
};

struct CESSCertIDv2 {
    CAlgorithmIdentifier hashAlgorithm{kSha256Oid};
    CBlob hash;
    std::optional<CIssuerSerial> issuerSerial;

    friend bool operator==(const CESSCertIDv2&, const CESSCertIDv2&) = default;
};

// The form in which identifiers are compared. The two others become one with the algorithm
// made explicit.
struct COtherCertID {
    COtherHash hash;
    std::optional<CIssuerSerial> issuerSerial;

    COtherCertID() = default;
    explicit COtherCertID(const CESSCertID& id);
    explicit COtherCertID(const CESSCertIDv2& id);

    friend bool operator==(const COtherCertID&, const COtherCertID&) = default;
};

struct CPolicyQualifier {
    std::string oid;
    CBlob value;  // encoded, or empty

    friend bool operator==(const CPolicyQualifier&, const CPolicyQualifier&) = default;
};

struct CPolicyInformation {
    std::string oid;
    std::vector<CPolicyQualifier> qualifiers;

    friend bool operator==(const CPolicyInformation&, const CPolicyInformation&) = default;
};

using CPolicies = std::vector<CPolicyInformation>;
using CESSCertIDList = std::vector<CESSCertID>;
using CESSCertIDv2List = std::vector<CESSCertIDv2>;
using COtherCertIDList = std::vector<COtherCertID>;

// The value of one of the three attributes: the first identifier is the signer's.
template <class List>
struct CSigningCertificateT {
    List certs;
    std::optional<CPolicies> policies;

    friend bool operator==(const CSigningCertificateT&, const CSigningCertificateT&) = default;
};

using CSigningCertificate = CSigningCertificateT<CESSCertIDList>;
using CSigningCertificateV2 = CSigningCertificateT<CESSCertIDv2List>;
using COtherSigningCertificate = CSigningCertificateT<COtherCertIDList>;

[[nodiscard]] CBlob Encode(const CSigningCertificate& value);
[[nodiscard]] CBlob Encode(const CSigningCertificateV2& value);
[[nodiscard]] CBlob Encode(const COtherSigningCertificate& value);
void Decode(const CBlob& encoded, CSigningCertificate& value);
void Decode(const CBlob& encoded, CSigningCertificateV2& value);
void Decode(const CBlob& encoded, COtherSigningCertificate& value);

void Fill(asn1rt::ASN1Context& context, asn1data::IssuerSerial& record, const CIssuerSerial& value);
void Read(const asn1data::IssuerSerial& record, CIssuerSerial& value);
void Fill(asn1rt::ASN1Context& context, asn1data::ESSCertID& record, const CESSCertID& value);
void Read(const asn1data::ESSCertID& record, CESSCertID& value);
void Fill(asn1rt::ASN1Context& context, asn1data::ESSCertIDv2& record, const CESSCertIDv2& value);
void Read(const asn1data::ESSCertIDv2& record, CESSCertIDv2& value);
void Fill(asn1rt::ASN1Context& context, asn1data::OtherCertID& record, const COtherCertID& value);
void Read(const asn1data::OtherCertID& record, COtherCertID& value);
void Fill(asn1rt::ASN1Context& context, asn1data::PolicyInformation& record,
          const CPolicyInformation& value);
void Read(const asn1data::PolicyInformation& record, CPolicyInformation& value);

}  // namespace Ferroline::ASN1
