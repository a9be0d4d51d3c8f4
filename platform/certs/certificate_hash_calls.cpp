// CryptHashCertificate: a certificate's bytes through a hash of the algorithm table.
#include "platform/base/error.h"
#include "platform/base/output.h"
#include "platform/providers/crypto.h"

using namespace platform;

BOOL WINAPI CryptHashCertificate(HCRYPTPROV_LEGACY /*provider*/, ALG_ID algorithm, DWORD /*flags*/,
                                 const BYTE* encoded, DWORD encodedSize, BYTE* hash, DWORD* size) {
    return GuardedBool([&] {
        if (encoded == nullptr && encodedSize != 0) throw Error(ERROR_INVALID_PARAMETER);
        // 0 stands for SHA-1.
        const AlgorithmRow* row =
            FindAlgorithm(algorithm == 0 ? CALG_SHA1 : algorithm, CRYPT_HASH_ALG_OID_GROUP_ID);
        if (row == nullptr) throw Error(NTE_BAD_ALGID);
        CopyOut(DigestOf(row->oid, ViewOf(encoded, encodedSize)), hash, size);
    });
}
