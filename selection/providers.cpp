// Provider types, algorithms and hashes as commands ask for them.
#include "selection/providers.h"

#include <cstdlib>
#include <cstring>

#include "front/core/catalogue.h"
#include "front/core/holders.h"

namespace kestrel {

DWORD hashProviderType = 75;
const char* hashProviderName = nullptr;
PROV_ENUMALGS hashAlgorithm;

namespace {

constexpr char kProviderTypesKey[] = "SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types";
constexpr char kTypePrefix[] = "Type ";
constexpr std::size_t kTypePrefixLength = sizeof(kTypePrefix) - 1;
constexpr std::size_t kShortestTypeName = 8;
constexpr DWORD kSubkeyNameSize = 257;

// Subkeys that are no provider types. They stay counted for the whole run, so that the
// caller's index goes on counting types alone.
DWORD skippedSubkeys = 0;

// 0 for a subkey that names no type.
DWORD TypeOfSubkey(const char* name) {
    if (std::strlen(name) < kShortestTypeName) return 0;
    if (std::strncmp(name, kTypePrefix, kTypePrefixLength) != 0) return 0;
    return static_cast<DWORD>(std::atoi(name + kTypePrefixLength));
}

bool AcquireForListing(ProviderHolder& provider, const char* name, DWORD type) {
    provider.Reset();
    return CryptAcquireContextA(provider.Fill(), nullptr, name, type, CRYPT_VERIFYCONTEXT) != 0;
}

// Puts the provider's algorithms into `record` one after the other until `fits` accepts one.
template <typename Fits>
bool FindListedAlgorithm(HCRYPTPROV provider, PROV_ENUMALGS& record, const Fits& fits) {
    for (DWORD position = CRYPT_FIRST;; position = 0) {
        DWORD size = sizeof(record);
        if (!CryptGetProvParam(provider, PP_ENUMALGS, reinterpret_cast<BYTE*>(&record), &size,
                               position)) {
            return false;
        }
        if (fits(record.aiAlgid)) return true;
    }
}

PCCRYPT_OID_INFO OidOf(ALG_ID algorithm, DWORD group) {
    return CryptFindOIDInfo(CRYPT_OID_INFO_ALGID_KEY, &algorithm, group);
}

bool ServesKeyAlgorithm(HCRYPTPROV provider, const char* keyOid) {
    PROV_ENUMALGS record{};
    return FindListedAlgorithm(provider, record, [keyOid](ALG_ID algorithm) {
        const PCCRYPT_OID_INFO info = OidOf(algorithm, CRYPT_PUBKEY_ALG_OID_GROUP_ID);
        return info && std::strcmp(info->pszOID, keyOid) == 0;
    });
}

// The default provider of the first type that serves the key. 0, or the code to return.
Reported FindProviderForKey(const char* keyOid, ProviderHolder& provider) {
    for (DWORD index = 0;; ++index) {
        DWORD type = 0;
        if (!EnumDefaultProviderTypes(index, type)) break;
        if (!AcquireForListing(provider, nullptr, type)) continue;
        if (ServesKeyAlgorithm(provider.Get(), keyOid)) return 0;
    }
    // Its text belongs to no command.
    if (GetLastError() == ERROR_NO_MORE_ITEMS) return LeaveToClosingLine(Unreported(kNoProvider));
    return ReportError(kLastError);
}

}  // namespace

int EnumDefaultProviderTypes(DWORD index, DWORD& type) {
    HKEY key = nullptr;
    LSTATUS status = RegOpenKeyExA(HKEY_LOCAL_MACHINE, kProviderTypesKey, 0, KEY_READ, &key);
    if (status != ERROR_SUCCESS) {
        SetLastError(static_cast<DWORD>(status));
        return 0;
    }
    for (;; ++skippedSubkeys) {
        char name[kSubkeyNameSize] = {};
        DWORD size = kSubkeyNameSize;
        status = RegEnumKeyExA(key, index + skippedSubkeys, name, &size, nullptr, nullptr, nullptr,
                               nullptr);
        if (status != ERROR_SUCCESS) break;
        type = TypeOfSubkey(name);
        if (type != 0) break;
    }
    RegCloseKey(key);
    if (status != ERROR_SUCCESS) SetLastError(static_cast<DWORD>(status));
    return status == ERROR_SUCCESS;
}

Reported FindAlgorithmForCertificate(PCCERT_CONTEXT certificate, DWORD group,
                                     CRYPT_ALGORITHM_IDENTIFIER& algorithm) {
    ProviderHolder provider;
    const char* keyOid = certificate->pCertInfo->SubjectPublicKeyInfo.Algorithm.pszObjId;
    if (const Reported failure = FindProviderForKey(keyOid, provider)) return failure;

    PCCRYPT_OID_INFO info = nullptr;
    PROV_ENUMALGS record{};
    if (!FindListedAlgorithm(provider.Get(), record, [&](ALG_ID id) {
            info = OidOf(id, group);
            return info != nullptr;
        })) {
        return LeaveToClosingLine(Unreported(kNoProvider));
    }
    algorithm = {};
    algorithm.pszObjId = const_cast<char*>(info->pszOID);
    return 0;
}

int ProviderHasHashAlgorithm() {
    ProviderHolder provider;
    if (!AcquireForListing(provider, hashProviderName, hashProviderType)) return 1;
    return FindListedAlgorithm(provider.Get(), hashAlgorithm, [](ALG_ID algorithm) {
        return GET_ALG_CLASS(algorithm) == ALG_CLASS_HASH;
    });
}

}  // namespace kestrel
