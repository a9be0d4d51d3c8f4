// Certificate identifiers of signatures from records and back.
#include "stamps/cert_id.h"

#include "asn1data/PKIX1Explicit88.h"
#include "stamps/generated.h"

namespace Ferroline::ASN1 {
namespace {

using asn1rt::ASN1Context;

template <class Record, class Value>
void FillList(ASN1Context& context, asn1rt::ASN1TList<Record>& record,
              const std::vector<Value>& value) {
    for (const Value& one : value) Fill(context, AddTo(context, record), one);
}

template <class Record, class Value>
void ReadList(const asn1rt::ASN1TList<Record>& record, std::vector<Value>& value) {
    value.clear();
    for (const Record& one : record) Read(one, value.emplace_back());
}

// The records of all three identifiers call it the same.
template <class Record, class Value>
void FillIssuerSerial(ASN1Context& context, Record& record, const Value& value) {
    record.m.issuerSerialPresent = value.issuerSerial.has_value();
    if (value.issuerSerial) Fill(context, record.issuerSerial, *value.issuerSerial);
}

template <class Record, class Value>
void ReadIssuerSerial(const Record& record, Value& value) {
    value.issuerSerial.reset();
    if (record.m.issuerSerialPresent) Read(record.issuerSerial, value.issuerSerial.emplace());
}

// And those of all three attributes.
template <class Control, class Record, class List>
CBlob EncodeAttribute(const CSigningCertificateT<List>& value) {
    return Guarded([&] {
        asn1rt::ASN1BEREncodeBuffer buffer;
        ASN1Context& context = *buffer.getContextPtr();
        Record record;
        FillList(context, record.certs, value.certs);
        record.m.policiesPresent = value.policies.has_value();
        if (value.policies) FillList(context, record.policies, *value.policies);
        return EncodeRecord<Control>(buffer, record);
    });
}

template <class Control, class Record, class List>
void DecodeAttribute(const CBlob& encoded, CSigningCertificateT<List>& value) {
    Decoded<Control, Record> record(encoded.Bytes());
    ReadList(record->certs, value.certs);
    value.policies.reset();
    if (record->m.policiesPresent) ReadList(record->policies, value.policies.emplace());
}

COtherHash ExplicitHash(CAlgorithmIdentifier algorithm, const CBlob& value) {
    COtherHash hash;
    hash.SetOtherHash({std::move(algorithm), value});
    return hash;
}

const CAlgorithmIdentifier& DefaultAlgorithm() {
    static const CAlgorithmIdentifier sha256(kSha256Oid);
    return sha256;
}

}  // namespace

COtherCertID::COtherCertID(const CESSCertID& id)
    : hash(ExplicitHash(CAlgorithmIdentifier(kSha1Oid), id.hash)), issuerSerial(id.issuerSerial) {}

COtherCertID::COtherCertID(const CESSCertIDv2& id)
    : hash(ExplicitHash(id.hashAlgorithm, id.hash)), issuerSerial(id.issuerSerial) {}

CBlob Encode(const CSigningCertificate& value) {
    return EncodeAttribute<asn1data::ASN1C_SigningCertificate, asn1data::SigningCertificate>(value);
}

CBlob Encode(const CSigningCertificateV2& value) {
    return EncodeAttribute<asn1data::ASN1C_SigningCertificateV2, asn1data::SigningCertificateV2>(
        value);
}

CBlob Encode(const COtherSigningCertificate& value) {
    return EncodeAttribute<asn1data::ASN1C_OtherSigningCertificate,
                           asn1data::OtherSigningCertificate>(value);
}

void Decode(const CBlob& encoded, CSigningCertificate& value) {
    DecodeAttribute<asn1data::ASN1C_SigningCertificate, asn1data::SigningCertificate>(encoded,
                                                                                      value);
}

void Decode(const CBlob& encoded, CSigningCertificateV2& value) {
    DecodeAttribute<asn1data::ASN1C_SigningCertificateV2, asn1data::SigningCertificateV2>(encoded,
                                                                                          value);
}

void Decode(const CBlob& encoded, COtherSigningCertificate& value) {
    DecodeAttribute<asn1data::ASN1C_OtherSigningCertificate, asn1data::OtherSigningCertificate>(
        encoded, value);
}

void Fill(ASN1Context& context, asn1data::IssuerSerial& record, const CIssuerSerial& value) {
    Fill(context, record.issuer, value.issuer);
    Fill(context, record.serialNumber, value.serial);
}

void Read(const asn1data::IssuerSerial& record, CIssuerSerial& value) {
    Read(record.issuer, value.issuer);
    Read(record.serialNumber, value.serial);
}

void Fill(ASN1Context& context, asn1data::ESSCertID& record, const CESSCertID& value) {
    Fill(context, record.certHash, value.hash);
    FillIssuerSerial(context, record, value);
}

void Read(const asn1data::ESSCertID& record, CESSCertID& value) {
    Read(record.certHash, value.hash);
    ReadIssuerSerial(record, value);
}

void Fill(ASN1Context& context, asn1data::ESSCertIDv2& record, const CESSCertIDv2& value) {
    // DER leaves a default out (X.690, 11.5).
    record.m.hashAlgorithmPresent = value.hashAlgorithm != DefaultAlgorithm();
    if (record.m.hashAlgorithmPresent) Fill(context, record.hashAlgorithm, value.hashAlgorithm);
    Fill(context, record.certHash, value.hash);
    FillIssuerSerial(context, record, value);
}

void Read(const asn1data::ESSCertIDv2& record, CESSCertIDv2& value) {
    value.hashAlgorithm = DefaultAlgorithm();
    if (record.m.hashAlgorithmPresent) Read(record.hashAlgorithm, value.hashAlgorithm);
    Read(record.certHash, value.hash);
    ReadIssuerSerial(record, value);
}

void Fill(ASN1Context& context, asn1data::OtherCertID& record, const COtherCertID& value) {
    Fill(context, record.otherCertHash, value.hash);
    FillIssuerSerial(context, record, value);
}

void Read(const asn1data::OtherCertID& record, COtherCertID& value) {
    Read(record.otherCertHash, value.hash);
    ReadIssuerSerial(record, value);
}

void Fill(ASN1Context& context, asn1data::PolicyInformation& record,
          const CPolicyInformation& value) {
    Fill(context, record.policyIdentifier, value.oid);
    record.m.policyQualifiersPresent = !value.qualifiers.empty();
    for (const CPolicyQualifier& qualifier : value.qualifiers) {
        auto& added = AddTo(context, record.policyQualifiers);
        Fill(context, added.policyQualifierId, qualifier.oid);
        added.m.qualifierPresent = !qualifier.value.IsEmpty();
        if (added.m.qualifierPresent) Fill(context, added.qualifier, qualifier.value);
    }
}

void Read(const asn1data::PolicyInformation& record, CPolicyInformation& value) {
    value.oid = ReadOid(record.policyIdentifier);
    value.qualifiers.clear();
    if (!record.m.policyQualifiersPresent) return;
    for (const asn1data::PolicyQualifierInfo& info : record.policyQualifiers) {
        CPolicyQualifier& added = value.qualifiers.emplace_back();
        added.oid = ReadOid(info.policyQualifierId);
        if (info.m.qualifierPresent) Read(info.qualifier, added.value);
    }
}

}  // namespace Ferroline::ASN1
