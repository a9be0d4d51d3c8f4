// Reading of what a time-stamp service says.
#include "kestrelctl/message/token.h"

#include <algorithm>

#include "kestrelctl/message/attributes.h"
#include "platform/base/error.h"
#include "platform/der/records.h"
#include "platform/der/values.h"

namespace kestrelctl::message {
namespace {

using platform::Bytes;
using platform::ByteView;
namespace der = platform::der;

constexpr std::uint8_t kGeneralizedTime = 0x18;

bool HasCritical(ByteView extensions) {
    for (const auto& extension : platform::ReadExtensions(extensions)) {
        if (extension.critical) return true;
    }
    return false;
}

// A damaged attribute is told by whoever judges the signer.
std::optional<platform::AttributeView> Readable(const Bytes& encoded) {
    try {
        return platform::ParseAttribute(encoded);
    } catch (const platform::Error&) {
        return std::nullopt;
    }
}

platform::Ticks WholeSeconds(platform::Ticks time) {
    return time - time % platform::kTicksPerSecond;
}

// Up to a thousand years of seconds, thousandths and millionths of them: more is no less.
platform::Ticks ReadAccuracy(ByteView contents) {
    constexpr long kMost = 1'000L * 366 * 86'400;
    constexpr struct {
        std::uint8_t tag;
        platform::Ticks ticks;
    } kParts[] = {{der::kInteger, platform::kTicksPerSecond}, {0x80, 10'000}, {0x81, 10}};
    platform::Ticks all = 0;
    der::Cursor cursor(contents);
    for (const auto& part : kParts) {
        if (!cursor.NextIs(part.tag)) continue;
        const Bytes integer = der::Element(der::kInteger, cursor.Next().contents);
        const long count = der::Cursor(integer).SmallInteger();
        if (count < 0) throw platform::Error(CRYPT_E_ASN1_CORRUPT);
        all += static_cast<platform::Ticks>(std::min(count, kMost)) * part.ticks;
    }
    cursor.ExpectEnd();
    return all;
}

void AddStamps(const std::vector<Bytes>& attributes, StampOf place,
               std::vector<StampPlace>& stamps) {
    for (const Bytes& encoded : attributes) {
        const auto attribute = Readable(encoded);
        if (!attribute) continue;
        const bool ofContent = attribute->oid == kContentStampOid;
        if (!ofContent && attribute->oid != kSignatureStampOid) continue;
        const StampOf of = ofContent ? StampOf::Content : StampOf::Signature;
        if (attribute->values.empty()) stamps.push_back({of, of != place, {}});
        for (const Bytes& value : attribute->values) stamps.push_back({of, of != place, value});
    }
}

}  // namespace

StampFacts ReadTstInfo(ByteView encoded) {
    StampFacts facts;
    der::Cursor cursor = der::Inside(encoded, der::kSequence);
    if (cursor.SmallInteger() != 1) throw platform::Error(CRYPT_E_ASN1_CORRUPT);
    facts.policy = cursor.OidText();
    der::Cursor imprint(cursor.Expect(der::kSequence).contents);
    facts.imprintAlgorithm = platform::ParseAlgorithm(imprint.Expect(der::kSequence).whole);
    facts.imprint = platform::Copy(imprint.Expect(der::kOctetString).contents);
    imprint.ExpectEnd();
    facts.serial = platform::Copy(cursor.Expect(der::kInteger).contents);
    const platform::Ticks exact =
        platform::TicksOf(platform::ReadTime(cursor.Expect(kGeneralizedTime)));
    facts.time = WholeSeconds(exact);
    facts.latest = facts.time;
    if (cursor.NextIs(der::kSequence)) {
        facts.latest = WholeSeconds(exact + ReadAccuracy(cursor.Next().contents));
    }
    // Ordering, nonce and the service's name change no verdict.
    while (!cursor.AtEnd()) {
        const der::Item item = cursor.Next();
        if (item.tag == der::ContextConstructed(1))
            facts.criticalExtension = HasCritical(item.contents);
    }
    return facts;
}

std::vector<StampPlace> StampsOf(const platform::SignerInfo& signer) {
    std::vector<StampPlace> stamps;
    if (signer.signedAttributes) AddStamps(*signer.signedAttributes, StampOf::Content, stamps);
    AddStamps(signer.unsignedAttributes, StampOf::Signature, stamps);
    return stamps;
}

}  // namespace kestrelctl::message
