// Names and values of attributes.
#include "kestrelctl/message/attributes.h"

#include <algorithm>
#include <iterator>

#include "kestrelctl/message/strength.h"
#include "kestrelctl/message/words.h"
#include "platform/base/error.h"
#include "platform/der/records.h"
#include "platform/der/values.h"
#include "platform/providers/algorithms.h"

namespace kestrelctl::message {
namespace {

using platform::Bytes;
using platform::ByteView;
namespace der = platform::der;

constexpr const char* kMarkV1 = "1.2.840.113549.1.9.16.2.12";
constexpr const char* kMarkV2 = "1.2.840.113549.1.9.16.2.47";
constexpr const char* kMarkOther = "1.2.840.113549.1.9.16.2.19";

std::string OidWords(ByteView value) {
    const std::string oid = der::Cursor(value).OidText();
    const std::string name = IdentifierName(oid);
    return name.empty() ? oid : name + " (" + oid + ")";
}

std::string OctetWords(ByteView value) {
    return platform::Hex(der::Cursor(value).Expect(der::kOctetString).contents);
}

std::string TimeWords(ByteView value) {
    return IsoTime(platform::TicksOf(platform::ReadTime(der::Cursor(value).Next())));
}

// What begins with an identifier: a signature policy, a kind of commitment (RFC 5126 5.8, 5.11).
std::string FirstOidWords(ByteView value) {
    return OidWords(der::Inside(value, der::kSequence).Expect(der::kOid).whole);
}

std::string CountersignerWords(ByteView value) {
    return HolderWords(platform::ParseSignerInfo(value).signer);
}

// SMIMECapabilities (RFC 8551 2.5.2): algorithms in order of preference.
std::string CapabilityWords(ByteView value) {
    std::string words;
    for (der::Cursor list = der::Inside(value, der::kSequence); !list.AtEnd();) {
        der::Cursor one(list.Expect(der::kSequence).contents);
        const std::string oid = one.OidText();
        const std::string name = AlgorithmName(oid);
        words += (words.empty() ? "" : ", ") + (name.empty() ? oid : name);
    }
    return words;
}

// The certificates of ESSCertID, ESSCertIDv2 or OtherCertID: the first is the signer's.
CertificateMark ReadMark(std::string_view attributeOid, ByteView value) {
    der::Cursor certificates(der::Inside(value, der::kSequence).Expect(der::kSequence).contents);
    der::Cursor id(certificates.Expect(der::kSequence).contents);
    CertificateMark mark;
    mark.digestOid = attributeOid == kMarkV2 ? platform::oid::kSha256 : platform::oid::kSha1;
    // OtherHash stands in a sequence of its own, unless it is SHA-1's value.
    if (attributeOid == kMarkOther && id.NextIs(der::kSequence)) {
        der::Cursor hash(id.Next().contents);
        mark.digestOid = platform::ParseAlgorithm(hash.Expect(der::kSequence).whole).oid;
        mark.digest = platform::Copy(hash.Expect(der::kOctetString).contents);
    } else {
        if (id.NextIs(der::kSequence))
            mark.digestOid = platform::ParseAlgorithm(id.Next().whole).oid;
        mark.digest = platform::Copy(id.Expect(der::kOctetString).contents);
    }
    if (id.AtEnd()) return mark;
    der::Cursor issuerSerial(id.Expect(der::kSequence).contents);
    issuerSerial.Expect(der::kSequence);
    mark.serial = platform::Copy(issuerSerial.Expect(der::kInteger).contents);
    return mark;
}

template <const char* const& Oid>
std::string MarkWords(ByteView value) {
    const CertificateMark mark = ReadMark(Oid, value);
    return AlgorithmName(mark.digestOid) + " " + platform::Hex(mark.digest);
}

constexpr struct {
    const char* oid;
    const char* name;
    std::string (*words)(ByteView value);  // null: the value is not decoded
    bool once;                             // stands once, with one value, or not at all
} kKnown[] = {
    {"1.2.840.113549.1.9.3", "content type", OidWords, true},
    {"1.2.840.113549.1.9.4", "message digest", OctetWords, true},
    {"1.2.840.113549.1.9.5", "signing time", TimeWords, true},
    {kMarkV1, "signing certificate", MarkWords<kMarkV1>, true},
    {kMarkV2, "signing certificate v2", MarkWords<kMarkV2>, true},
    {kMarkOther, "other signing certificate", MarkWords<kMarkOther>, true},
    {"1.2.840.113549.1.9.15", "S/MIME capabilities", CapabilityWords, false},
    {kCountersignatureOid, "countersignature", CountersignerWords, false},
    {kContentStampOid, "content time stamp", nullptr, false},
    {kSignatureStampOid, "signature time stamp", nullptr, false},
    {kProtectionOid, "algorithm protection", nullptr, true},
    {"1.2.840.113549.1.9.16.2.4", "content hint", nullptr, false},
    {"1.2.840.113549.1.9.16.2.11", "encryption key preference", nullptr, false},
    {"1.2.840.113549.1.9.16.2.15", "signature policy", FirstOidWords, false},
    {"1.2.840.113549.1.9.16.2.16", "commitment type", FirstOidWords, false},
    {"1.2.840.113549.1.9.16.2.17", "signer location", nullptr, false},
    {"1.2.840.113549.1.9.16.2.21", "certificate references", nullptr, false},
    {"1.2.840.113549.1.9.16.2.22", "revocation references", nullptr, false},
    {"1.2.840.113549.1.9.16.2.23", "certificate values", nullptr, false},
    {"1.2.840.113549.1.9.16.2.24", "revocation values", nullptr, false},
    {platform::kContentCodeOid, "authentication code", OctetWords, false},
    {"1.2.840.113549.1.9.16.2.25", "time stamp over signature and references", nullptr, false},
    {"1.2.840.113549.1.9.16.2.26", "time stamp over references", nullptr, false},
    {"1.2.840.113549.1.9.16.2.27", "archive time stamp", nullptr, false},
    {"1.2.840.113549.1.9.16.2.48", "archive time stamp", nullptr, false},
    {"0.4.0.1733.2.4", "archive time stamp", nullptr, false},
    {"1.2.840.113549.1.9.16.6.1", "proof of origin", nullptr, false},
    {"1.2.840.113549.1.9.16.6.2", "proof of receipt", nullptr, false},
    {"1.2.840.113549.1.9.16.6.3", "proof of delivery", nullptr, false},
    {"1.2.840.113549.1.9.16.6.4", "proof of sender", nullptr, false},
    {"1.2.840.113549.1.9.16.6.5", "proof of approval", nullptr, false},
    {"1.2.840.113549.1.9.16.6.6", "proof of creation", nullptr, false},
    {"1.2.840.113549.1.7.1", "data", nullptr, false},
    {"1.2.840.113549.1.7.2", "signed data", nullptr, false},
    {"1.2.840.113549.1.7.3", "enveloped data", nullptr, false},
    {"1.2.840.113549.1.7.5", "digested data", nullptr, false},
    {"1.2.840.113549.1.7.6", "encrypted data", nullptr, false},
    {"1.2.840.113549.1.9.16.1.2", "authenticated data", nullptr, false},
    {"1.2.840.113549.1.9.16.1.4", "time-stamp info", nullptr, false},
    {"1.2.840.113549.1.9.16.1.9", "compressed data", nullptr, false},
    {"1.2.840.113549.1.9.16.1.23", "authenticated enveloped data", nullptr, false},
    {"1.3.6.1.4.1.311.2.1.4", "indirect data of a program file", nullptr, false},
};

const auto* FindKnown(std::string_view oid) {
    const auto* row = std::ranges::find_if(kKnown, [&](const auto& one) { return one.oid == oid; });
    return row == std::end(kKnown) ? nullptr : row;
}

}  // namespace

std::string IdentifierName(std::string_view oid) {
    const auto* row = FindKnown(oid);
    return row == nullptr ? std::string() : row->name;
}

std::optional<std::string> ValueText(std::string_view attributeOid, ByteView value) {
    const auto* row = FindKnown(attributeOid);
    if (row == nullptr || row->words == nullptr) return std::nullopt;
    try {
        return row->words(value);
    } catch (const platform::Error&) {
        return std::nullopt;
    }
}

std::optional<platform::Ticks> SigningTimeOf(const platform::SignerInfo& signer) {
    if (!signer.signedAttributes) return std::nullopt;
    for (const Bytes& encoded : *signer.signedAttributes) {
        try {
            const platform::AttributeView attribute = platform::ParseAttribute(encoded);
            if (attribute.oid != szOID_RSA_signingTime || attribute.values.empty()) continue;
            return platform::TicksOf(platform::ReadTime(der::Cursor(attribute.values[0]).Next()));
        } catch (const platform::Error&) {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

std::vector<CertificateMark> MarksOf(const platform::SignerInfo& signer) {
    std::vector<CertificateMark> marks;
    if (!signer.signedAttributes) return marks;
    for (const Bytes& encoded : *signer.signedAttributes) {
        const platform::AttributeView attribute = platform::ParseAttribute(encoded);
        const bool mark =
            attribute.oid == kMarkV1 || attribute.oid == kMarkV2 || attribute.oid == kMarkOther;
        if (!mark) continue;
        if (attribute.values.empty()) throw platform::Error(CRYPT_E_ASN1_CORRUPT);
        marks.push_back(ReadMark(attribute.oid, attribute.values.front()));
    }
    return marks;
}

std::vector<Bytes> ValuesOf(const std::vector<Bytes>& attributes, std::string_view oid) {
    std::vector<Bytes> values;
    for (const Bytes& encoded : attributes) {
        try {
            const platform::AttributeView attribute = platform::ParseAttribute(encoded);
            if (attribute.oid != oid) continue;
            values.insert(values.end(), attribute.values.begin(), attribute.values.end());
        } catch (const platform::Error&) {
            continue;
        }
    }
    return values;
}

std::string RepeatedAttribute(const platform::SignerInfo& signer) {
    std::vector<std::string> seen;
    if (!signer.signedAttributes) return {};
    for (const Bytes& encoded : *signer.signedAttributes) {
        const platform::AttributeView attribute = platform::ParseAttribute(encoded);
        const auto* row = FindKnown(attribute.oid);
        if (row == nullptr || !row->once) continue;
        const bool before = std::ranges::find(seen, attribute.oid) != seen.end();
        if (before || attribute.values.size() > 1) return row->name;
        seen.push_back(attribute.oid);
    }
    return {};
}

}  // namespace kestrelctl::message
