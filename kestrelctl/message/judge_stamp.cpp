// Time stamps, each whole: imprint, signature, service, chain.
#include "kestrelctl/message/attributes.h"
#include "kestrelctl/message/judge.h"
#include "kestrelctl/message/reader.h"
#include "kestrelctl/message/strength.h"
#include "platform/base/error.h"

namespace kestrelctl::message {
namespace {

using platform::Bytes;
using platform::Error;

// Clocks differ; no service is that much ahead.
constexpr platform::Ticks kMostAhead = 300 * platform::kTicksPerSecond;

void CheckImprint(const StampFacts& facts, const ContentDigest& digest, Findings& findings) {
    try {
        const auto own = digest(facts.imprintAlgorithm.oid);
        if (!own) return findings.Add(Reason::NoContent);
        if (!platform::Equal(*own, facts.imprint)) findings.Add(Reason::StampImprint);
    } catch (const Error& error) {
        if (error.Code() != static_cast<DWORD>(NTE_BAD_ALGID)) throw;
        findings.Add(Reason::StampAlgorithm, facts.imprintAlgorithm.oid);
    }
}

// Each costs the checks of a signature and two chains.
constexpr std::size_t kMostStamps = 100;

// What a signer's faults are to those who rely on a stamp.
Reason StampReasonOf(const Finding& finding) {
    switch (finding.reason) {
        case Reason::CertificateDiffers:
            return Reason::StampCertificate;
        case Reason::CertificateMissing:
        case Reason::TooManyCandidates:
            return Reason::StampUntrusted;
        case Reason::AlgorithmUnknown:
            return Reason::StampAlgorithm;
        default:
            return Reason::StampSignature;
    }
}

void AddWeakness(const std::optional<Detail>& why, Findings& findings) {
    if (why) findings.Add(Reason::StampWeak, *why);
}

bool IsToken(const Record& token) {
    return token.contentType == kTstInfoOid && token.hasContent && token.Signers().size() == 1 &&
           token.tokenContent.size() == token.contentSize;
}

// The message is at fault here, and its faults have codes of their own kind.
template <class Work>
void OrMalformed(StampVerdict& stamp, const Work& work) {
    try {
        work();
    } catch (const Error& error) {
        const bool ofContent = (error.Code() >> 16) == 0x8009;
        if (!ofContent) throw;
        stamp.findings.Add(Reason::StampMalformed);
    }
}

}  // namespace

// RFC 3161 2.4.1: the attribute names the service's certificate. Without it a stranger's
// certificate over the same key could take its place.
void Judge::JudgeService(const Record& token, const Surroundings& around, StampVerdict& stamp) {
    const platform::SignerInfo& signer = token.Signers()[0];
    const Identity identity = Identify(token, 0, around, {known_, allowance_.work});
    for (const Finding& finding : identity.findings.All()) {
        stamp.findings.Add(StampReasonOf(finding), finding.detail);
    }
    stamp.service = identity.certificate;
    const bool told =
        stamp.findings.Has(Reason::StampCertificate) || stamp.findings.Has(Reason::StampUntrusted);
    if (identity.certificate && !identity.comparedWhole && !told) {
        stamp.findings.Add(Reason::StampCertificate);
    }
    AddWeakness(WeaknessOfSignature(signer.digest, signer.signatureAlgorithm, settings_.today),
                stamp.findings);
    AddWeakness(WeaknessOfDigest(stamp.facts->imprintAlgorithm.oid, settings_.today),
                stamp.findings);
    if (!stamp.service) return;
    const KeyFacts key = KeyOf(stamp.service->Info().SubjectPublicKeyInfo);
    AddWeakness(WeaknessOfKey(key, settings_.today), stamp.findings);
    JudgeServiceAt(around, stamp);
}

// The chain holds at the stamp's time. A service that was revoked later counts as revoked all
// the same: its key may have been anybody's, and nobody else tells when the stamp was made. So
// somebody has to tell that it is not.
void Judge::JudgeServiceAt(const Surroundings& around, StampVerdict& stamp) {
    try {
        const ChainFacts* chain = chains_.Of(stamp.service, stamp.facts->time, around, allowance_);
        if (chain == nullptr) return stamp.findings.Add(Reason::StampUntrusted, kTooMuchWork);
        stamp.chain = *chain;
        stamp.findings.Add(JudgeServiceChain(*stamp.chain));
        AddWeakIssues(*stamp.chain, settings_.today, Reason::StampWeak, stamp.findings);
        if (stamp.findings.Has(Reason::StampRevoked)) return;
        const ChainFacts* today = chains_.Of(stamp.service, settings_.today, around, allowance_);
        if (today == nullptr) return stamp.findings.Add(Reason::StampUntrusted, kTooMuchWork);
        const DWORD bits = today->path.Error();
        if ((bits & CERT_TRUST_IS_REVOKED) != 0) {
            stamp.findings.Add(Reason::StampRevoked);
        } else if ((bits & CERT_TRUST_REVOCATION_STATUS_UNKNOWN) != 0 &&
                   !stamp.findings.Has(Reason::StampRevocationUnknown)) {
            stamp.findings.Add(Reason::StampRevocationUnknown, Detail("now", "сейчас"));
        }
    } catch (const Error& error) {
        if (error.Code() != static_cast<DWORD>(NTE_BAD_ALGID)) throw;
        stamp.findings.Add(Reason::StampAlgorithm, error.Detail());
    }
}

void Judge::JudgeTokenRecord(const Record& token, const Surroundings* around,
                             const ContentDigest& digest, StampVerdict& stamp) {
    if (!IsToken(token)) return stamp.findings.Add(Reason::StampMalformed);
    try {
        stamp.facts = ReadTstInfo(token.tokenContent);
    } catch (const Error&) {
        return stamp.findings.Add(Reason::StampMalformed);
    }
    // RFC 3161 2.4.2: none is known, so that each critical one is refused.
    if (stamp.facts->criticalExtension) {
        stamp.findings.Add(Reason::StampMalformed, Detail("extension", "расширение"));
    }
    CheckImprint(*stamp.facts, digest, stamp.findings);
    if (stamp.facts->time > settings_.today + kMostAhead) {
        stamp.findings.Add(Reason::StampFuture);
    }
    Surroundings all(token);
    if (around != nullptr) all.Add(*around);
    JudgeService(token, all, stamp);
}

StampVerdict Judge::JudgeStamp(const StampPlace& place, const Surroundings& around,
                               const ContentDigest& digest) {
    StampVerdict stamp;
    stamp.of = place.of;
    if (place.misplaced) {
        const bool ofContent = place.of == StampOf::Content;
        stamp.findings.Add(Reason::AttributeWrong,
                           IdentifierName(ofContent ? kContentStampOid : kSignatureStampOid));
    }
    OrMalformed(stamp, [&] {
        const Record token = ReadMessageOctets(place.token);
        JudgeTokenRecord(token, &around, digest, stamp);
    });
    return stamp;
}

StampVerdict Judge::JudgeToken(const Record& token, const ContentDigest& digest) {
    StampVerdict stamp;
    stamp.of = StampOf::Token;
    allowance_ = ForOneMessage();
    OrMalformed(stamp, [&] { JudgeTokenRecord(token, nullptr, digest, stamp); });
    return stamp;
}

void Judge::JudgeStamps(const Surroundings& around, const platform::SignerInfo& info,
                        const ContentDigest& digest, SignerVerdict& signer) {
    const ContentDigest signature = [&](const std::string& oid) {
        return std::optional<Bytes>(platform::DigestOf(oid, info.signature));
    };
    const std::vector<StampPlace> places = StampsOf(info);
    if (places.size() > kMostStamps) return signer.findings.Add(Reason::TooManyStamps);
    for (const StampPlace& place : places) {
        const bool ofContent = place.of == StampOf::Content;
        signer.stamps.push_back(JudgeStamp(place, around, ofContent ? digest : signature));
        signer.findings.Add(signer.stamps.back().findings);
    }
}

}  // namespace kestrelctl::message
