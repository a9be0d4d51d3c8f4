// What an administrator lets time stamps do: the settings under
// Software\Policies\Ferro-Line\TSP of the machine and of the user. docs/policy.md explains each.
#pragma once

#include <cstdint>
#include <set>
#include <string>

namespace Ferroline::PKI {

class CStampClient;

// The data of a sub-key's text values, compared exactly. A list that is not in force says
// nothing; one that is and has no entries forbids everything.
class CGPStrings {
  public:
    [[nodiscard]] bool IsInForce() const { return inForce_; }
    void SetInForce(bool inForce) { inForce_ = inForce; }
    void Add(std::wstring text) { texts_.insert(std::move(text)); }
    void Clear() { texts_.clear(); }

    friend bool Contains(const CGPStrings& list, const std::wstring& text) {
        return list.texts_.contains(text);
    }

  private:
    std::set<std::wstring> texts_;
    bool inForce_ = false;
};

// Which authentication schemes are forbidden on one way.
struct SchemeRules {
    bool denyAnonym = false;
    bool denyBasic = false;
    bool denyDigest = false;
    bool denyNtlm = false;
    bool denyNegotiate = false;

    [[nodiscard]] bool Denies(std::uint32_t scheme) const;
};

// What each means and is at first stands in settings/settings.h.
struct CStampPolicy {
    std::uint32_t stampAccuracy = 0;  // milliseconds
    bool defaultCertReq = false;
    std::uint32_t nonceLength = 0;  // bytes
    std::uint32_t authTypeDefault = 0;
    std::uint32_t authSslTypeDefault = 0;
    std::uint32_t proxyAuthTypeDefault = 0;
    std::uint32_t proxyAuthSslTypeDefault = 0;
    bool requireNonce = false;
    bool disableNonce = false;
    bool useNonceByDefault = false;
    bool disablePolicyId = false;
    SchemeRules authSsl;
    SchemeRules auth;
    SchemeRules proxyAuthSsl;
    SchemeRules proxyAuth;
    std::wstring defaultHashAlg;
    std::wstring defaultTspUrl;
    std::wstring defaultProxy;
    std::wstring defaultPolicyId;
    CGPStrings hashAlgsAllowed;
    CGPStrings hashAlgsDenied;
    CGPStrings allowedTsps;
    CGPStrings allowedProxies;
    CGPStrings allowedPolicyId;
};

// Codes of rules that a request breaks.
inline constexpr long kAuthSchemeDenied = static_cast<long>(0xC2100101);
inline constexpr long kProxySchemeDenied = static_cast<long>(0xC2100102);
inline constexpr long kServiceDenied = static_cast<long>(0xC2100103);
inline constexpr long kNonceDenied = static_cast<long>(0xC2100104);
inline constexpr long kHashDenied = static_cast<long>(0xC2100110);
inline constexpr long kPolicyIdDenied = static_cast<long>(0xC2100111);

// Reads the settings into the client, machine before user. Throws what a key that cannot be
// opened says, ERROR_INVALID_DATA for a value of another type and ERROR_MORE_DATA for a number
// that is none.
void LoadPolicy(CStampClient& client);

// Whether the administrator wants more of an old stamp than its imprint and its time. Another
// type counts as no.
[[nodiscard]] bool WholeTokensWanted();

// Throws the code of the first rule that the client's request would break.
void CheckPolicy(const CStampClient& client);

}  // namespace Ferroline::PKI
