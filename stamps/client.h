// One request cycle with a time-stamp service (RFC 3161): data is hashed, a request built and
// sent, the answer checked.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "front/core/holders.h"
#include "stamps/connection.h"
#include "stamps/policy.h"
#include "stamps/stamp.h"

namespace Ferroline::PKI {

class CStampClient {
  public:
    // With the policy read and its defaults set. Throws what the policy throws, and
    // NTE_BAD_ALGID for a default hash that the platform does not know.
    static std::unique_ptr<CStampClient> Create();

    // Each empties a request that was built.
    void SetCertReq(bool flag);
    // Both throw NTE_BAD_HASH_STATE once data was hashed, and NTE_BAD_ALGID or the platform's
    // error for what is no hash.
    void SetHashAlg(ALG_ID algorithm);
    void SetHashOID(const std::string& oid);
    void SetPolicyID(const std::string& oid);
    void SetUrl(std::wstring url) { connection.url = std::move(url); }

    // May be called again with more. Throws CRYPT_E_EXISTS when the hash is finished, or the
    // platform's error.
    void HashData(const BYTE* data, DWORD size);

    // The whole cycle behind the hash. Throws the code of the policy's broken rule, one of those
    // below, and what each step throws. The stamp lives as long as the client.
    CStamp& ObtainStamp();

    bool certReq = false;
    bool useNonce = true;
    std::string policyId;  // empty for none
    ALG_ID hashAlg = 0;
    std::string hashOid;
    CBlob hashValue;
    CBlob encodedRequest;
    CBigInteger nonce;
    CStampConnection connection;
    CStamp stamp;
    CStampPolicy policySettings;

  private:
    CStampClient();
    void TakeHash(PCCRYPT_OID_INFO info);
    void CheckFreshness(const CDateTime& asked) const;

    // In this order the hash goes before its provider.
    kestrel::ProviderHolder provider_;
    kestrel::HashHolder hash_;
    friend void BuildRequest(CStampClient& client);
};

inline constexpr long kBadHttpStatus = static_cast<long>(0xC2100100);
inline constexpr long kNoServiceUrl = static_cast<long>(0xC2100121);
inline constexpr long kTimeOutOfTolerance = static_cast<long>(0xC2100122);
inline constexpr long kNothingHashed = static_cast<long>(0xC2100123);
inline constexpr long kNotGranted = static_cast<long>(0xC2100124);

// Fills the client's request from its hash. Throws kNothingHashed, or the platform's error.
void BuildRequest(CStampClient& client);
// Random bytes. Throws the platform's error.
[[nodiscard]] CBlob GenerateNonce(std::uint32_t size);

}  // namespace Ferroline::PKI
