// A record as a document.
#include "kestrelctl/message/describe.h"

#include <algorithm>

#include "kestrelctl/message/attributes.h"
#include "kestrelctl/message/reader.h"
#include "kestrelctl/message/token.h"
#include "kestrelctl/message/words.h"
#include "kestrelctl/text_forms.h"
#include "platform/base/error.h"
#include "platform/der/values.h"

namespace kestrelctl::message {
namespace {

using platform::Bytes;

// Versions and states are not negative; one that is, is as good as none.
Value Counted(long number) { return Value::Of(static_cast<std::uint64_t>(std::max(number, 0L))); }

Value AttributeValue(const Bytes& encoded) {
    Value value = Value::Object();
    try {
        const platform::AttributeView attribute = platform::ParseAttribute(encoded);
        Value values = Value::List();
        for (const Bytes& one : attribute.values) {
            const auto decoded = ValueText(attribute.oid, one);
            Value item = Value::Object();
            item.Set("size", Value::Of(std::uint64_t{one.size()})).Set("decoded", Value(decoded));
            item.Short(decoded.value_or(std::to_string(one.size()) + " octets"));
            values.Add(std::move(item));
        }
        value.Set("type", OidValue(attribute.oid)).Set("values", std::move(values));
    } catch (const platform::Error&) {
        Value unknown = Value::Object();
        unknown.Set("oid", Value()).Set("name", "damaged");
        value.Set("type", std::move(unknown)).Set("values", Value::List());
    }
    return value;
}

Value AttributeList(const std::vector<Bytes>& attributes) {
    Value list = Value::List();
    for (const Bytes& one : attributes) list.Add(AttributeValue(one));
    return list;
}

Value TokenValue(const char* of, const Record& token) {
    const StampFacts facts = ReadTstInfo(token.tokenContent);
    Value service = Value();
    if (!token.Signers().empty()) service = HolderValue(token.Signers()[0].signer);
    Value value = Value::Object();
    value.Set("of", of)
        .Set("readable", Value::Of(true))
        .Set("time", IsoTime(facts.time))
        .Set("serial", platform::Hex(facts.serial))
        .Set("policy", facts.policy)
        .Set("imprintAlgorithm", AlgorithmValue(facts.imprintAlgorithm))
        .Set("imprint", platform::Hex(facts.imprint))
        .Set("service", std::move(service));
    return value;
}

Value DamagedToken(const char* of) {
    Value value = Value::Object();
    value.Set("of", of).Set("readable", Value::Of(false));
    for (const char* name :
         {"time", "serial", "policy", "imprintAlgorithm", "imprint", "service"}) {
        value.Set(name, Value());
    }
    return value;
}

Value StampValue(const StampPlace& place) {
    const char* of = NameOf(place.of);
    try {
        return TokenValue(of, ReadMessageOctets(place.token));
    } catch (const platform::Error&) {
        return DamagedToken(of);
    }
}

Value SignerValue(const platform::SignerInfo& signer) {
    Value stamps = Value::List();
    for (const StampPlace& place : StampsOf(signer)) stamps.Add(StampValue(place));
    Value value = Value::Object();
    value.Set("version", Counted(signer.version))
        .Set("identifier", HolderValue(signer.signer))
        .Set("digestAlgorithm", AlgorithmValue(signer.digest))
        .Set("signatureAlgorithm", AlgorithmValue(signer.signatureAlgorithm))
        .Set("signatureSize", Value::Of(std::uint64_t{signer.signature.size()}))
        .Set("signedAttributes",
             signer.signedAttributes ? AttributeList(*signer.signedAttributes) : Value())
        .Set("unsignedAttributes", AttributeList(signer.unsignedAttributes))
        .Set("stamps", std::move(stamps));
    return value;
}

Value AlgorithmOrNull(const std::optional<platform::Algorithm>& algorithm) {
    return algorithm ? AlgorithmValue(*algorithm) : Value();
}

Value OriginatorValue(const Originator& originator) {
    Value value = Value::Object();
    value.Set("by", originator.by)
        .Set("identifier", originator.holder ? HolderValue(*originator.holder) : Value())
        .Set("algorithm", AlgorithmOrNull(originator.algorithm))
        .Set("curve", originator.curve.empty() ? Value() : OidValue(originator.curve));
    return value;
}

Value RecipientValue(const Recipient& recipient) {
    Value value = Value::Object();
    value.Set("kind", recipient.kind)
        .Set("identifier", recipient.holder ? HolderValue(*recipient.holder) : Value())
        .Set("keyEncryption", AlgorithmOrNull(recipient.keyEncryption))
        .Set("keyWrap", AlgorithmOrNull(recipient.keyWrap))
        .Set("keyDerivation", AlgorithmOrNull(recipient.keyDerivation))
        .Set("originator", recipient.originator ? OriginatorValue(*recipient.originator) : Value())
        .Set("type", recipient.type.empty() ? Value() : OidValue(recipient.type));
    return value;
}

Value CrlValue(const platform::Crl& crl) {
    const CRL_INFO& info = crl.Head();
    std::uint64_t count = 0;
    for (platform::CrlEntries entries = crl.Entries(); entries.Next();) ++count;
    const platform::Ticks next = platform::TicksOf(info.NextUpdate);
    Value value = Value::Object();
    value.Set("issuer", NameText(info.Issuer))
        .Set("thisUpdate", IsoTime(platform::TicksOf(info.ThisUpdate)))
        .Set("nextUpdate", next == 0 ? Value() : Value(IsoTime(next)))
        .Set("entries", Value::Of(count))
        .Set("sha1", Thumbprint(crl.Der()));
    return value;
}

Value AnswerValue(const StampAnswer& answer) {
    Value value = Value::Object();
    value.Set("status", Counted(answer.status))
        .Set("granted", Value::Of(answer.status == 0 || answer.status == 1))
        .Set("text", answer.text.empty() ? Value() : Value(answer.text));
    return value;
}

Value ContentValue(const Record& record) {
    if (record.contentType.empty() && record.kind != Kind::Data) return Value();
    const bool secret = !record.recipients.empty() || record.kind == Kind::Encrypted;
    const bool encrypted = secret && record.kind != Kind::Authenticated;
    Value value = Value::Object();
    value.Set("type", OidValue(record.kind == Kind::Data ? szOID_RSA_data : record.contentType))
        .Set("present", Value::Of(record.hasContent))
        .Set("size", record.hasContent ? Value::Of(record.contentSize) : Value())
        .Set("encrypted", Value::Of(encrypted))
        .Set("algorithm", AlgorithmOrNull(record.contentAlgorithm));
    return value;
}

// Lists, each with the value of one of its items.
template <class Items, class Make>
Value ListOf(const Items& items, Make make) {
    Value list = Value::List();
    for (const auto& item : items) list.Add(make(item));
    return list;
}

Value OwnStamp(const Record& record) {
    const bool token = !record.tokenContent.empty();
    if (!token) return Value();
    try {
        return TokenValue(NameOf(StampOf::Token), record);
    } catch (const platform::Error&) {
        return DamagedToken(NameOf(StampOf::Token));
    }
}

}  // namespace

const char* NameOf(StampOf of) {
    constexpr const char* kNames[] = {"content", "signature", "token"};
    return kNames[static_cast<std::size_t>(of)];
}

Value Describe(const std::string& file, const Record& record) {
    Value value = Value::Object();
    value.Set("version", Value::Of(std::uint64_t{1}))
        .Set("file", file)
        .Set("form", NameOf(record.form))
        .Set("label", record.label.empty() ? Value() : Value(record.label))
        .Set("size", Value::Of(record.fileSize))
        .Set("kind", NameOf(record.kind))
        .Set("type", record.typeOid.empty() ? Value() : OidValue(record.typeOid))
        .Set("messageVersion", Counted(record.version))
        .Set("answer", record.answer ? AnswerValue(*record.answer) : Value())
        .Set("content", ContentValue(record))
        .Set("digestAlgorithms", ListOf(record.digests, AlgorithmValue))
        .Set("recipients", ListOf(record.recipients, RecipientValue))
        .Set("signers", ListOf(record.Signers(), SignerValue))
        .Set("protectedAttributes", AttributeList(record.protectedAttributes))
        .Set("unprotectedAttributes", AttributeList(record.unprotectedAttributes))
        .Set("certificates",
             ListOf(record.certificates, [](const auto& one) { return CertificateValue(*one); }))
        .Set("crls", ListOf(record.crls, [](const auto& one) { return CrlValue(*one); }))
        .Set("otherChoices", Value::Of(std::uint64_t{record.otherChoices}))
        .Set("stamp", OwnStamp(record));
    return value;
}

}  // namespace kestrelctl::message
