// The search for a signer.
#include "kestrelctl/message/signer.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "kestrelctl/message/attributes.h"
#include "kestrelctl/message/strength.h"
#include "kestrelctl/text_forms.h"
#include "platform/base/error.h"
#include "platform/certs/compare.h"
#include "platform/chain/checks.h"
#include "platform/cms/decoder_verify.h"
#include "platform/cms/params.h"
#include "platform/der/values.h"
#include "platform/providers/algorithms.h"

namespace kestrelctl::message {
namespace {

using platform::Bytes;
using platform::Error;
using Candidate = std::shared_ptr<platform::Certificate>;
namespace der = platform::der;

// Uses that alone make nobody a signer of messages (RFC 5280 4.2.1.12).
constexpr std::string_view kOtherUses[] = {
    "1.3.6.1.5.5.7.3.1",  // TLS server
    "1.3.6.1.5.5.7.3.8",  // time stamping
    "1.3.6.1.5.5.7.3.9",  // OCSP
};

bool IsCode(const Error& error, LONG code) { return error.Code() == static_cast<DWORD>(code); }

// ---- fitness --------------------------------------------------------------------

bool MaySign(const platform::Certificate& certificate) {
    constexpr std::uint8_t kSigning = 0xC0;  // digitalSignature, nonRepudiation
    try {
        const auto usage = platform::KeyUsageOf(certificate.Info());
        return !usage || (!usage->empty() && ((*usage)[0] & kSigning) != 0);
    } catch (const Error&) {
        return false;
    }
}

bool HasOtherUsesAlone(const platform::Certificate& certificate) {
    const auto uses = platform::UsagesOf(certificate);
    const auto other = [](const std::string& use) {
        return std::ranges::find(kOtherUses, use) != std::end(kOtherUses);
    };
    return uses && std::ranges::all_of(*uses, other);
}

// ---- what the message says of itself ---------------------------------------------

// The one value of an attribute that may stand once; none when it is not there. Throws
// CRYPT_E_ASN1_CORRUPT for one without any.
std::optional<Bytes> ValueOf(const platform::SignerInfo& signer, std::string_view oid) {
    for (const Bytes& encoded : *signer.signedAttributes) {
        const platform::AttributeView attribute = platform::ParseAttribute(encoded);
        if (attribute.oid != oid) continue;
        if (attribute.values.empty()) throw Error(CRYPT_E_ASN1_CORRUPT);
        return attribute.values.front();
    }
    return std::nullopt;
}

void CheckUnsigned(const platform::SignerInfo& signer, Findings& findings) {
    for (const Bytes& encoded : signer.unsignedAttributes) {
        const std::string oid = platform::ParseAttribute(encoded).oid;
        if (platform::MustBeSigned(oid)) findings.Add(Reason::AttributeWrong, IdentifierName(oid));
    }
}

void CheckSigned(const Record& record, const platform::SignerInfo& signer, const Bytes& digest,
                 Findings& findings) {
    const auto type = ValueOf(signer, szOID_RSA_contentType);
    if (!type || !platform::Equal(*type, der::Oid(record.contentType))) {
        findings.Add(Reason::AttributeWrong, "content type");
    }
    const auto announced = ValueOf(signer, szOID_RSA_messageDigest);
    if (!announced) return findings.Add(Reason::AttributeWrong, "message digest");
    if (!platform::Equal(*announced, der::Element(der::kOctetString, digest))) {
        findings.Add(Reason::ContentChanged);
    }
}

// NULL and nothing are one.
bool SameAlgorithm(const platform::Algorithm& first, const platform::Algorithm& second) {
    const auto told = [](const Bytes& parameters) {
        return parameters == Bytes{der::kNull, 0} ? Bytes() : parameters;
    };
    return first.oid == second.oid && told(first.parameters) == told(second.parameters);
}

// RFC 6211: the algorithms that were signed are the ones that the signer names.
void CheckProtection(const platform::SignerInfo& signer, Findings& findings) {
    const auto value = ValueOf(signer, kProtectionOid);
    if (!value) return;
    der::Cursor cursor = der::Inside(*value, der::kSequence);
    const auto digest = platform::ParseAlgorithm(cursor.Expect(der::kSequence).whole);
    const der::Item signature = cursor.Expect(der::ContextConstructed(1));
    const auto algorithm =
        platform::ParseAlgorithm(der::Element(der::kSequence, signature.contents));
    cursor.ExpectEnd();
    if (!SameAlgorithm(digest, signer.digest) ||
        !SameAlgorithm(algorithm, signer.signatureAlgorithm)) {
        findings.Add(Reason::AttributeWrong, IdentifierName(kProtectionOid));
    }
}

// The claim counts for nothing, but a damaged one was not made by an honest signer.
void CheckTime(const platform::SignerInfo& signer, Findings& findings) {
    const bool claimed = ValueOf(signer, szOID_RSA_signingTime).has_value();
    if (claimed && !SigningTimeOf(signer)) {
        findings.Add(Reason::AttributeWrong, IdentifierName(szOID_RSA_signingTime));
    }
}

// False when nothing can be said of the signature.
bool CheckContent(const Record& record, const platform::SignerInfo& signer, Findings& findings) {
    if (!record.signedBody->ContentComplete()) {
        findings.Add(Reason::NoContent);
        return false;
    }
    Bytes digest;
    try {
        digest = record.signedBody->ContentDigest(signer.digest.oid);
    } catch (const Error&) {
        findings.Add(Reason::AlgorithmUnknown, signer.digest.oid);
        return false;
    }
    if (signer.signedAttributes) {
        CheckSigned(record, signer, digest, findings);
    } else if (record.contentType != szOID_RSA_data) {
        findings.Add(Reason::AttributeWrong, "content type");  // RFC 5652 5.3
    }
    return true;
}

// Everything that needs no certificate.
bool CheckForm(const Record& record, const platform::SignerInfo& signer, Findings& findings) {
    try {
        const std::string twice = RepeatedAttribute(signer);
        if (!twice.empty()) findings.Add(Reason::AttributeTwice, twice);
        CheckUnsigned(signer, findings);
        if (signer.signedAttributes) {
            CheckProtection(signer, findings);
            CheckTime(signer, findings);
        }
        return CheckContent(record, signer, findings);
    } catch (const Error&) {
        findings.Add(Reason::AttributeWrong);
        return false;
    }
}

// ---- candidates --------------------------------------------------------------------

// More of one name are nobody's honest message; each costs the check of a signature.
constexpr std::size_t kMostCandidates = 32;
// Nanoseconds to compare the names of one.
constexpr std::uint64_t kForName = 200;

void AddFitting(const platform::KeyHolder& holder, const std::vector<Candidate>& from,
                std::vector<Candidate>& candidates) {
    const auto record = platform::HolderRecord(holder);
    const CERT_INFO& names = *reinterpret_cast<const CERT_INFO*>(record.get());
    for (const Candidate& one : from) {
        if (candidates.size() >= kMostCandidates) return;
        const auto same = [&](const Candidate& other) {
            return platform::Equal(other->Der(), one->Der());
        };
        const bool fits = platform::SameCertificate(names, one->Info());
        if (fits && std::ranges::none_of(candidates, same)) candidates.push_back(one);
    }
}

enum class KeyFit { Made, Wrong, Unknown, Ambiguous };

// Throws unless the key of that certificate made the signature.
using CheckKey = std::function<void(const CERT_INFO& info)>;

KeyFit TryKey(const CheckKey& check, const Candidate& one) {
    try {
        check(one->Info());
        return KeyFit::Made;
    } catch (const Error& error) {
        if (IsCode(error, NTE_BAD_ALGID)) return KeyFit::Unknown;
        return IsCode(error, CRYPT_E_AUTH_ATTR_MISSING) ? KeyFit::Ambiguous : KeyFit::Wrong;
    }
}

// The serial number in a mark narrows the hash, never the other way round.
bool Marks(const CertificateMark& mark, const Candidate& one) {
    if (!platform::Equal(platform::DigestOf(mark.digestOid, one->Der()), mark.digest)) return false;
    if (mark.serial.empty()) return true;
    const auto own = platform::ViewOf(one->Info().SerialNumber);
    return std::equal(mark.serial.begin(), mark.serial.end(), own.rbegin(), own.rend());
}

bool MarkedBy(const std::vector<CertificateMark>& marks, const Candidate& one) {
    return std::ranges::all_of(marks, [&](const auto& mark) { return Marks(mark, one); });
}

// How one candidate answers, the best first.
struct Trial {
    Candidate candidate;
    KeyFit key = KeyFit::Wrong;
    bool marked = false;
    [[nodiscard]] int Rank() const { return 2 * (key == KeyFit::Made ? 1 : 0) + (marked ? 1 : 0); }
};

class Search {
  public:
    Search(const platform::SignerInfo& signer, const Means& means, CheckKey check)
        : signer_(signer), means_(means), check_(std::move(check)) {}

    void Run(const Surroundings& around, Identity& identity);

  private:
    void Try(const std::vector<Candidate>& from);
    void Conclude(Identity& identity) const;
    // For what it takes to try a candidate.
    [[nodiscard]] bool Pay(const platform::Certificate& one) {
        const std::size_t hashed = one.Der().size() * marks_.size();
        return means_.work.SpendSignature(one.Info().SubjectPublicKeyInfo, hashed);
    }
    [[nodiscard]] bool Decided() const { return found_.candidate && found_.Rank() == 3; }

    const platform::SignerInfo& signer_;
    const Means& means_;
    CheckKey check_;
    std::vector<CertificateMark> marks_;
    std::vector<Candidate> candidates_;
    std::size_t tried_ = 0;
    Trial found_;
};

void Search::Try(const std::vector<Candidate>& from) {
    if (!means_.work.Spend(kForName * from.size())) return;
    AddFitting(signer_.signer, from, candidates_);
    for (; tried_ < candidates_.size(); ++tried_) {
        const Candidate& one = candidates_[tried_];
        if (!found_.candidate) found_.candidate = one;
        if (!Pay(*one)) return;
        const Trial trial{one, TryKey(check_, one), MarkedBy(marks_, one)};
        if (tried_ == 0 || trial.Rank() > found_.Rank()) found_ = trial;
    }
}

void Search::Run(const Surroundings& around, Identity& identity) {
    try {
        marks_ = MarksOf(signer_);
        Try(around.Certificates());
        if (!Decided()) Try(means_.known.All());
    } catch (const Error& error) {
        const bool unknown = IsCode(error, NTE_BAD_ALGID);
        identity.findings.Add(unknown ? Reason::AlgorithmUnknown : Reason::AttributeWrong,
                              "signing certificate");
    }
    Conclude(identity);
}

void Search::Conclude(Identity& identity) const {
    identity.candidates = candidates_.size();
    identity.certificate = found_.candidate;
    if (means_.work.Exhausted() && !Decided()) {
        return identity.findings.Add(Reason::TooManyCandidates);
    }
    if (!found_.candidate) return identity.findings.Add(Reason::CertificateMissing);
    // Where another certificate can be made to fit the hash, nothing was compared.
    const auto proves = [](const CertificateMark& mark) {
        return !WeaknessOfDigest(mark.digestOid, 0);
    };
    identity.comparedWhole = found_.marked && std::ranges::any_of(marks_, proves);
    if (!found_.marked) identity.findings.Add(Reason::CertificateDiffers);
    switch (found_.key) {
        case KeyFit::Made:
            return;
        case KeyFit::Unknown:
            return identity.findings.Add(Reason::AlgorithmUnknown, signer_.signatureAlgorithm.oid);
        case KeyFit::Ambiguous:
            return identity.findings.Add(Reason::ContentAmbiguous);
        case KeyFit::Wrong:
            if (candidates_.size() >= kMostCandidates) {
                return identity.findings.Add(Reason::TooManyCandidates);
            }
            // Where the content or an attribute is at fault, no key would fit.
            if (identity.findings.WorstOf(Check::Signature) == Verdict::Bad) return;
            return identity.findings.Add(Reason::SignatureWrong);
    }
}

}  // namespace

const std::vector<std::shared_ptr<platform::Certificate>>& KnownCertificates::All() {
    if (all_) return *all_;
    all_.emplace();
    for (const platform::Side side : {platform::Side::User, platform::Side::Machine}) {
        for (const std::string& name : platform::SystemStoreNames(side)) {
            const auto store = OpenSystemStore(side, name, platform::OpenMode::Existing);
            for (const auto& one : store->Certificates()) all_->push_back(one);
        }
    }
    return *all_;
}

Identity Identify(const Record& record, std::size_t index, const Surroundings& around,
                  const Means& means) {
    Identity identity;
    const bool verifiable = CheckForm(record, record.Signers()[index], identity.findings);
    const auto check = [&](const CERT_INFO& info) {
        record.signedBody->VerifyWith(record.Signers()[index], info);
    };
    Search(record.Signers()[index], means, check).Run(around, identity);
    if (!verifiable) {
        // Without content, or with one that nobody can digest, no key was tried.
        Findings own;
        for (const Finding& finding : identity.findings.All()) {
            if (finding.reason != Reason::SignatureWrong) own.Add(finding.reason, finding.detail);
        }
        identity.findings = std::move(own);
    }
    return identity;
}

Identity IdentifyCountersigner(const platform::SignerInfo& signer, platform::ByteView covered,
                               const Surroundings& around, const Means& means) {
    const auto check = [&](const CERT_INFO& info) {
        const auto key = platform::PublicKeyFromInfo(info.SubjectPublicKeyInfo);
        platform::VerifyCountersigner(signer, covered, key);
    };
    Identity identity;
    Search(signer, means, check).Run(around, identity);
    return identity;
}

void JudgeFitness(const platform::Path& path, Findings& findings) {
    const auto unfit = [&](const platform::Link& link) {
        findings.Add(Reason::NotForSigning, NameText(link.certificate->Info().Subject));
    };
    const platform::Link& end = path.links.front();
    if (!MaySign(*end.certificate) || HasOtherUsesAlone(*end.certificate)) unfit(end);
    for (const platform::Link& link : Between(path)) {
        if (HasOtherUsesAlone(*link.certificate)) unfit(link);
    }
}

}  // namespace kestrelctl::message
