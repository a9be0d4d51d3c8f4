// The exported calls on single records and identifiers.
#include "platform/base/error.h"
#include "platform/certs/encode.h"
#include "platform/certs/oid_info.h"
#include "platform/certs/share.h"

using namespace platform;

BOOL WINAPI CryptEncodeObject(DWORD encoding, LPCSTR type, const void* value, BYTE* encoded,
                              DWORD* size) {
    return GuardedOutput(size, [&] {
        if (value == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        CopyOut(EncodeRecord(encoding, type, value), encoded, size);
    });
}

BOOL WINAPI CryptDecodeObject(DWORD encoding, LPCSTR type, const BYTE* encoded, DWORD encodedSize,
                              DWORD flags, void* value, DWORD* size) {
    return GuardedOutput(size, [&] {
        // Values go to the caller's buffer; this call has no allocating form.
        const bool known = (flags & ~DWORD{CRYPT_DECODE_NO_SIGNATURE_BYTE_REVERSAL_FLAG}) == 0;
        if ((encoded == nullptr && encodedSize != 0) || !known) throw Error(E_INVALIDARG);
        DecodeRecord(encoding, type, {encoded, encodedSize}, flags, value, size);
    });
}

PCCRYPT_OID_INFO WINAPI CryptFindOIDInfo(DWORD keyType, void* key, DWORD group) {
    return Guarded<PCCRYPT_OID_INFO>(nullptr, [&] {
        if (key == nullptr) throw Error(E_INVALIDARG);
        // The upper half of the group limits the search in ways that only a directory knows.
        return FindOidInfo(keyType, key, group & 0xFFFF);
    });
}
