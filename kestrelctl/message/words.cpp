// The common parts of documents.
#include "kestrelctl/message/words.h"

#include "kestrelctl/message/attributes.h"
#include "kestrelctl/message/strength.h"
#include "kestrelctl/text_forms.h"
#include "platform/base/error.h"
#include "platform/certs/names.h"

namespace kestrelctl::message {
namespace {

Value TextOrNull(const std::string& text) { return text.empty() ? Value() : Value(text); }

}  // namespace

std::string IsoTime(platform::Ticks ticks) { return TimeText(platform::FileTimeOf(ticks)); }

Value TimeOrNull(const std::optional<platform::Ticks>& ticks) {
    return ticks ? Value(IsoTime(*ticks)) : Value();
}

std::string NameWords(platform::ByteView name) {
    try {
        return platform::NameToText(name, CERT_X500_NAME_STR);
    } catch (const platform::Error&) {
        return platform::Hex(name);
    }
}

Value OidValue(const std::string& oid) {
    Value value = Value::Object();
    std::string name = IdentifierName(oid);
    if (name.empty()) name = AlgorithmName(oid);
    value.Set("oid", oid).Set("name", TextOrNull(name));
    return value.Short(name.empty() ? oid : name + " (" + oid + ")");
}

Value AlgorithmValue(const platform::Algorithm& algorithm) { return OidValue(algorithm.oid); }

std::string HolderWords(const platform::KeyHolder& holder) {
    if (holder.ByKeyIdentifier()) return "key " + platform::Hex(holder.keyIdentifier);
    return "number " + platform::Hex(holder.serial) + " of " + NameWords(holder.issuer);
}

Value HolderValue(const platform::KeyHolder& holder) {
    Value value = Value::Object();
    const bool byKey = holder.ByKeyIdentifier();
    value.Set("issuer", byKey ? Value() : Value(NameWords(holder.issuer)));
    value.Set("serial", byKey ? Value() : Value(platform::Hex(holder.serial)));
    value.Set("keyIdentifier", byKey ? Value(platform::Hex(holder.keyIdentifier)) : Value());
    return value.Short(HolderWords(holder));
}

Value CertificateValue(const platform::Certificate& certificate) {
    const CERT_INFO& info = certificate.Info();
    const KeyFacts key = KeyOf(info.SubjectPublicKeyInfo);
    Value keyValue = OidValue(key.oid);
    keyValue.Set("bits", key.bits == 0 ? Value() : Value::Of(std::uint64_t{key.bits}));
    const std::string name = AlgorithmName(key.oid);
    keyValue.Short((name.empty() ? key.oid : name) + ", " + std::to_string(key.bits) + " bits");
    Value value = Value::Object();
    value.Set("subject", NameText(info.Subject))
        .Set("issuer", NameText(info.Issuer))
        .Set("serial", SerialText(info.SerialNumber))
        .Set("notBefore", IsoTime(platform::TicksOf(info.NotBefore)))
        .Set("notAfter", IsoTime(platform::TicksOf(info.NotAfter)))
        .Set("sha1", Thumbprint(certificate.Der()))
        .Set("sha256", Sha256Text(certificate.Der()))
        .Set("key", std::move(keyValue));
    return value;
}

}  // namespace kestrelctl::message
