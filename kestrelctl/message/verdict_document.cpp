// What was judged as a tree, in the order that readers rely on.
#include "kestrelctl/message/verdict_document.h"

#include <algorithm>

#include "kestrelctl/chain_words.h"
#include "kestrelctl/message/attributes.h"
#include "kestrelctl/message/words.h"
#include "kestrelctl/text_forms.h"

namespace kestrelctl::message {
namespace {

void SetVerdict(const Findings& findings, Value& value) {
    const Finding* first = findings.First();
    value.Set("verdict", NameOf(findings.Worst()))
        .Set("reason", first == nullptr ? Value() : Value(RowOf(first->reason).word))
        .Set("explanation", first == nullptr ? Value() : Value(Sentence(*first, false)));
}

Value FindingList(const Findings& findings) {
    Value list = Value::List();
    for (const Finding& finding : findings.All()) {
        const ReasonRow& row = RowOf(finding.reason);
        Value value = Value::Object();
        value.Set("reason", row.word)
            .Set("verdict", NameOf(row.verdict))
            .Set("check", NameOf(row.check))
            .Set("detail",
                 finding.detail.english.empty() ? Value() : Value(finding.detail.english));
        list.Add(value.Short(std::string(row.word) + ": " + Sentence(finding, false)));
    }
    return list;
}

Value EvidenceValue(const platform::Link& link) {
    const bool told = link.revocation != platform::Revocation::Unknown;
    const platform::Ticks next = platform::TicksOf(link.evidence.nextUpdate);
    const platform::Ticks from = platform::TicksOf(link.evidence.thisUpdate);
    Value value = Value::Object();
    value.Set("state", WordOf(link.revocation))
        .Set("source", link.evidence.source.empty() ? Value() : Value(link.evidence.source))
        .Set("thisUpdate", told && from != 0 ? Value(IsoTime(from)) : Value())
        .Set("nextUpdate", told && next != 0 ? Value(IsoTime(next)) : Value());
    const std::string source = link.evidence.source.empty() ? "" : ", " + link.evidence.source;
    return value.Short(WordOf(link.revocation) + source);
}

Value LinkValue(const platform::Link& link) {
    const bool asked = link.revocation != platform::Revocation::Unknown ||
                       (link.error & CERT_TRUST_REVOCATION_STATUS_UNKNOWN) != 0;
    Value value = Value::Object();
    value.Set("subject", NameText(link.certificate->Info().Subject))
        .Set("sha1", Thumbprint(link.certificate->Der()))
        .Set("status", WordsOf(link.error))
        .Set("revocation", asked ? EvidenceValue(link) : Value());
    return value;
}

Value ChainValue(const std::optional<ChainFacts>& chain) {
    if (!chain) return Value();
    Value links = Value::List();
    for (const platform::Link& link : chain->path.links) links.Add(LinkValue(link));
    Value value = Value::Object();
    value.Set("time", IsoTime(chain->time))
        .Set("trusted", Value::Of(chain->path.trusted))
        .Set("links", std::move(links));
    return value;
}

Value CertificateOrNull(const std::shared_ptr<platform::Certificate>& certificate) {
    return certificate ? CertificateValue(*certificate) : Value();
}

Value StampValue(const StampVerdict& stamp) {
    const StampFacts* facts = stamp.facts ? &*stamp.facts : nullptr;
    Value value = Value::Object();
    value.Set("of", NameOf(stamp.of));
    SetVerdict(stamp.findings, value);
    value.Set("findings", FindingList(stamp.findings))
        .Set("time", facts == nullptr ? Value() : Value(IsoTime(facts->time)))
        .Set("serial", facts == nullptr ? Value() : Value(platform::Hex(facts->serial)))
        .Set("policy", facts == nullptr ? Value() : Value(facts->policy))
        .Set("imprintAlgorithm",
             facts == nullptr ? Value() : AlgorithmValue(facts->imprintAlgorithm))
        .Set("service", CertificateOrNull(stamp.service))
        .Set("chain", ChainValue(stamp.chain));
    return value;
}

Value IdentityValue(const SignerVerdict& signer) {
    Value value = Value::Object();
    value.Set("by", signer.info.signer.ByKeyIdentifier() ? "key-identifier" : "issuer-and-serial")
        .Set("candidates", Value::Of(std::uint64_t{signer.identity.candidates}))
        .Set("comparedWhole", Value::Of(signer.identity.comparedWhole));
    return value;
}

Value CountersignatureValue(const Countersignature& one) {
    const platform::SignerInfo* info = one.info ? &*one.info : nullptr;
    Value value = Value::Object();
    SetVerdict(one.findings, value);
    value.Set("findings", FindingList(one.findings))
        .Set("identifier", info == nullptr ? Value() : HolderValue(info->signer))
        .Set("certificate", CertificateOrNull(one.identity.certificate))
        .Set("digestAlgorithm", info == nullptr ? Value() : AlgorithmValue(info->digest))
        .Set("signatureAlgorithm",
             info == nullptr ? Value() : AlgorithmValue(info->signatureAlgorithm))
        .Set("signingTime", info == nullptr ? Value() : TimeOrNull(SigningTimeOf(*info)));
    return value;
}

Value SignerValue(const SignerVerdict& signer, std::size_t index) {
    Value checks = Value::Object();
    for (const Check check : {Check::Signature, Check::Certificate, Check::Fitness, Check::Chain,
                              Check::Stamps, Check::Countersignatures, Check::Strength}) {
        checks.Set(NameOf(check), StateOf(signer, check));
    }
    Value stamps = Value::List();
    for (const StampVerdict& stamp : signer.stamps) stamps.Add(StampValue(stamp));
    Value countersignatures = Value::List();
    for (const Countersignature& one : signer.countersignatures) {
        countersignatures.Add(CountersignatureValue(one));
    }
    Value value = Value::Object();
    value.Set("index", Value::Of(std::uint64_t{index}));
    SetVerdict(signer.findings, value);
    value.Set("checks", std::move(checks))
        .Set("findings", FindingList(signer.findings))
        .Set("identifier", HolderValue(signer.info.signer))
        .Set("identity", IdentityValue(signer))
        .Set("certificate", CertificateOrNull(signer.identity.certificate))
        .Set("digestAlgorithm", AlgorithmValue(signer.info.digest))
        .Set("signatureAlgorithm", AlgorithmValue(signer.info.signatureAlgorithm))
        .Set("signingTime", TimeOrNull(signer.claimedTime))
        .Set("time", IsoTime(signer.time))
        .Set("timeSource", NameOf(signer.timeSource))
        .Set("chain", ChainValue(signer.chain))
        .Set("stamps", std::move(stamps))
        .Set("countersignatures", std::move(countersignatures));
    return value;
}

Value DemandedList(const MessageVerdict& message) {
    Value list = Value::List();
    for (const DemandedSigner& demanded : message.demanded) {
        Value value = Value::Object();
        value.Set("name", demanded.name)
            .Set("signer", demanded.signer ? Value::Of(std::uint64_t{*demanded.signer}) : Value());
        list.Add(std::move(value));
    }
    return list;
}

// What the message is; nulls for one that could not be read.
void SetMessage(const MessageVerdict& message, Value& value) {
    const Record& record = message.record;
    const bool read = message.read;
    const bool typed = read && !record.contentType.empty();
    value.Set("form", read ? Value(NameOf(record.form)) : Value())
        .Set("kind", read ? Value(NameOf(record.kind)) : Value())
        .Set("size", read ? Value::Of(record.fileSize) : Value())
        .Set("contentType", typed ? OidValue(record.contentType) : Value())
        .Set("detached", read ? Value::Of(message.detached) : Value())
        .Set("messageFile", message.source)
        .Set("contentFile", message.content.empty() ? Value() : Value(message.content))
        .Set("contentSize", typed ? Value::Of(record.contentSize) : Value());
}

}  // namespace

std::string Sentence(const Finding& finding, bool russian) {
    const ReasonRow& row = RowOf(finding.reason);
    const std::string text = russian ? row.russian : row.english;
    const std::string& detail = russian ? finding.detail.russian : finding.detail.english;
    return detail.empty() ? text : text + ": " + detail;
}

Verdict WorstOf(const SignerVerdict& signer, Check check) {
    Verdict worst = signer.findings.WorstOf(check);
    if (check == Check::Stamps) {
        for (const StampVerdict& one : signer.stamps) {
            worst = std::max(worst, one.findings.Worst());
        }
    }
    if (check != Check::Countersignatures) return worst;
    for (const Countersignature& one : signer.countersignatures) {
        worst = std::max(worst, one.findings.Worst());
    }
    return worst;
}

const char* StateOf(const SignerVerdict& signer, Check check) {
    const bool known = signer.identity.certificate != nullptr;
    const bool needsCertificate = check == Check::Fitness || check == Check::Chain;
    const bool none = (check == Check::Stamps && signer.stamps.empty()) ||
                      (check == Check::Countersignatures && signer.countersignatures.empty());
    if (none && signer.findings.WorstOf(check) == Verdict::Good) return "none";
    if (needsCertificate && !known) return "none";
    // No key was found to try it with.
    const bool untried =
        check == Check::Signature && (signer.findings.Has(Reason::CertificateMissing) ||
                                      signer.findings.Has(Reason::TooManyCandidates));
    if (untried && WorstOf(signer, check) == Verdict::Good) return NameOf(Verdict::Indeterminate);
    return NameOf(WorstOf(signer, check));
}

Value VerdictDocument(const MessageVerdict& message, const JudgeSettings& settings) {
    Value signers = Value::List();
    for (std::size_t i = 0; i < message.signers.size(); ++i) {
        signers.Add(SignerValue(message.signers[i], i));
    }
    Value value = Value::Object();
    value.Set("version", Value::Of(std::uint64_t{1})).Set("file", message.file);
    SetVerdict(message.findings, value);
    value.Set("findings", FindingList(message.findings))
        .Set("judgedAt", IsoTime(settings.now))
        .Set("offline", Value::Of(settings.offline));
    SetMessage(message, value);
    value.Set("demanded", DemandedList(message))
        .Set("signers", std::move(signers))
        .Set("token", message.token ? StampValue(*message.token) : Value())
        .Set("output", message.output.empty() ? Value() : Value(message.output));
    return value;
}

}  // namespace kestrelctl::message
