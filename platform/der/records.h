// The pieces that certificates, CRLs and single encoded values are made of: read from
// DER as views, and laid out as the public records. A view lives as long as its DER.
#pragma once

#include "platform/base/ground.h"

#include <string>
#include <vector>

#include "platform/base/bytes.h"
#include "platform/base/output.h"
#include "platform/der/der.h"

namespace platform {

struct AlgorithmView {
    std::string oid;
    ByteView parameters;  // one whole element, empty when absent
};

struct BitsView {
    ByteView octets;
    DWORD unusedBits = 0;
};

struct ExtensionView {
    std::string oid;
    bool critical = false;
    ByteView value;
};

// The same with the contents octets of its identifier, for those who see many.
struct RawExtension {
    ByteView oid;
    bool critical = false;
    ByteView value;
};

struct PublicKeyView {
    AlgorithmView algorithm;
    BitsView key;
};

// ---- reading. All throw CRYPT_E_ASN1_BADTAG, _EOD or _CORRUPT ----------------------

AlgorithmView ReadAlgorithm(der::Cursor& cursor);
PublicKeyView ReadPublicKey(der::Cursor& cursor);
// `contents` of a BIT STRING, its first octet counting the unused bits.
BitsView ReadBits(ByteView contents);
// The octets with their unused bits zero: whatever is written there counts for nothing.
Bytes UsedBits(const BitsView& bits);
// The elements of an Extensions sequence (RFC 5280 4.1).
std::vector<ExtensionView> ReadExtensions(ByteView contents);
// The next element of an Extensions sequence; its identifier is not looked at.
RawExtension NextExtension(der::Cursor& list);
// A Name is a sequence of sets of attributes (RFC 5280 4.1.2.4); an empty set is let through.
void RequireName(ByteView name);
// UTCTime or GeneralizedTime in any form that X.680 allows with a zone. Times before
// 1601 become the first moment of FILETIME.
FILETIME ReadTime(const der::Item& item);

// ---- laying out --------------------------------------------------------------------

void Lay(Packer& packer, const AlgorithmView& view, CRYPT_ALGORITHM_IDENTIFIER& record);
void Lay(Packer& packer, const BitsView& view, CRYPT_BIT_BLOB& record);
void Lay(Packer& packer, const PublicKeyView& view, CERT_PUBLIC_KEY_INFO& record);
// The count of extensions and their array.
void Lay(Packer& packer, const std::vector<ExtensionView>& views, DWORD& count,
         CERT_EXTENSION*& extensions);
// Integers are big-endian in DER and little-endian in records; the sign octet stays.
CRYPT_INTEGER_BLOB LayReversed(Packer& packer, ByteView contents);

}  // namespace platform
