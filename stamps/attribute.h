// Attributes and extensions in their encoded form.
#pragma once

#include <string>
#include <vector>

#include "asn1data/records.h"
#include "stamps/blob.h"

namespace Ferroline::ASN1 {

// A type and one encoded value.
struct CAttribute {
    std::string oid;
    CBlob value;

    friend bool operator==(const CAttribute&, const CAttribute&) = default;
};

using CAttributes = std::vector<CAttribute>;

// The value is what the extension's OCTET STRING holds.
struct CExtension : CAttribute {
    bool critical = false;

    friend bool operator==(const CExtension&, const CExtension&) = default;
};

using CExtensions = std::vector<CExtension>;

void Fill(asn1rt::ASN1Context& context, asn1data::Extension& record, const CExtension& value);
void Read(const asn1data::Extension& record, CExtension& value);
void Fill(asn1rt::ASN1Context& context, asn1data::Extensions& record, const CExtensions& value);
void Read(const asn1data::Extensions& record, CExtensions& value);

// The value of a content type attribute (RFC 3369, 11.1), dotted.
[[nodiscard]] std::string DecodeContentType(const CBlob& encoded);
// The certificates in the value of a certificate values attribute (RFC 3126).
[[nodiscard]] std::vector<CBlob> DecodeCertificateValues(const CBlob& encoded);

}  // namespace Ferroline::ASN1
