// Encoding and decoding of single records: the certificate calls' structure types.
#pragma once

#include "platform/base/ground.h"

#include "platform/base/bytes.h"
#include "platform/base/error.h"
#include "platform/base/output.h"
#include "platform/der/der.h"
#include "platform/der/values.h"

namespace platform {

// The record of a structure type, given by its number or by the identifier of an extension.
// Throws ERROR_FILE_NOT_FOUND for an unknown type, CRYPT_E_BAD_ENCODE for a record that has
// no encoding.
Bytes EncodeRecord(DWORD encoding, LPCSTR type, const void* value);
// Lays the record out into the caller's buffer. Throws what reading DER throws, and
// ERROR_MORE_DATA with the need stored.
void DecodeRecord(DWORD encoding, LPCSTR type, ByteView encoded, DWORD flags, void* value,
                  DWORD* size);

// ---- the pieces ------------------------------------------------------------------------

// A caller's blob as a view. Throws CRYPT_E_BAD_ENCODE when it counts octets and has none.
template <class Blob>
ByteView Whole(const Blob& blob) {
    if (blob.cbData != 0 && blob.pbData == nullptr) throw Error(CRYPT_E_BAD_ENCODE);
    return {blob.pbData, blob.pbData == nullptr ? 0 : blob.cbData};
}

// Throws CRYPT_E_BAD_ENCODE for more than 7 unused bits.
Bytes EncodeBitString(ByteView octets, DWORD unusedBits);
// RFC 5280 4.1.2.5. Throws CRYPT_E_BAD_ENCODE for a time that has no calendar day, or a year of
// five digits.
Bytes EncodeTime(const FILETIME& time);
// RFC 5280 4.1. Throws CRYPT_E_OID_FORMAT.
Bytes EncodeExtension(const char* oid, bool critical, ByteView value);
// X.690 8.3.2: no more sign octets than one bit needs.
Bytes EncodeLittleEndian(ByteView number);
// Absent parameters stay absent. Both throw CRYPT_E_OID_FORMAT for a bad identifier and
// CRYPT_E_BAD_ENCODE for a record whose pointers do not fit its counts.
Bytes EncodeAlgorithmRecord(const CRYPT_ALGORITHM_IDENTIFIER& record);
Bytes EncodePublicKey(const CERT_PUBLIC_KEY_INFO& record);
// Absent parameters become NULL, but for algorithms that forbid it.
Bytes EncodePublicKeyWithNull(const CERT_PUBLIC_KEY_INFO& record);

void Lay(Packer& packer, const AttributeView& view, CRYPT_ATTRIBUTE& record);

// ---- rows of the table of types: X509_CERT, X509_CERT_TO_BE_SIGNED,
// X509_CERT_REQUEST_TO_BE_SIGNED, X509_EXTENSIONS and X509_NAME

Bytes EncodeSignedContent(const void* value);
Bytes EncodeToBeSigned(const void* value);
Bytes EncodeRequestInfo(const void* value);
Bytes EncodeExtensions(const void* value);
Bytes EncodeNameRecord(const void* value);
void DecodeSignedContent(ByteView encoded, DWORD flags, void* value, DWORD* size);
// A whole certificate or its signed part.
void DecodeToBeSigned(ByteView encoded, DWORD flags, void* value, DWORD* size);
void DecodeRequestInfo(ByteView encoded, DWORD flags, void* value, DWORD* size);
void DecodeExtensions(ByteView encoded, DWORD flags, void* value, DWORD* size);
void DecodeNameRecord(ByteView encoded, DWORD flags, void* value, DWORD* size);

}  // namespace platform
