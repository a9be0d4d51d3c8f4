// One request cycle with a time-stamp service.
#include "stamps/client.h"

#include "selection/providers.h"
#include "stamps/failure.h"
#include "stamps/signer.h"
#include "stamps/stamp_records.h"
#include "stamps/verify.h"
#include "stamps/wide_text.h"

namespace Ferroline::PKI {
namespace {

constexpr ALG_ID kPreferredHash = 0x801E;  // GOST R 34.11-94
constexpr DWORD kHttpOk = 200;

PCCRYPT_OID_INFO FindHash(DWORD keyType, void* key) {
    SetLastError(0);
    return CryptFindOIDInfo(keyType, key, CRYPT_HASH_ALG_OID_GROUP_ID);
}

PCCRYPT_OID_INFO FindHash(ALG_ID algorithm) {
    return FindHash(CRYPT_OID_INFO_ALGID_KEY, &algorithm);
}

bool StartsWithHttps(const std::wstring& url) { return url.starts_with(L"https://"); }

// Chosen before the command's own address is known, and not again.
void ChooseSchemes(CStampClient& client) {
    const CStampPolicy& policy = client.policySettings;
    CStampConnection& connection = client.connection;
    connection.url = policy.defaultTspUrl;
    connection.proxy = policy.defaultProxy;
    connection.authType =
        StartsWithHttps(connection.url) ? policy.authSslTypeDefault : policy.authTypeDefault;
    connection.proxyAuthType = StartsWithHttps(connection.proxy) ? policy.proxyAuthSslTypeDefault
                                                                 : policy.proxyAuthTypeDefault;
}

void ChooseHash(CStampClient& client) {
    const std::string configured = ToAnsi(client.policySettings.defaultHashAlg);
    // A name may stand behind the identifier.
    if (!configured.empty()) return client.SetHashOID(configured.substr(0, configured.find(' ')));
    client.SetHashAlg(FindHash(kPreferredHash) != nullptr ? kPreferredHash : CALG_SHA1);
}

}  // namespace

CStampClient::CStampClient() {
    LoadPolicy(*this);
    ChooseSchemes(*this);
}

std::unique_ptr<CStampClient> CStampClient::Create() {
    std::unique_ptr<CStampClient> client(new CStampClient);
    ChooseHash(*client);
    const std::string policy = ToAnsi(client->policySettings.defaultPolicyId);
    if (!policy.empty()) client->SetPolicyID(policy);
    return client;
}

void CStampClient::SetCertReq(bool flag) {
    if (flag == certReq) return;
    certReq = flag;
    encodedRequest.Clear();
    connection.status = 0;
}

void CStampClient::TakeHash(PCCRYPT_OID_INFO info) {
    if (info == nullptr) FailWithLastErrorOr(NTE_BAD_ALGID);
    hashAlg = info->Algid;
    hashOid = info->pszOID;
    encodedRequest.Clear();
}

void CStampClient::SetHashAlg(ALG_ID algorithm) {
    if (hash_.Get() != 0) Fail(NTE_BAD_HASH_STATE);
    TakeHash(FindHash(algorithm));
}

void CStampClient::SetHashOID(const std::string& oid) {
    if (hash_.Get() != 0) Fail(NTE_BAD_HASH_STATE);
    TakeHash(FindHash(CRYPT_OID_INFO_OID_KEY, const_cast<char*>(oid.c_str())));
}

void CStampClient::SetPolicyID(const std::string& oid) {
    if (oid == policyId) return;
    policyId = oid;
    encodedRequest.Clear();
}

void CStampClient::HashData(const BYTE* data, DWORD size) {
    if (!hashValue.IsEmpty()) Fail(static_cast<HRESULT>(CRYPT_E_EXISTS));
    if (hash_.Get() == 0) {
        provider_.Reset();
        *provider_.Fill() = kestrel::FindProviderForAlgorithm(hashAlg);
        if (provider_.Get() == 0) ATL::ThrowLastError();
        RequireDone(CryptCreateHash(provider_.Get(), hashAlg, 0, 0, hash_.Fill()));
    }
    RequireDone(CryptHashData(hash_.Get(), data, size, 0));
}

CBlob GenerateNonce(std::uint32_t size) {
    kestrel::ProviderHolder provider;
    RequireDone(CryptAcquireContextA(provider.Fill(), nullptr, nullptr, PROV_RSA_FULL,
                                     CRYPT_VERIFYCONTEXT));
    CBlob nonce(size);
    RequireDone(CryptGenRandom(provider.Get(), size, nonce.GetData()));
    return nonce;
}

// X.690 8.3.2: not all of the first nine bits of an INTEGER are zero.
bool IsMinimal(const CBigInteger& number) {
    const std::uint8_t* octets = number.GetData();
    return number.GetSize() < 2 || octets[0] != 0 || (octets[1] & 0x80) != 0;
}

// Positive and of the whole length, without an octet too many: services refuse that.
CBigInteger NewNonce(std::uint32_t size) {
    CBigInteger nonce;
    do {
        nonce = CBigInteger(GenerateNonce(size)).ToPositive();
    } while (!IsMinimal(nonce));
    return nonce;
}

void BuildRequest(CStampClient& client) {
    if (client.hash_.Get() != 0) {
        DWORD size = 0;
        RequireDone(CryptGetHashParam(client.hash_.Get(), HP_HASHVAL, nullptr, &size, 0));
        client.hashValue.Resize(size);
        RequireDone(CryptGetHashParam(client.hash_.Get(), HP_HASHVAL, client.hashValue.GetData(),
                                      &size, 0));
        client.hash_.Reset();
    }
    if (client.hashValue.IsEmpty()) Fail(static_cast<HRESULT>(kNothingHashed));
    CStampRequest request;
    request.hashAlgorithm.SetOID(client.hashOid);
    request.hashValue = client.hashValue;
    request.certReq = client.certReq;
    if (!client.policyId.empty()) request.policy = client.policyId;
    if (client.useNonce) {
        client.nonce = NewNonce(client.policySettings.nonceLength);
        request.nonce = client.nonce;
    }
    client.encodedRequest = request.Encode();
}

// Without a nonce on either side the time alone tells a fresh token from an old one.
void CStampClient::CheckFreshness(const CDateTime& asked) const {
    if (stamp.HasNonce() || !nonce.IsEmpty()) return;
    // In 32 bits, so that a huge tolerance wraps.
    const CDateTimeSpan tolerance(0, policySettings.stampAccuracy * 1000);
    const CDateTime& time = stamp.GetTime();
    if (time < asked - tolerance || time > asked + tolerance) {
        Fail(static_cast<HRESULT>(kTimeOutOfTolerance));
    }
}

CStamp& CStampClient::ObtainStamp() {
    CheckPolicy(*this);
    if (encodedRequest.IsEmpty()) BuildRequest(*this);
    if (connection.url.empty()) Fail(static_cast<HRESULT>(kNoServiceUrl));
    const CDateTime asked = CDateTime::Now();
    const CBlob answer = SendStampRequest(connection, encodedRequest);
    if (connection.status != kHttpOk) Fail(static_cast<HRESULT>(kBadHttpStatus));
    DecodeResponse(stamp, answer, this);
    if (stamp.GetStatus() >= kRejection) Fail(static_cast<HRESULT>(kNotGranted));
    CheckFreshness(asked);
    RequireResult(VerifyStampSignature(stamp));
    RequireResult(VerifyStampChain(stamp));
    return stamp;
}

}  // namespace Ferroline::PKI
