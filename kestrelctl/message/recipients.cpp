// Reading of recipients, beside what the platform reads to open a message.
#include "kestrelctl/message/recipients.h"

#include "platform/base/error.h"

namespace kestrelctl::message {
namespace {

using platform::Algorithm;
using platform::ByteView;
namespace der = platform::der;

Algorithm TakeAlgorithm(der::Cursor& cursor) {
    return platform::ParseAlgorithm(cursor.Expect(der::kSequence).whole);
}

// The first identifier in parameters: a curve, or the set of parameters of a GOST key.
std::string CurveIn(const Algorithm& algorithm) {
    try {
        der::Cursor parameters(algorithm.parameters);
        if (parameters.NextIs(der::kSequence)) {
            return der::Cursor(parameters.Next().contents).OidText();
        }
        return parameters.NextIs(der::kOid) ? parameters.OidText() : std::string();
    } catch (const platform::Error&) {
        return {};
    }
}

// What wraps the key is the parameter of what agrees on one, and of a password's algorithm.
std::optional<Algorithm> WrapIn(const Algorithm& algorithm) {
    try {
        const Algorithm wrap = platform::ParseAlgorithm(algorithm.parameters);
        return wrap.oid.empty() ? std::nullopt : std::optional(wrap);
    } catch (const platform::Error&) {
        return std::nullopt;
    }
}

// OriginatorIdentifierOrKey.
Originator ReadOriginator(der::Cursor cursor) {
    Originator originator{"key", {}, {}, {}};
    const der::Item item = cursor.Next();
    if (item.tag == der::kSequence) {
        der::Cursor inside(item.contents);
        originator.by = "issuer-and-serial";
        originator.holder.emplace();
        originator.holder->issuer = platform::Copy(inside.Expect(der::kSequence).whole);
        originator.holder->serial = platform::Copy(inside.Expect(der::kInteger).contents);
    } else if (item.tag == der::Context(0)) {
        originator.by = "key-identifier";
        originator.holder.emplace();
        originator.holder->keyIdentifier = platform::Copy(item.contents);
    } else {
        der::Cursor key(item.contents);
        originator.algorithm = TakeAlgorithm(key);
        originator.curve = CurveIn(*originator.algorithm);
    }
    return originator;
}

// Of a key agreement; null for other kinds, and for one that is damaged.
std::shared_ptr<const Originator> OriginatorOf(ByteView whole) {
    try {
        const der::Item item = der::Cursor(whole).Next();
        if (item.tag != der::ContextConstructed(1)) return nullptr;
        der::Cursor cursor(item.contents);
        cursor.SmallInteger();
        const ByteView named = cursor.Expect(der::ContextConstructed(0)).contents;
        return std::make_shared<const Originator>(ReadOriginator(der::Cursor(named)));
    } catch (const platform::Error&) {
        return nullptr;
    }
}

void ReadSharedKey(der::Cursor cursor, Recipient& recipient) {
    recipient.kind = "shared-key";
    cursor.SmallInteger();
    der::Cursor identifier(cursor.Expect(der::kSequence).contents);
    recipient.holder.emplace();
    recipient.holder->keyIdentifier = platform::Copy(identifier.Expect(der::kOctetString).contents);
    recipient.keyEncryption = TakeAlgorithm(cursor);
}

void ReadPassword(der::Cursor cursor, Recipient& recipient) {
    recipient.kind = "password";
    cursor.SmallInteger();
    if (cursor.NextIs(der::ContextConstructed(0))) {
        recipient.keyDerivation =
            platform::ParseAlgorithm(der::Element(der::kSequence, cursor.Next().contents));
    }
    recipient.keyEncryption = TakeAlgorithm(cursor);
    recipient.keyWrap = WrapIn(*recipient.keyEncryption);
}

// Whom the platform takes for nobody. One that is damaged is in nobody's way, either.
Recipient ReadOther(ByteView whole) {
    Recipient recipient;
    try {
        const der::Item item = der::Cursor(whole).Next();
        der::Cursor cursor(item.contents);
        if (item.tag == der::ContextConstructed(2)) ReadSharedKey(cursor, recipient);
        if (item.tag == der::ContextConstructed(3)) ReadPassword(cursor, recipient);
        if (item.tag == der::ContextConstructed(4)) recipient.type = cursor.OidText();
    } catch (const platform::Error&) {
        return recipient;
    }
    return recipient;
}

Recipient Plain(const platform::RecipientInfo& info) {
    Recipient recipient;
    recipient.kind = "key-transport";
    recipient.holder = info.recipient;
    recipient.keyEncryption = info.keyEncryption;
    if (!info.agreement) return recipient;
    recipient.kind = "key-agreement";
    recipient.keyEncryption = info.agreement->keyEncryption;
    recipient.keyWrap = WrapIn(*recipient.keyEncryption);
    return recipient;
}

}  // namespace

std::vector<Recipient> ReadRecipients(ByteView whole) {
    std::vector<platform::RecipientInfo> infos;
    platform::ParseRecipientInfo(whole, infos);
    const auto originator = OriginatorOf(whole);
    std::vector<Recipient> recipients;
    for (const platform::RecipientInfo& info : infos) {
        const bool other = info.kind == platform::RecipientInfo::Kind::Other;
        recipients.push_back(other ? ReadOther(whole) : Plain(info));
        recipients.back().originator = originator;
    }
    return recipients;
}

}  // namespace kestrelctl::message
