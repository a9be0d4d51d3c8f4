// Requests and answers; tokens are read in token.cpp.
#include <algorithm>

#include "asn1data/PKIXTSP.h"
#include "stamps/generated.h"
#include "stamps/stamp_records.h"

namespace Ferroline::PKI {
namespace {

std::uint32_t ReadBits(const asn1rt::ASN1DynBitStr& bits) {
    std::uint32_t number = 0;
    for (std::uint32_t at = 0; at < std::min(bits.numbits, 32U); ++at) {
        if ((bits.data[at / 8] >> (7 - at % 8) & 1) != 0) number |= 1U << at;
    }
    return number;
}

}  // namespace

void Fill(asn1rt::ASN1Context& context, asn1data::TimeStampReq& record,
          const CStampRequest& value) {
    using ASN1::Fill;
    ASN1::FillUnsigned(context, record.version, value.version);
    Fill(context, record.messageImprint.hashAlgorithm, value.hashAlgorithm);
    Fill(context, record.messageImprint.hashedMessage, value.hashValue);
    record.m.certReqPresent = value.certReq;
    record.certReq = value.certReq;
    record.m.reqPolicyPresent = value.policy.has_value();
    if (value.policy) Fill(context, record.reqPolicy, *value.policy);
    record.m.noncePresent = value.nonce.has_value();
    if (value.nonce) Fill(context, record.nonce, *value.nonce);
    record.m.extensionsPresent = value.extensions && !value.extensions->empty();
    if (record.m.extensionsPresent) Fill(context, record.extensions, *value.extensions);
}

CBlob CStampRequest::Encode() const {
    return ASN1::EncodeValue<asn1data::ASN1C_TimeStampReq, asn1data::TimeStampReq>(*this);
}

void Read(const asn1data::PKIStatusInfo& record, CStampStatus& value) {
    value = {};
    value.status = ASN1::ReadUnsigned(record.status);
    if (record.m.failInfoPresent) value.failInfo = ReadBits(record.failInfo);
    if (!record.m.statusStringPresent) return;
    for (const asn1rt::ASN1CharStr& text : record.statusString) {
        ASN1::Read(text, value.statusString.emplace_back());
    }
}

void CStampResponse::Decode(const CBlob& response) {
    if (response.IsEmpty()) Fail(E_INVALIDARG);
    ASN1::Decoded<asn1data::ASN1C_TimeStampResp, asn1data::TimeStampResp> record(response.Bytes());
    Read(record->status, status);
    token.reset();
    if (!record->m.timeStampTokenPresent) return;
    token.emplace().Decode(
        ASN1::EncodeRecord<asn1data::ASN1C_TimeStampToken>(record->timeStampToken));
}

}  // namespace Ferroline::PKI
