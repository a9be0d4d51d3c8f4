// Comparison of certificates, and what they are found by.
#include "platform/certs/compare.h"

#include <openssl/sha.h>
#include <string_view>

#include <algorithm>
#include <cstring>
#include <optional>

#include "platform/base/error.h"
#include "platform/der/records.h"

namespace platform {
namespace {

constexpr const char* kAuthorityKeyIdentifier = "2.5.29.35";

// Drops octets at the top that only repeat the sign.
ByteView WithoutSignOctets(ByteView number) {
    while (number.size() > 1) {
        const std::uint8_t top = number.back();
        const bool negativeBelow = (number[number.size() - 2] & 0x80) != 0;
        if (top != (negativeBelow ? 0xFF : 0x00)) break;
        number = number.first(number.size() - 1);
    }
    return number.empty() ? ByteView() : number;
}

bool IsZero(ByteView number) {
    return std::all_of(number.begin(), number.end(), [](std::uint8_t b) { return b == 0; });
}

// The identifier in a name of the one attribute szOID_KEYID_RDN.
std::optional<ByteView> ReadKeyIdentifierName(ByteView name) {
    der::Cursor whole(name);
    der::Cursor names(whole.Expect(der::kSequence).contents);
    der::Cursor attributes(names.Expect(der::kSet).contents);
    der::Cursor attribute(attributes.Expect(der::kSequence).contents);
    if (!names.AtEnd() || !attributes.AtEnd()) return std::nullopt;
    if (attribute.OidText() != szOID_KEYID_RDN) return std::nullopt;
    return attribute.Next().contents;
}

std::optional<ByteView> KeyIdentifierNamedBy(const CERT_INFO& info) {
    if (!IsZero(ViewOf(info.SerialNumber))) return std::nullopt;
    try {
        return ReadKeyIdentifierName(ViewOf(info.Issuer));
    } catch (const Error&) {
        return std::nullopt;
    }
}

std::optional<Bytes> ReadSubjectKey(ByteView value) {
    return Copy(der::Cursor(value).Expect(der::kOctetString).contents);
}

std::optional<Bytes> ReadAuthorityKey(ByteView value) {
    der::Cursor fields(der::Cursor(value).Expect(der::kSequence).contents);
    if (!fields.NextIs(der::Context(0))) return std::nullopt;
    return Copy(fields.Next().contents);
}

// The identifier in an extension. A damaged one tells none, so that it does not keep a
// search from the certificates behind it.
std::optional<Bytes> IdentifierIn(const CERT_INFO& info, const char* oid,
                                  std::optional<Bytes> (*read)(ByteView)) {
    const CERT_EXTENSION* extension = FindExtension(oid, info.cExtension, info.rgExtension);
    if (extension == nullptr) return std::nullopt;
    try {
        return read(ViewOf(extension->Value));
    } catch (const Error&) {
        return std::nullopt;
    }
}

std::optional<Bytes> SubjectKeyIdentifier(const CERT_INFO& info) {
    return IdentifierIn(info, szOID_SUBJECT_KEY_IDENTIFIER, ReadSubjectKey);
}

std::optional<Bytes> AuthorityKeyIdentifier(const CERT_INFO& info) {
    return IdentifierIn(info, kAuthorityKeyIdentifier, ReadAuthorityKey);
}

}  // namespace

Bytes Sha1Of(ByteView bytes) {
    Bytes hash(SHA_DIGEST_LENGTH);
    SHA1(bytes.data(), bytes.size(), hash.data());
    return hash;
}

const CERT_EXTENSION* FindExtension(const char* oid, DWORD count,
                                    const CERT_EXTENSION* extensions) {
    for (DWORD i = 0; i < count; ++i) {
        if (std::strcmp(extensions[i].pszObjId, oid) == 0) return &extensions[i];
    }
    return nullptr;
}

bool SameExtension(const CRL_INFO& first, const CRL_INFO& second, const char* oid) {
    const CERT_EXTENSION* one = FindExtension(oid, first.cExtension, first.rgExtension);
    const CERT_EXTENSION* other = FindExtension(oid, second.cExtension, second.rgExtension);
    if (one == nullptr || other == nullptr) return one == other;
    return Equal(ViewOf(one->Value), ViewOf(other->Value));
}

bool SameInteger(ByteView first, ByteView second) {
    return Equal(WithoutSignOctets(first), WithoutSignOctets(second));
}

Bytes KeyIdentifierOf(const CERT_INFO& info) {
    if (auto identifier = SubjectKeyIdentifier(info)) return *identifier;
    return Sha1Of(ViewOf(info.SubjectPublicKeyInfo.PublicKey));
}

std::optional<Bytes> KeyUsageOf(const CERT_INFO& info) {
    const CERT_EXTENSION* extension =
        FindExtension(szOID_KEY_USAGE, info.cExtension, info.rgExtension);
    if (extension == nullptr) return std::nullopt;
    return UsedBits(
        ReadBits(der::Cursor(ViewOf(extension->Value)).Expect(der::kBitString).contents));
}

bool SamePublicKey(const CERT_PUBLIC_KEY_INFO& first, const CERT_PUBLIC_KEY_INFO& second) {
    const auto oidOf = [](const CERT_PUBLIC_KEY_INFO& key) -> std::string_view {
        return key.Algorithm.pszObjId != nullptr ? key.Algorithm.pszObjId : "";
    };
    return oidOf(first) == oidOf(second) &&
           Equal(ViewOf(first.PublicKey), ViewOf(second.PublicKey));
}

bool SameCertificate(const CERT_INFO& first, const CERT_INFO& second) {
    const auto firstName = KeyIdentifierNamedBy(first);
    const auto secondName = KeyIdentifierNamedBy(second);
    if (firstName && secondName) return Equal(*firstName, *secondName);
    if (firstName) return Equal(*firstName, KeyIdentifierOf(second));
    if (secondName) return Equal(*secondName, KeyIdentifierOf(first));
    return Equal(ViewOf(first.Issuer), ViewOf(second.Issuer)) &&
           SameInteger(ViewOf(first.SerialNumber), ViewOf(second.SerialNumber));
}

bool Identifies(const CERT_ID& id, const CERT_INFO& info, ByteView sha1) {
    switch (id.dwIdChoice) {
        case CERT_ID_ISSUER_SERIAL_NUMBER:
            return Equal(ViewOf(id.IssuerSerialNumber.Issuer), ViewOf(info.Issuer)) &&
                   SameInteger(ViewOf(id.IssuerSerialNumber.SerialNumber),
                               ViewOf(info.SerialNumber));
        case CERT_ID_KEY_IDENTIFIER:
            return Equal(ViewOf(id.KeyId), KeyIdentifierOf(info));
        case CERT_ID_SHA1_HASH:
            return Equal(ViewOf(id.HashId), sha1);
        default:
            throw Error(E_INVALIDARG);
    }
}

bool MayHaveIssued(const CERT_INFO& issuer, const CERT_INFO& subject) {
    if (!Equal(ViewOf(issuer.Subject), ViewOf(subject.Issuer))) return false;
    const auto wanted = AuthorityKeyIdentifier(subject);
    const auto present = SubjectKeyIdentifier(issuer);
    return !wanted || !present || *wanted == *present;
}

}  // namespace platform
