// Reading the policy.
#include <algorithm>
#include <string_view>

#include "stamps/client.h"
#include "stamps/failure.h"
#include "stamps/policy.h"
#include "stamps/registry_values.h"

namespace Ferroline::PKI {
namespace {

using ATL2::CRegistryKey;

constexpr wchar_t kPolicyKey[] = L"Software\\Policies\\Ferro-Line\\TSP";

struct PolicyKeys {
    CRegistryKey machine = CRegistryKey::Open(HKEY_LOCAL_MACHINE, kPolicyKey, KEY_QUERY_VALUE);
    CRegistryKey user = CRegistryKey::Open(HKEY_CURRENT_USER, kPolicyKey, KEY_QUERY_VALUE);
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

bool ReadNumber(const PolicyKeys& keys, const wchar_t* name, DWORD& value) {
    DWORD type = REG_NONE;
    DWORD size = 0;
    const bool found = ReadFirst(keys, [&](HKEY key) {
        size = sizeof(value);
        return RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size);
    });
    if (found && (type != REG_DWORD || size != sizeof(value))) FailWith(ERROR_INVALID_DATA);
    return found;
}

void ReadPolicyDword(std::uint32_t& target, const PolicyKeys& keys, const wchar_t* name) {
    DWORD value = 0;
    if (ReadNumber(keys, name, value)) target = value;
}

void ReadPolicyBool(bool& target, const PolicyKeys& keys, const wchar_t* name) {
    DWORD value = 0;
    if (ReadNumber(keys, name, value)) target = value != 0;
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

void ReadPolicyString(std::wstring& target, const PolicyKeys& keys, const wchar_t* name) {
    DWORD type = REG_NONE;
    CBlob data;
    if (!ReadFirst(keys, [&](HKEY key) { return ReadBytes(key, name, type, data); })) return;
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
void ReadPolicyList(CGPStrings& list, const PolicyKeys& keys, const wchar_t* name) {
    const std::wstring flagName = std::wstring(name) + L"Setted";
    list.SetInForce(false);
    for (const CRegistryKey* side : {&keys.machine, &keys.user}) {
        bool flag = false;
        if (!ReadFlag(*side, flagName, flag)) continue;
        if (!flag) return;
        list.SetInForce(true);
        const auto entries =
            CRegistryKey::Open(side->Get(), name, KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS);
        if (entries.IsOpen()) CGPStringsEnum(list).Enumerate(entries.Get());
        return;
    }
}

void ReadSchemeRules(SchemeRules& rules, const PolicyKeys& keys, const std::wstring& prefix) {
    const auto read = [&](bool& target, const wchar_t* scheme) {
        ReadPolicyBool(target, keys, (prefix + L"Deny" + scheme).c_str());
    };
    read(rules.denyAnonym, L"Anonym");
    read(rules.denyBasic, L"Basic");
    read(rules.denyDigest, L"Digest");
    read(rules.denyNtlm, L"NTLM");
    read(rules.denyNegotiate, L"Negotiate");
}

void ReadNumbers(CStampPolicy& policy, const PolicyKeys& keys) {
    ReadPolicyDword(policy.stampAccuracy, keys, L"StampAccuracy");
    ReadPolicyBool(policy.defaultCertReq, keys, L"DefaultCertReq");
    ReadPolicyDword(policy.nonceLength, keys, L"NonceLength");
    ReadPolicyDword(policy.authTypeDefault, keys, L"AuthTypeDefault");
    ReadPolicyDword(policy.authSslTypeDefault, keys, L"AuthSSLTypeDefault");
    ReadPolicyDword(policy.proxyAuthTypeDefault, keys, L"ProxyAuthTypeDefault");
    ReadPolicyDword(policy.proxyAuthSslTypeDefault, keys, L"ProxyAuthSSLTypeDefault");
    ReadPolicyBool(policy.requireNonce, keys, L"RequireNonce");
    ReadPolicyBool(policy.disableNonce, keys, L"DisableNonce");
    ReadPolicyBool(policy.useNonceByDefault, keys, L"UseNonceByDefault");
    ReadPolicyBool(policy.disablePolicyId, keys, L"DisablePolicyID");
    ReadSchemeRules(policy.authSsl, keys, L"AuthSSL");
    ReadSchemeRules(policy.auth, keys, L"Auth");
    ReadSchemeRules(policy.proxyAuthSsl, keys, L"ProxyAuthSSL");
    ReadSchemeRules(policy.proxyAuth, keys, L"ProxyAuth");
}

void ReadTexts(CStampPolicy& policy, const PolicyKeys& keys) {
    ReadPolicyString(policy.defaultHashAlg, keys, L"DefaultHashAlg");
    ReadPolicyString(policy.defaultTspUrl, keys, L"DefaultTSPURL");
    ReadPolicyString(policy.defaultProxy, keys, L"DefaultProxy");
    ReadPolicyString(policy.defaultPolicyId, keys, L"DefaultPolicyID");
}

void ReadLists(CStampPolicy& policy, const PolicyKeys& keys) {
    ReadPolicyList(policy.hashAlgsAllowed, keys, L"HashAlgsAllowed");
    ReadPolicyList(policy.hashAlgsDenied, keys, L"HashAlgsDenied");
    ReadPolicyList(policy.allowedTsps, keys, L"AllowedTSPs");
    ReadPolicyList(policy.allowedProxies, keys, L"AllowedProxies");
    ReadPolicyList(policy.allowedPolicyId, keys, L"AllowedPolicyID");
}

}  // namespace

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
