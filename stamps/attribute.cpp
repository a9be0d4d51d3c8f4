// Attributes and extensions from records and back.
#include "stamps/attribute.h"

#include "asn1data/CryptographicMessageSyntax.h"
#include "stamps/generated.h"

namespace Ferroline::ASN1 {
namespace {

constexpr asn1rt::ASN1TAG kSequenceTag = 0x20000010;
constexpr std::uint8_t kSequence = 0x30;

}  // namespace

void Fill(asn1rt::ASN1Context& context, asn1data::Extension& record, const CExtension& value) {
    Fill(context, record.extnID, value.oid);
    record.m.criticalPresent = value.critical;
    record.critical = value.critical;
    Fill(context, record.extnValue, value.value);
}

void Read(const asn1data::Extension& record, CExtension& value) {
    value.oid = ReadOid(record.extnID);
    value.critical = record.critical != 0;
    Read(record.extnValue, value.value);
}

void Fill(asn1rt::ASN1Context& context, asn1data::Extensions& record, const CExtensions& value) {
    for (const CExtension& extension : value) Fill(context, AddTo(context, record), extension);
}

void Read(const asn1data::Extensions& record, CExtensions& value) {
    value.clear();
    for (const asn1data::Extension& extension : record) Read(extension, value.emplace_back());
}

std::string DecodeContentType(const CBlob& encoded) {
    Decoded<asn1data::ASN1C_ContentType, asn1data::ContentType> record(encoded.Bytes());
    return ReadOid(*record);
}

std::vector<CBlob> DecodeCertificateValues(const CBlob& encoded) {
    // Not as records: a certificate that the codec cannot take apart is one all the same.
    return Guarded([&] {
        if (encoded.IsEmpty()) Fail(CRYPT_E_ASN1_INTERNAL);
        asn1rt::ASN1BERDecodeBuffer buffer(encoded.GetData(), encoded.GetSize());
        asn1rt::ASN1Context& context = *buffer.getContextPtr();
        asn1rt::ASN1TAG tag = 0;
        Check(xd_peek_tag(context, tag));
        if (tag != kSequenceTag) Fail(CRYPT_E_ASN1_INTERNAL);
        std::vector<CBlob> certificates = ReadElements(context, kSequenceTag);
        for (const CBlob& one : certificates) {
            if (one.GetData()[0] != kSequence) Fail(CRYPT_E_ASN1_INTERNAL);
        }
        return certificates;
    });
}

}  // namespace Ferroline::ASN1
