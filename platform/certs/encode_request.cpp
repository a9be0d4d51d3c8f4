// What a certificate request says of itself, as a record (RFC 2986 4.1).
#include "platform/base/error.h"
#include "platform/base/output.h"
#include "platform/certs/encode.h"
#include "platform/der/records.h"
#include "platform/der/values.h"

namespace platform {
namespace {

constexpr std::uint8_t kAttributes = der::ContextConstructed(0);

Bytes EncodeAttributes(const CERT_REQUEST_INFO& info) {
    if (info.cAttribute != 0 && info.rgAttribute == nullptr) throw Error(CRYPT_E_BAD_ENCODE);
    std::vector<Bytes> attributes;
    for (DWORD i = 0; i < info.cAttribute; ++i) {
        attributes.push_back(EncodeAttribute(info.rgAttribute[i]));
    }
    return EncodeSetOf(kAttributes, std::move(attributes));
}

std::vector<AttributeView> ReadAttributes(ByteView contents) {
    std::vector<AttributeView> attributes;
    for (der::Cursor cursor(contents); !cursor.AtEnd();) {
        attributes.push_back(ParseAttribute(cursor.Next().whole));
    }
    return attributes;
}

}  // namespace

void Lay(Packer& packer, const AttributeView& view, CRYPT_ATTRIBUTE& record) {
    record.pszObjId = packer.Text(view.oid);
    record.cValue = static_cast<DWORD>(view.values.size());
    record.rgValue = packer.Array<CRYPT_ATTR_BLOB>(view.values.size());
    for (std::size_t i = 0; i < view.values.size(); ++i) {
        record.rgValue[i] = packer.Blob(view.values[i]);
    }
}

Bytes EncodeRequestInfo(const void* value) {
    const auto& info = *static_cast<const CERT_REQUEST_INFO*>(value);
    return der::Element(
        der::kSequence,
        {der::Integer(static_cast<long>(info.dwVersion)), Whole(info.Subject),
         EncodePublicKeyWithNull(info.SubjectPublicKeyInfo), EncodeAttributes(info)});
}

void DecodeRequestInfo(ByteView encoded, DWORD, void* value, DWORD* size) {
    der::Cursor parts = der::Inside(encoded, der::kSequence);
    const long version = parts.SmallInteger();
    const ByteView subject = parts.Expect(der::kSequence).whole;
    const PublicKeyView key = ReadPublicKey(parts);
    std::vector<AttributeView> attributes;
    // Requests without attributes often lack the empty set that should stand there.
    if (!parts.AtEnd()) attributes = ReadAttributes(parts.Expect(kAttributes).contents);
    parts.ExpectEnd();
    PackOut(
        [&](Packer& packer) {
            auto* record = packer.One<CERT_REQUEST_INFO>();
            record->dwVersion = static_cast<DWORD>(version);
            record->Subject = packer.Blob(subject);
            Lay(packer, key, record->SubjectPublicKeyInfo);
            record->cAttribute = static_cast<DWORD>(attributes.size());
            record->rgAttribute = packer.Array<CRYPT_ATTRIBUTE>(attributes.size());
            for (std::size_t i = 0; i < attributes.size(); ++i) {
                Lay(packer, attributes[i], record->rgAttribute[i]);
            }
        },
        value, size);
}

}  // namespace platform
