// A time stamp, from a response or a token.
#include "stamps/stamp.h"

#include "stamps/client.h"
#include "stamps/failure.h"
#include "stamps/message_param.h"
#include "stamps/signer.h"
#include "stamps/stamp_records.h"

namespace Ferroline::PKI {
namespace {

constexpr std::uint32_t kLastStatus = 6;

void Require(HRESULT result) {
    if (result < 0) Fail(result);
}

// A response with its token, or the bytes as a bare token.
struct Answer {
    bool isResponse = false;
    CStampStatus status;
    std::optional<CTokenInfo> token;
};

Answer ReadAnswer(const CBlob& bytes) {
    Answer answer;
    try {
        CStampResponse response;
        response.Decode(bytes);
        answer.isResponse = true;
        answer.status = std::move(response.status);
        answer.token = std::move(response.token);
    } catch (const ATL::CAtlException&) {
        answer = {};
        answer.token.emplace().Decode(bytes);
    }
    return answer;
}

ALG_ID HashAlgOf(const std::string& oid) {
    SetLastError(0);
    const PCCRYPT_OID_INFO info = CryptFindOIDInfo(
        CRYPT_OID_INFO_OID_KEY, const_cast<char*>(oid.c_str()), CRYPT_HASH_ALG_OID_GROUP_ID);
    if (info == nullptr) FailWithLastErrorOr(NTE_BAD_ALGID);
    return info->Algid;
}

void AddCertificates(const ATL2::CStoreSet& store, const CTokenInfo& token) {
    if (!token.certificates) return;
    for (const CBlob& encoded : *token.certificates) Require(AddCertificate(store, encoded));
}

std::uint32_t Microseconds(const std::optional<CAccuracy>& accuracy) {
    if (!accuracy) return kNoAccuracy;
    return (accuracy->seconds * 1000 + accuracy->millis) * 1000 + accuracy->micros;
}

void Compare(const CStampFields& stamp, const CStampClient& client) {
    if (!(client.hashValue == stamp.hashValue)) Fail(CRYPT_E_HASH_VALUE);
    const bool anyNonce = stamp.hasNonce || !client.nonce.IsEmpty();
    if (anyNonce && client.nonce != stamp.nonce) Fail(static_cast<HRESULT>(kNonceDiffers));
}

}  // namespace

CStamp::CStamp() { Require(fields_.store.OpenMemory()); }

void CStamp::Reset() {
    message_.reset();
    signer_.reset();
    fields_ = {};
    Require(fields_.store.OpenMemory());
    fields_.genTime = CDateTime::Now();
}

std::uint32_t CStamp::GetStatus() const {
    if (!fields_.hasResponse) Fail(ATL::ResultOfError(ERROR_INVALID_STATE));
    return fields_.status;
}

void CStamp::CheckToken() const {
    if (fields_.token.IsEmpty()) Fail(ATL::ResultOfError(ERROR_INVALID_STATE));
}

const CBlob& CStamp::GetToken() const {
    CheckToken();
    return fields_.token;
}

void CStamp::GetTokenDER(BYTE* buffer, DWORD& size) const {
    CheckToken();
    const DWORD capacity = size;
    size = fields_.token.GetSize();
    if (buffer == nullptr) return;
    if (capacity < size) Fail(ATL::ResultOfError(ERROR_MORE_DATA));
    std::copy_n(fields_.token.GetData(), size, buffer);
}

const CDateTime& CStamp::GetTime() const {
    CheckToken();
    return fields_.genTime;
}

const CBlob& CStamp::GetHashValue() const {
    CheckToken();
    return fields_.hashValue;
}

ALG_ID CStamp::GetHashAlg() const {
    CheckToken();
    return fields_.hashAlg;
}

bool CStamp::HasNonce() const {
    CheckToken();
    return fields_.hasNonce;
}

const CExtensions& CStamp::GetExtensions() const {
    CheckToken();
    return fields_.extensions;
}

PCCERT_CONTEXT CStamp::GetSigner() const {
    CheckToken();
    return signer_.get();
}

HCRYPTMSG CStamp::GetMessage() {
    if (!message_) {
        CheckToken();
        OpenMessage(fields_.token.GetData(), fields_.token.GetSize(), message_);
    }
    return message_.get();
}

void CStamp::TakeToken(const CTokenInfo& token) {
    fields_.version = token.version;
    fields_.accuracy = Microseconds(token.accuracy);
    fields_.genTime = CDateTime(token.genTime);
    fields_.hashOid = token.hashAlgorithm.GetOID();
    fields_.hashAlg = HashAlgOf(fields_.hashOid);
    fields_.hashValue = token.hashValue;
    fields_.hasNonce = token.nonce.has_value();
    if (token.nonce) fields_.nonce = *token.nonce;
    fields_.ordering = token.ordering;
    fields_.policy = token.policy;
    fields_.serial = token.serial;
    fields_.signatureOid = token.signer.signatureAlgorithm.GetOID();
    fields_.signature = token.signer.signature;
    if (token.tsa) {
        fields_.tsaDer = token.tsa->Encode();
        fields_.tsaName = token.tsa->ToString();
    }
    fields_.extensions = token.extensions.value_or(CExtensions{});
    AddCertificates(fields_.store, token);
}

void DecodeResponse(CStamp& stamp, const CBlob& bytes, const CStampClient* client) {
    stamp.Reset();
    const Answer answer = ReadAnswer(bytes);
    CStampFields& fields = stamp.fields_;
    fields.hasResponse = answer.isResponse;
    if (answer.isResponse) {
        fields.status = answer.status.status;
        for (const std::wstring& text : answer.status.statusString) fields.statusString += text;
        fields.failInfo = answer.status.failInfo;
        if (fields.status > kLastStatus) Fail(E_FAIL);
    }
    const bool refused = answer.isResponse && fields.status > kGrantedWithMods;
    if (refused || !answer.token) return;
    stamp.TakeToken(*answer.token);
    if (client != nullptr) Compare(fields, *client);
    fields.token = answer.token->encoded;
    Require(CollectCertValues(stamp));
}

}  // namespace Ferroline::PKI
