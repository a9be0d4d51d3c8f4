// Reads the time-stamp policy from the settings, the machine's before the user's.
#include <algorithm>
#include <string_view>

#include "stamps/client.h"
#include "stamps/failure.h"
#include "stamps/policy.h"
#include "stamps/registry_values.h"
#include "stamps/settings/settings.h"

namespace Ferroline::PKI {
namespace {

using ATL2::CRegistryKey;

// Names of keys and settings are ASCII.
std::wstring Wide(std::string_view name) { return {name.begin(), name.end()}; }

CRegistryKey OpenSide(HKEY root) {
    return CRegistryKey::Open(root, Wide(kPolicyKey).c_str(), KEY_QUERY_VALUE);
}

struct PolicyKeys {
    CRegistryKey machine = OpenSide(HKEY_LOCAL_MACHINE);
    CRegistryKey user = OpenSide(HKEY_CURRENT_USER);
};

[[noreturn]] void FailWith(LSTATUS status) { Fail(ATL::ResultOfError(static_cast<DWORD>(status))); }

// Asks the machine, and the user when it has no such value. `read` answers a status.
template <class Read>
bool ReadFirst(const PolicyKeys& keys, const Read& read) {
    for (const CRegistryKey* key : {&keys.machine, &keys.user}) {
        if (!key->IsOpen()) continue;
        const LSTATUS status = read(key->Get());
        if (status == ERROR_SUCCESS) return true;
        if (status != ERROR_FILE_NOT_FOUND) FailWith(status);
    }
    return false;
}

std::uint32_t ReadNumber(const PolicyKeys& keys, const Setting& setting) {
    const std::wstring name = Wide(setting.name);
    DWORD value = 0;
    DWORD type = REG_NONE;
    DWORD size = 0;
    const bool found = ReadFirst(keys, [&](HKEY key) {
        size = sizeof(value);
        return RegQueryValueExW(key, name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(&value),
                                &size);
    });
    if (!found) return setting.initially;
    if (type != REG_DWORD || size != sizeof(value)) FailWith(ERROR_INVALID_DATA);
    return value;
}

void ReadPolicyDword(std::uint32_t& target, const PolicyKeys& keys, const Setting& setting) {
    target = ReadNumber(keys, setting);
}

void ReadPolicyBool(bool& target, const PolicyKeys& keys, const Setting& setting) {
    target = ReadNumber(keys, setting) != 0;
}

LSTATUS ReadBytes(HKEY key, const wchar_t* name, DWORD& type, CBlob& data) {
    DWORD size = 0;
    const LSTATUS asked = RegQueryValueExW(key, name, nullptr, &type, nullptr, &size);
    if (asked != ERROR_SUCCESS) return asked;
    data.Resize(size);
    const LSTATUS status = RegQueryValueExW(key, name, nullptr, &type, data.GetData(), &size);
    if (status == ERROR_SUCCESS) data.Resize(size);
    return status;
}

void ReadPolicyString(std::wstring& target, const PolicyKeys& keys, const Setting& setting) {
    const std::wstring name = Wide(setting.name);
    DWORD type = REG_NONE;
    CBlob data;
    if (!ReadFirst(keys, [&](HKEY key) { return ReadBytes(key, name.c_str(), type, data); })) {
        return;
    }
    const std::size_t units = data.GetSize() / sizeof(wchar_t);
    const auto* const text = reinterpret_cast<const wchar_t*>(data.GetData());
    const bool isText = (type == REG_SZ || type == REG_EXPAND_SZ) &&
                        data.GetSize() % sizeof(wchar_t) == 0 && units != 0 &&
                        text[units - 1] == L'\0';
    if (!isText) FailWith(ERROR_INVALID_DATA);
    target = text;
}

class CGPStringsEnum final : public ATL2::CRegistryValuesEnum {
  public:
    explicit CGPStringsEnum(CGPStrings& list) : list_(list) {}
    bool OnValue(DWORD, const wchar_t*, DWORD, DWORD type, const BYTE* data, DWORD size) override {
        if (type != REG_SZ) return true;
        const std::wstring_view text(reinterpret_cast<const wchar_t*>(data),
                                     size / sizeof(wchar_t));
        list_.Add(std::wstring(text.substr(0, text.find(L'\0'))));
        return true;
    }

  private:
    CGPStrings& list_;
};

// The flag of one side: whether there is one, and what it says. Another type counts as none.
bool ReadFlag(const CRegistryKey& key, const std::wstring& name, bool& flag) {
    if (!key.IsOpen()) return false;
    DWORD type = REG_NONE;
    DWORD value = 0;
    DWORD size = sizeof(value);
    const LSTATUS status = RegQueryValueExW(key.Get(), name.c_str(), nullptr, &type,
                                            reinterpret_cast<BYTE*>(&value), &size);
    if (status != ERROR_SUCCESS || type != REG_DWORD) return false;
    flag = value != 0;
    return true;
}

// The side whose flag is found decides alone, also when it says no: lists are not merged.
void ReadPolicyList(CGPStrings& list, const PolicyKeys& keys, const Setting& setting) {
    const std::wstring name = Wide(setting.name);
    const std::wstring flagName = name + Wide(kListFlagEnd);
    list.SetInForce(false);
    for (const CRegistryKey* side : {&keys.machine, &keys.user}) {
        bool flag = false;
        if (!ReadFlag(*side, flagName, flag)) continue;
        if (!flag) return;
        list.SetInForce(true);
        const auto entries =
            CRegistryKey::Open(side->Get(), name.c_str(), KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS);
        if (entries.IsOpen()) CGPStringsEnum(list).Enumerate(entries.Get());
        return;
    }
}

// One row for each scheme of a way.
#define READ_SCHEME_RULES(rules, way)                                       \
    ReadPolicyBool(rules.denyAnonym, keys, SettingNamed(way "DenyAnonym")); \
    ReadPolicyBool(rules.denyBasic, keys, SettingNamed(way "DenyBasic"));   \
    ReadPolicyBool(rules.denyDigest, keys, SettingNamed(way "DenyDigest")); \
    ReadPolicyBool(rules.denyNtlm, keys, SettingNamed(way "DenyNTLM"));     \
    ReadPolicyBool(rules.denyNegotiate, keys, SettingNamed(way "DenyNegotiate"))

void ReadNumbers(CStampPolicy& policy, const PolicyKeys& keys) {
    ReadPolicyDword(policy.stampAccuracy, keys, SettingNamed("StampAccuracy"));
    ReadPolicyBool(policy.defaultCertReq, keys, SettingNamed("DefaultCertReq"));
    ReadPolicyDword(policy.nonceLength, keys, SettingNamed("NonceLength"));
    ReadPolicyDword(policy.authTypeDefault, keys, SettingNamed("AuthTypeDefault"));
    ReadPolicyDword(policy.authSslTypeDefault, keys, SettingNamed("AuthSSLTypeDefault"));
    ReadPolicyDword(policy.proxyAuthTypeDefault, keys, SettingNamed("ProxyAuthTypeDefault"));
    ReadPolicyDword(policy.proxyAuthSslTypeDefault, keys, SettingNamed("ProxyAuthSSLTypeDefault"));
    ReadPolicyBool(policy.requireNonce, keys, SettingNamed("RequireNonce"));
    ReadPolicyBool(policy.disableNonce, keys, SettingNamed("DisableNonce"));
    ReadPolicyBool(policy.useNonceByDefault, keys, SettingNamed("UseNonceByDefault"));
    ReadPolicyBool(policy.disablePolicyId, keys, SettingNamed("DisablePolicyID"));
    READ_SCHEME_RULES(policy.authSsl, "AuthSSL");
    READ_SCHEME_RULES(policy.auth, "Auth");
    READ_SCHEME_RULES(policy.proxyAuthSsl, "ProxyAuthSSL");
    READ_SCHEME_RULES(policy.proxyAuth, "ProxyAuth");
}

void ReadTexts(CStampPolicy& policy, const PolicyKeys& keys) {
    ReadPolicyString(policy.defaultHashAlg, keys, SettingNamed("DefaultHashAlg"));
    ReadPolicyString(policy.defaultTspUrl, keys, SettingNamed("DefaultTSPURL"));
    ReadPolicyString(policy.defaultProxy, keys, SettingNamed("DefaultProxy"));
    ReadPolicyString(policy.defaultPolicyId, keys, SettingNamed("DefaultPolicyID"));
}

void ReadLists(CStampPolicy& policy, const PolicyKeys& keys) {
    ReadPolicyList(policy.hashAlgsAllowed, keys, SettingNamed("HashAlgsAllowed"));
    ReadPolicyList(policy.hashAlgsDenied, keys, SettingNamed("HashAlgsDenied"));
    ReadPolicyList(policy.allowedTsps, keys, SettingNamed("AllowedTSPs"));
    ReadPolicyList(policy.allowedProxies, keys, SettingNamed("AllowedProxies"));
    ReadPolicyList(policy.allowedPolicyId, keys, SettingNamed("AllowedPolicyID"));
}

}  // namespace

bool WholeTokensWanted() {
    constexpr const Setting& kWanted = SettingNamed("VerifyTokens");
    bool wanted = false;
    const auto key =
        CRegistryKey::Open(HKEY_LOCAL_MACHINE, Wide(kWanted.key).c_str(), KEY_QUERY_VALUE);
    return ReadFlag(key, Wide(kWanted.name), wanted) && wanted;
}

void LoadPolicy(CStampClient& client) {
    const PolicyKeys keys;
    CStampPolicy& policy = client.policySettings;
    ReadNumbers(policy, keys);
    ReadTexts(policy, keys);
    ReadLists(policy, keys);
    client.useNonce = policy.useNonceByDefault;
    client.certReq = policy.defaultCertReq;
}

}  // namespace Ferroline::PKI
