// The table of reasons: what each says, how heavy it is, and which check it belongs to.
#include "kestrelctl/message/reasons.h"

#include <algorithm>

namespace kestrelctl::message {
namespace {

using enum Reason;
using enum Verdict;

constexpr ReasonRow kRows[] = {
    // clang-format off
    {CannotRead, "cannot-read", Indeterminate, Check::Message,
     "the file cannot be read", "файл не читается"},
    {Malformed, "malformed", Bad, Check::Message,
     "this is no message, or a damaged one", "это не сообщение, или оно повреждено"},
    {CutShort, "cut-short", Bad, Check::Message,
     "the message ends too early", "сообщение оборвано"},
    {NoSignature, "no-signature", Indeterminate, Check::Message,
     "no signature of the file was found", "подпись файла не найдена"},
    {NotSigned, "not-signed", Bad, Check::Message,
     "a message of this kind is signed by nobody", "сообщения этого вида никем не подписаны"},
    {NoSigner, "no-signer", Bad, Check::Message,
     "nobody has signed the message", "сообщение никем не подписано"},
    {TooManySigners, "too-many-signers", Indeterminate, Check::Message,
     "there are more signers than anybody looks at", "подписей больше, чем проверяется"},
    {ContentInside, "content-inside", Indeterminate, Check::Message,
     "the message has its own content: the file named beside it was not looked at",
     "в сообщении своё содержимое: названный рядом файл не проверялся"},
    {PartNotSigned, "part-not-signed", Bad, Check::Message,
     "the signature in this mail is not about the part that is shown",
     "подпись в этом письме относится не к показываемой части"},
    {SignerMissing, "signer-missing", Bad, Check::Message,
     "the demanded signer has not signed", "требуемой подписи нет"},
    {NoContent, "no-content", Indeterminate, Check::Signature,
     "the signed content is not here", "подписанного содержимого нет"},
    {ContentChanged, "content-changed", Bad, Check::Signature,
     "the content is not what was signed", "содержимое не то, что было подписано"},
    {ContentAmbiguous, "content-ambiguous", Bad, Check::Signature,
     "the content reads as signed attributes, and nothing tells the two apart",
     "содержимое читается как подписанные атрибуты, и их не различить"},
    {AttributeTwice, "attribute-twice", Bad, Check::Signature,
     "an attribute stands twice where one alone may", "атрибут повторён, а может быть лишь один"},
    {AttributeWrong, "attribute-wrong", Bad, Check::Signature,
     "an attribute is damaged, missing, or stands where it may not",
     "атрибут повреждён, отсутствует или стоит не на своём месте"},
    {SignatureWrong, "signature-wrong", Bad, Check::Signature,
     "the signature was not made with the certificate's key",
     "подпись сделана не ключом этого сертификата"},
    {AlgorithmUnknown, "algorithm-unknown", Indeterminate, Check::Signature,
     "an algorithm is not known", "алгоритм неизвестен"},
    {CertificateDiffers, "certificate-differs", Bad, Check::Certificate,
     "the signature names another certificate than the one that fits it",
     "подпись называет другой сертификат, чем тот, что к ней подходит"},
    {CertificateMissing, "certificate-missing", Indeterminate, Check::Certificate,
     "the signer's certificate was not found", "сертификат подписавшего не найден"},
    {TooManyCandidates, "too-many-candidates", Indeterminate, Check::Certificate,
     "there are more certificates of the signer's name, or more signatures, than anybody tries",
     "сертификатов с именем подписавшего или самих подписей больше, чем проверяется"},
    {NotForSigning, "not-for-signing", Bad, Check::Fitness,
     "the certificate is not for signing", "сертификат не предназначен для подписи"},
    {ChainSignature, "chain-signature", Bad, Check::Chain,
     "a certificate was not signed by the issuer that it names",
     "сертификат не подписан тем издателем, которого называет"},
    {Revoked, "revoked", Bad, Check::Chain, "a certificate was revoked", "сертификат отозван"},
    {ChainIncomplete, "chain-incomplete", Indeterminate, Check::Chain,
     "the issuer of a certificate was not found", "издатель сертификата не найден"},
    {RootUntrusted, "root-untrusted", Indeterminate, Check::Chain,
     "the root is not trusted", "корневому сертификату нет доверия"},
    {Expired, "expired", Indeterminate, Check::Chain,
     "a certificate was no longer valid at the time that counts",
     "срок сертификата на учитываемый момент истёк"},
    {NotYetValid, "not-yet-valid", Indeterminate, Check::Chain,
     "a certificate was not yet valid at the time that counts",
     "срок сертификата на учитываемый момент не начался"},
    {ChainConstraints, "chain-constraints", Indeterminate, Check::Chain,
     "the chain breaks a rule of one of its certificates",
     "цепочка нарушает правило одного из своих сертификатов"},
    {RevocationUnknown, "revocation-unknown", Indeterminate, Check::Chain,
     "nobody told whether a certificate is revoked", "неизвестно, отозван ли сертификат"},
    {TooManyStamps, "too-many-stamps", Indeterminate, Check::Stamps,
     "there are more time stamps than anybody looks at", "штампов времени больше, чем проверяется"},
    {StampMalformed, "stamp-malformed", Bad, Check::Stamps,
     "a time stamp is damaged", "штамп времени повреждён"},
    {StampImprint, "stamp-imprint", Bad, Check::Stamps,
     "a time stamp is for something else", "штамп времени сделан для другого"},
    {StampSignature, "stamp-signature", Bad, Check::Stamps,
     "a time stamp is not what its service signed",
     "штамп времени не тот, что подписала его служба"},
    {StampCertificate, "stamp-certificate", Bad, Check::Stamps,
     "a time stamp does not name its service's certificate, or names another",
     "штамп времени не называет сертификат своей службы или называет другой"},
    {StampUsage, "stamp-usage", Bad, Check::Stamps,
     "the certificate behind a time stamp is not for time stamping alone",
     "сертификат штампа времени не предназначен только для штампов"},
    {StampFuture, "stamp-future", Bad, Check::Stamps,
     "a time stamp tells a time that has not come", "время штампа ещё не наступило"},
    {StampRevoked, "stamp-revoked", Bad, Check::Stamps,
     "the certificate of a time-stamp service, or one above it, was revoked",
     "сертификат службы штампов или один из вышестоящих отозван"},
    {StampUntrusted, "stamp-untrusted", Indeterminate, Check::Stamps,
     "a time-stamp service is not trusted", "службе штампов времени нет доверия"},
    {StampChain, "stamp-chain", Bad, Check::Stamps,
     "the chain of a time-stamp service is wrong", "цепочка службы штампов времени неверна"},
    {StampExpired, "stamp-expired", Indeterminate, Check::Stamps,
     "a time-stamp service's chain was not valid at the stamp's time",
     "цепочка службы на время штампа не действовала"},
    {StampAlgorithm, "stamp-algorithm", Indeterminate, Check::Stamps,
     "a time stamp uses an algorithm that is not known", "алгоритм штампа времени неизвестен"},
    {StampRevocationUnknown, "stamp-revocation-unknown", Indeterminate, Check::Stamps,
     "nobody told whether a time-stamp service is revoked",
     "неизвестно, отозван ли сертификат службы штампов"},
    {StampWeak, "stamp-weak", Indeterminate, Check::Stamps,
     "a time stamp uses an algorithm that proves nothing any more",
     "алгоритм штампа времени больше ничего не доказывает"},
    {TooManyCountersignatures, "too-many-countersignatures", Indeterminate, Check::Countersignatures,
     "there are more countersignatures than anybody looks at",
     "заверяющих подписей больше, чем проверяется"},
    {CountersignatureWrong, "countersignature-wrong", Bad, Check::Countersignatures,
     "a countersignature is damaged, or not for this signature",
     "заверяющая подпись повреждена или сделана для другой подписи"},
    {WeakAlgorithm, "weak-algorithm", Indeterminate, Check::Strength,
     "an algorithm proved nothing any more at the time that counts",
     "алгоритм на учитываемый момент уже ничего не доказывал"},
    // clang-format on
};

}  // namespace

const char* NameOf(Verdict verdict) {
    constexpr const char* kNames[] = {"good", "indeterminate", "bad"};
    return kNames[static_cast<std::size_t>(verdict)];
}

const char* NameOf(Check check) {
    constexpr const char* kNames[] = {"message", "signature", "certificate",       "fitness",
                                      "chain",   "stamps",    "countersignatures", "strength"};
    return kNames[static_cast<std::size_t>(check)];
}

const ReasonRow& RowOf(Reason reason) {
    return *std::ranges::find(kRows, reason, &ReasonRow::reason);
}

void Findings::Add(Reason reason, Detail detail) { all_.push_back({reason, std::move(detail)}); }

void Findings::Add(const Findings& others) {
    all_.insert(all_.end(), others.all_.begin(), others.all_.end());
}

Verdict Findings::Worst() const {
    Verdict worst = Good;
    for (const Finding& finding : all_) worst = std::max(worst, RowOf(finding.reason).verdict);
    return worst;
}

Verdict Findings::WorstOf(Check check) const {
    Verdict worst = Good;
    for (const Finding& finding : all_) {
        const ReasonRow& row = RowOf(finding.reason);
        if (row.check == check) worst = std::max(worst, row.verdict);
    }
    return worst;
}

// Findings come in the order in which they were made; the table's order is that of the checks.
const Finding* Findings::First() const {
    const Verdict worst = Worst();
    const Finding* first = nullptr;
    for (const Finding& finding : all_) {
        if (RowOf(finding.reason).verdict != worst) continue;
        if (first == nullptr || finding.reason < first->reason) first = &finding;
    }
    return first;
}

bool Findings::Has(Reason reason) const {
    return std::ranges::find(all_, reason, &Finding::reason) != all_.end();
}

}  // namespace kestrelctl::message
