// One signer judged, from the signature to the strength of its algorithms.
#include "kestrelctl/message/judge.h"

#include <algorithm>
#include <tuple>

#include "kestrelctl/message/attributes.h"
#include "kestrelctl/message/strength.h"
#include "platform/base/error.h"

namespace kestrelctl::message {
namespace {

using platform::Error;
using platform::Ticks;

// The earliest time that a good stamp over the signature proves: its accuracy may reach beyond
// now, and the signature does not (RFC 3161 2.4.2).
void TakeProvenTime(Ticks today, SignerVerdict& signer) {
    for (const StampVerdict& stamp : signer.stamps) {
        const bool proves =
            stamp.of == StampOf::Signature && stamp.findings.Worst() == Verdict::Good;
        if (!proves) continue;
        const Ticks time = stamp.facts->time;
        const Ticks latest = std::max(time, std::min(stamp.facts->latest, today));
        const bool earlier = signer.timeSource != TimeSource::Stamp ||
                             std::tie(latest, time) < std::tie(signer.latest, signer.time);
        if (earlier) std::tie(signer.time, signer.latest) = std::pair(time, latest);
        signer.timeSource = TimeSource::Stamp;
    }
}

void AddWeak(const std::optional<Detail>& why, Findings& findings) {
    if (why) findings.Add(Reason::WeakAlgorithm, *why);
}

}  // namespace

const char* NameOf(TimeSource source) {
    constexpr const char* kNames[] = {"now", "given", "stamp"};
    return kNames[static_cast<std::size_t>(source)];
}

void Judge::JudgeCertificate(const Surroundings& around, SignerVerdict& signer) {
    const auto& certificate = signer.identity.certificate;
    if (!certificate) return;
    try {
        const ChainFacts* chain = chains_.Of(certificate, signer.latest, around, allowance_);
        if (chain == nullptr) return signer.findings.Add(Reason::ChainIncomplete, kTooMuchWork);
        signer.chain = *chain;
        signer.findings.Add(JudgeChain(*signer.chain));
        AddWeakIssues(*signer.chain, signer.latest, Reason::WeakAlgorithm, signer.findings);
        JudgeFitness(signer.chain->path, signer.findings);
    } catch (const Error& error) {
        const bool unknown = error.Code() == static_cast<DWORD>(NTE_BAD_ALGID);
        const bool damaged = error.Code() == static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);
        if (!unknown && !damaged) throw;
        const Detail detail =
            unknown ? Detail(error.Detail()) : Detail("a damaged certificate", "повреждён");
        signer.findings.Add(Reason::ChainConstraints, detail);
    }
    const KeyFacts key = KeyOf(certificate->Info().SubjectPublicKeyInfo);
    AddWeak(WeaknessOfKey(key, signer.latest), signer.findings);
}

std::vector<SignerVerdict> Judge::JudgeSigners(const Record& record, const ContentDigest& digest) {
    allowance_ = ForOneMessage();
    const Surroundings around(record);
    std::vector<SignerVerdict> signers;
    for (std::size_t i = 0; i < record.Signers().size(); ++i) {
        signers.push_back(JudgeSigner(record, i, around, digest));
    }
    return signers;
}

SignerVerdict Judge::JudgeSigner(const Record& record, std::size_t index,
                                 const Surroundings& around, const ContentDigest& digest) {
    SignerVerdict signer;
    const platform::SignerInfo& info = record.Signers()[index];
    signer.info = {info.signer, info.digest, info.signatureAlgorithm};
    signer.claimedTime = SigningTimeOf(info);
    signer.time = settings_.now;
    signer.latest = settings_.now;
    signer.timeSource = settings_.given ? TimeSource::Given : TimeSource::Now;
    signer.identity = Identify(record, index, around, {known_, allowance_.work});
    signer.findings.Add(signer.identity.findings);
    JudgeStamps(around, info, digest, signer);
    TakeProvenTime(settings_.today, signer);
    JudgeCertificate(around, signer);
    signer.countersignatures = JudgeCountersignatures(info, around, settings_.now,
                                                      {known_, allowance_.work}, signer.findings);
    AddWeak(WeaknessOfSignature(signer.info.digest, signer.info.signatureAlgorithm, signer.latest),
            signer.findings);
    return signer;
}

}  // namespace kestrelctl::message
