// The exported calls on certificate contexts and the records in them.
#include <algorithm>

#include "platform/certs/certificate.h"
#include "platform/certs/compare.h"
#include "platform/certs/private_key.h"

using namespace platform;

namespace {

const CERT_INFO& Given(const CERT_INFO* info) {
    if (info == nullptr) throw Error(E_INVALIDARG);
    return *info;
}

}  // namespace

PCCERT_CONTEXT WINAPI CertDuplicateCertificateContext(PCCERT_CONTEXT certificate) {
    if (certificate == nullptr) return nullptr;
    return Guarded<PCCERT_CONTEXT>(nullptr, [&] {
        AddHandleReference(certificate, Kind::Certificate, ERROR_INVALID_PARAMETER);
        return certificate;
    });
}

BOOL WINAPI CertFreeCertificateContext(PCCERT_CONTEXT certificate) {
    if (certificate == nullptr) return TRUE;
    return GuardedBool(
        [&] { ReleaseHandle(certificate, Kind::Certificate, ERROR_INVALID_PARAMETER); });
}

BOOL WINAPI CertCompareCertificate(DWORD, PCERT_INFO first, PCERT_INFO second) {
    return Guarded<BOOL>(FALSE, [&]() -> BOOL {
        return SameCertificate(Given(first), Given(second)) ? TRUE : FALSE;
    });
}

BOOL WINAPI CertCompareIntegerBlob(PCRYPT_INTEGER_BLOB first, PCRYPT_INTEGER_BLOB second) {
    if (first == nullptr || second == nullptr) return FALSE;
    return SameInteger(ViewOf(*first), ViewOf(*second)) ? TRUE : FALSE;
}

BOOL WINAPI CertGetIntendedKeyUsage(DWORD, PCERT_INFO info, BYTE* usage, DWORD size) {
    return Guarded<BOOL>(FALSE, [&]() -> BOOL {
        if (usage == nullptr && size != 0) throw Error(E_INVALIDARG);
        std::fill_n(usage, size, BYTE{0});
        const auto bits = KeyUsageOf(Given(info));
        if (!bits) {
            PutLastError(0);
            return FALSE;
        }
        std::copy_n(bits->begin(), std::min<std::size_t>(size, bits->size()), usage);
        return TRUE;
    });
}

PCERT_EXTENSION WINAPI CertFindExtension(LPCSTR oid, DWORD count, CERT_EXTENSION* extensions) {
    return Guarded<PCERT_EXTENSION>(nullptr, [&] {
        if (oid == nullptr || (count != 0 && extensions == nullptr)) {
            throw Error(ERROR_INVALID_PARAMETER);
        }
        return const_cast<PCERT_EXTENSION>(FindExtension(oid, count, extensions));
    });
}

BOOL WINAPI CryptAcquireCertificatePrivateKey(PCCERT_CONTEXT certificate, DWORD flags, void*,
                                              HCRYPTPROV_OR_NCRYPT_KEY_HANDLE* provider,
                                              DWORD* keySpec, BOOL* callerFree) {
    return GuardedBool([&] {
        if (provider == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        Certificate& item = *Certificate::Of(certificate);
        const bool silent = (flags & CRYPT_ACQUIRE_SILENT_FLAG) != 0;
        const AcquiredKey key = AcquireKey(item, silent);
        if (key.fresh) Publish(key.provider);
        const bool cached = key.fresh && (flags & CRYPT_ACQUIRE_CACHE_FLAG) != 0;
        if (cached) {
            item.keyContext = std::make_unique<KeyContext>(key.provider, key.keySpec,
                                                           /*owned=*/true);
        }
        *provider = reinterpret_cast<HCRYPTPROV>(key.provider.get());
        if (keySpec != nullptr) *keySpec = key.keySpec;
        if (callerFree != nullptr) *callerFree = key.fresh && !cached ? TRUE : FALSE;
    });
}
