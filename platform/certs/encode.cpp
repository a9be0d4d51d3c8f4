// Single records: one row of a table for each structure type.
#include "platform/certs/encode.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <span>

#include "platform/base/error.h"
#include "platform/base/output.h"
#include "platform/certs/compare.h"
#include "platform/certs/names.h"
#include "platform/der/der.h"
#include "platform/der/records.h"
#include "platform/der/values.h"

namespace platform {
namespace {

// ---- encoding ------------------------------------------------------------------

Bytes EncodeBits(const void* value) {
    const auto& blob = *static_cast<const CRYPT_BIT_BLOB*>(value);
    return EncodeBitString(Whole(blob), blob.cUnusedBits);
}

// X.690 11.2.2: a list of named bits ends with the last bit that is set.
Bytes EncodeKeyUsage(const void* value) {
    const auto& blob = *static_cast<const CRYPT_BIT_BLOB*>(value);
    if (blob.cUnusedBits > 7) throw Error(CRYPT_E_BAD_ENCODE);
    Bytes bits = UsedBits({Whole(blob), blob.cUnusedBits});
    while (!bits.empty() && bits.back() == 0) bits.pop_back();
    DWORD unused = 0;
    while (!bits.empty() && (bits.back() & (1U << unused)) == 0) ++unused;
    return EncodeBitString(bits, unused);
}

Bytes EncodeAttributeRecord(const void* value) {
    return EncodeAttribute(*static_cast<const CRYPT_ATTRIBUTE*>(value));
}

Bytes EncodeOctets(const void* value) {
    return der::Element(der::kOctetString, Whole(*static_cast<const CRYPT_DATA_BLOB*>(value)));
}

Bytes EncodeInteger(const void* value) { return der::Integer(*static_cast<const LONG*>(value)); }

Bytes EncodeBigInteger(const void* value) {
    return EncodeLittleEndian(Whole(*static_cast<const CRYPT_INTEGER_BLOB*>(value)));
}

Bytes EncodeAlgorithmValue(const void* value) {
    return EncodeAlgorithmRecord(*static_cast<const CRYPT_ALGORITHM_IDENTIFIER*>(value));
}

Bytes EncodePublicKeyValue(const void* value) {
    return EncodePublicKeyWithNull(*static_cast<const CERT_PUBLIC_KEY_INFO*>(value));
}

// ---- decoding ------------------------------------------------------------------

// The one element that the encoding is.
der::Item Only(ByteView encoded, std::uint8_t tag) {
    der::Cursor cursor(encoded);
    const der::Item item = cursor.Expect(tag);
    cursor.ExpectEnd();
    return item;
}

void DecodeAttribute(ByteView encoded, DWORD, void* value, DWORD* size) {
    const AttributeView attribute = ParseAttribute(encoded);
    PackOut([&](Packer& packer) { Lay(packer, attribute, *packer.One<CRYPT_ATTRIBUTE>()); }, value,
            size);
}

void DecodeOctets(ByteView encoded, DWORD, void* value, DWORD* size) {
    const ByteView octets = Only(encoded, der::kOctetString).contents;
    PackOut(
        [&](Packer& packer) {
            auto* record = packer.One<CRYPT_DATA_BLOB>();
            *record = packer.Blob(octets);
        },
        value, size);
}

void DecodeBits(ByteView encoded, DWORD, void* value, DWORD* size) {
    const BitsView bits = ReadBits(Only(encoded, der::kBitString).contents);
    PackOut([&](Packer& packer) { Lay(packer, bits, *packer.One<CRYPT_BIT_BLOB>()); }, value, size);
}

void DecodeInteger(ByteView encoded, DWORD, void* value, DWORD* size) {
    der::Cursor cursor(encoded);
    const long number = cursor.SmallInteger();
    cursor.ExpectEnd();
    const auto narrow = static_cast<LONG>(number);
    if (narrow != number) throw Error(CRYPT_E_ASN1_LARGE);
    CopyOut(ViewOf(&narrow, sizeof narrow), value, size);
}

void DecodeBigInteger(ByteView encoded, DWORD, void* value, DWORD* size) {
    const ByteView contents = Only(encoded, der::kInteger).contents;
    if (contents.empty()) throw Error(CRYPT_E_ASN1_CORRUPT);
    PackOut(
        [&](Packer& packer) {
            auto* record = packer.One<CRYPT_INTEGER_BLOB>();
            *record = LayReversed(packer, contents);
        },
        value, size);
}

void DecodeAlgorithm(ByteView encoded, DWORD, void* value, DWORD* size) {
    der::Cursor cursor(encoded);
    const AlgorithmView view = ReadAlgorithm(cursor);
    cursor.ExpectEnd();
    PackOut([&](Packer& packer) { Lay(packer, view, *packer.One<CRYPT_ALGORITHM_IDENTIFIER>()); },
            value, size);
}

void DecodePublicKey(ByteView encoded, DWORD, void* value, DWORD* size) {
    der::Cursor cursor(encoded);
    const PublicKeyView view = ReadPublicKey(cursor);
    cursor.ExpectEnd();
    PackOut([&](Packer& packer) { Lay(packer, view, *packer.One<CERT_PUBLIC_KEY_INFO>()); }, value,
            size);
}

Bytes EncodeSequence(const void* value) {
    const auto& record = *static_cast<const CRYPT_SEQUENCE_OF_ANY*>(value);
    if (record.cValue != 0 && record.rgValue == nullptr) throw Error(CRYPT_E_BAD_ENCODE);
    Bytes contents;
    for (const CRYPT_DER_BLOB& element : std::span(record.rgValue, record.cValue)) {
        if (!IsOneElement(Whole(element))) throw Error(CRYPT_E_BAD_ENCODE);
        der::Append(contents, Whole(element));
    }
    return der::Element(der::kSequence, contents);
}

void DecodeSequence(ByteView encoded, DWORD, void* value, DWORD* size) {
    std::vector<ByteView> elements;
    for (der::Cursor rest(Only(encoded, der::kSequence).contents); !rest.AtEnd();) {
        elements.push_back(rest.Next().whole);
    }
    PackOut(
        [&](Packer& packer) {
            auto* record = packer.One<CRYPT_SEQUENCE_OF_ANY>();
            record->cValue = static_cast<DWORD>(elements.size());
            record->rgValue = packer.Array<CRYPT_DER_BLOB>(elements.size());
            for (std::size_t i = 0; i < elements.size(); ++i) {
                record->rgValue[i] = packer.Blob(elements[i]);
            }
        },
        value, size);
}

// ---- table ---------------------------------------------------------------------

struct Coder {
    LPCSTR type;
    const char* oid;  // the extension that holds such a value, or null
    Bytes (*encode)(const void* value);
    void (*decode)(ByteView encoded, DWORD flags, void* value, DWORD* size);
};

const Coder kCoders[] = {
    {kEncodeX509Cert, nullptr, EncodeSignedContent, DecodeSignedContent},
    {X509_CERT_TO_BE_SIGNED, nullptr, EncodeToBeSigned, DecodeToBeSigned},
    {X509_CERT_REQUEST_TO_BE_SIGNED, nullptr, EncodeRequestInfo, DecodeRequestInfo},
    {kEncodeX509Extensions, nullptr, EncodeExtensions, DecodeExtensions},
    {kEncodeX509Name, nullptr, EncodeNameRecord, DecodeNameRecord},
    {PKCS_ATTRIBUTE, nullptr, EncodeAttributeRecord, DecodeAttribute},
    {X509_OCTET_STRING, szOID_SUBJECT_KEY_IDENTIFIER, EncodeOctets, DecodeOctets},
    {X509_BITS, nullptr, EncodeBits, DecodeBits},
    {X509_KEY_USAGE, szOID_KEY_USAGE, EncodeKeyUsage, DecodeBits},
    {X509_INTEGER, nullptr, EncodeInteger, DecodeInteger},
    {X509_MULTI_BYTE_INTEGER, nullptr, EncodeBigInteger, DecodeBigInteger},
    {X509_SEQUENCE_OF_ANY, nullptr, EncodeSequence, DecodeSequence},
    {X509_ALGORITHM_IDENTIFIER, nullptr, EncodeAlgorithmValue, DecodeAlgorithm},
    {X509_PUBLIC_KEY_INFO, nullptr, EncodePublicKeyValue, DecodePublicKey},
};

// A type is a small number in place of a pointer, or the text of an identifier.
bool Names(const Coder& coder, LPCSTR type) {
    if (reinterpret_cast<ULONG_PTR>(type) <= 0xFFFF) return type == coder.type;
    return coder.oid != nullptr && std::strcmp(type, coder.oid) == 0;
}

const Coder& CoderFor(DWORD encoding, LPCSTR type) {
    const auto* const row = std::find_if(std::begin(kCoders), std::end(kCoders),
                                         [&](const Coder& coder) { return Names(coder, type); });
    const bool known = (encoding & (X509_ASN_ENCODING | PKCS_7_ASN_ENCODING)) != 0;
    if (!known || row == std::end(kCoders)) throw Error(ERROR_FILE_NOT_FOUND);
    return *row;
}

// RFC 8410 3 and RFC 4055 3.1: for these, parameters are absent or mean something.
constexpr const char* kNoNull[] = {"1.2.840.113549.1.1.10", "1.3.101.110", "1.3.101.111",
                                   "1.3.101.112", "1.3.101.113"};

}  // namespace

Bytes EncodeBitString(ByteView octets, DWORD unusedBits) {
    if (unusedBits > 7 || (octets.empty() && unusedBits != 0)) throw Error(CRYPT_E_BAD_ENCODE);
    const auto unused = static_cast<std::uint8_t>(unusedBits);
    // X.690 11.2.1: unused bits are zero.
    return der::Element(der::kBitString, {ByteView(&unused, 1), UsedBits({octets, unusedBits})});
}

Bytes EncodeLittleEndian(ByteView number) {
    Bytes big(number.rbegin(), number.rend());
    if (big.empty()) big.push_back(0);
    std::size_t skip = 0;
    while (skip + 1 < big.size() && big[skip] == ((big[skip + 1] & 0x80) != 0 ? 0xFF : 0x00)) {
        ++skip;
    }
    return der::Element(der::kInteger, ByteView(big).subspan(skip));
}

Bytes EncodeAlgorithmRecord(const CRYPT_ALGORITHM_IDENTIFIER& record) {
    if (record.pszObjId == nullptr) throw Error(CRYPT_E_BAD_ENCODE);
    return der::Element(der::kSequence, {der::Oid(record.pszObjId), Whole(record.Parameters)});
}

Bytes EncodePublicKey(const CERT_PUBLIC_KEY_INFO& record) {
    return der::Element(der::kSequence,
                        {EncodeAlgorithmRecord(record.Algorithm),
                         EncodeBitString(Whole(record.PublicKey), record.PublicKey.cUnusedBits)});
}

Bytes EncodePublicKeyWithNull(const CERT_PUBLIC_KEY_INFO& record) {
    CERT_PUBLIC_KEY_INFO whole = record;
    BYTE null[] = {der::kNull, 0};
    const char* oid = record.Algorithm.pszObjId;
    const bool takesNull =
        oid != nullptr && std::none_of(std::begin(kNoNull), std::end(kNoNull),
                                       [&](const char* no) { return std::strcmp(no, oid) == 0; });
    if (takesNull && record.Algorithm.Parameters.cbData == 0) {
        whole.Algorithm.Parameters = {sizeof null, null};
    }
    return EncodePublicKey(whole);
}

// What is wrong with the caller's record is a bad encoding to him, whoever found it.
Bytes EncodeRecord(DWORD encoding, LPCSTR type, const void* value) {
    const Coder& coder = CoderFor(encoding, type);
    try {
        return coder.encode(value);
    } catch (const Error& error) {
        const DWORD code = error.Code();
        if (code != static_cast<DWORD>(CRYPT_E_OID_FORMAT) && code != ERROR_INVALID_PARAMETER) {
            throw;
        }
        throw Error(CRYPT_E_BAD_ENCODE);
    }
}

void DecodeRecord(DWORD encoding, LPCSTR type, ByteView encoded, DWORD flags, void* value,
                  DWORD* size) {
    CoderFor(encoding, type).decode(encoded, flags, value, size);
}

}  // namespace platform
