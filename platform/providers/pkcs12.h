// What OpenSSL has no algorithms for in PKCS #12 files (RFC 7292): the GOST forms of RFC 9548, and
// those that mix them with others. A
// file asks for as many rounds of key derivation as it likes, so a RoundBudget comes first.
#pragma once

#include <openssl/pkcs12.h>

#include "platform/base/bytes.h"
#include "platform/providers/crypto.h"

namespace platform {

// Whether PBES2 (RFC 8018, A.4) encrypts with a cipher of GOST or derives the key with a digest of
// GOST. Throws NTE_BAD_ALGID, with the identifier as detail, for an encryption under a password
// that is not known, or a derivation or cipher in it.
bool UsesGost(const X509_ALGOR* algorithm);

// The plain text of what PBES2 encrypted under a password, with any digest (RFC 8018, B.1; RFC
// 9337, 7) and any cipher that is known. Empty for bad parameters. Throws as UsesGost does.
Secret DecryptGostPbes2(const X509_ALGOR* algorithm, ByteView encrypted, const Secret& password);

// Whether a file's authentication code is one of GOST's (RFC 9548, 3) under the password.
bool GostMacFits(PKCS12* file, const Secret& password);

}  // namespace platform
