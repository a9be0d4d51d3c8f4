// Algorithm identifiers from records and back.
#include "stamps/algorithm.h"

#include "stamps/generated.h"

namespace Ferroline::ASN1 {

void CAlgorithmIdentifierEx::SetOID(std::string_view oid) {
    if (oid == GetOID()) return;
    number_ = 0;
    CAlgorithmIdentifier::SetOID(oid);
}

void Fill(asn1rt::ASN1Context& context, asn1data::AlgorithmIdentifier& record,
          const CAlgorithmIdentifier& value) {
    Fill(context, record.algorithm, value.GetOID());
    record.m.parametersPresent = !value.GetParameters().IsEmpty();
    if (record.m.parametersPresent) Fill(context, record.parameters, value.GetParameters());
}

void Read(const asn1data::AlgorithmIdentifier& record, CAlgorithmIdentifier& value) {
    value.SetOID(ReadOid(record.algorithm));
    CBlob parameters;
    if (record.m.parametersPresent) Read(record.parameters, parameters);
    value.SetParameters(std::move(parameters));
}

void Fill(asn1rt::ASN1Context& context, asn1data::OtherHashAlgAndValue& record,
          const COtherHashAlgAndValue& value) {
    Fill(context, record.hashAlgorithm, value.algorithm);
    Fill(context, record.hashValue, value.value);
}

void Read(const asn1data::OtherHashAlgAndValue& record, COtherHashAlgAndValue& value) {
    Read(record.hashAlgorithm, value.algorithm);
    Read(record.hashValue, value.value);
}

}  // namespace Ferroline::ASN1
