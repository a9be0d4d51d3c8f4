// What strangers say of a certificate's revocation: the issuer, the subject, and an OCSP answer
// or a CRL, one behind the other.
#include <memory>
#include <vector>

#include "fuzz/support.h"
#include "platform/base/error.h"
#include "platform/base/ticks.h"
#include "platform/chain/crl_judge.h"
#include "platform/chain/ocsp.h"
#include "platform/der/der.h"

namespace {

using namespace platform;

class Nobody : public OtherSigners {
  public:
    std::vector<std::shared_ptr<Certificate>> Of(const CERT_NAME_BLOB& /*name*/) override {
        return {};
    }
    bool Trusted(const std::shared_ptr<Certificate>& /*signer*/) override { return false; }
};

const Ticks kNow = CurrentTicks();

// A verdict tells since when it holds, and that lies behind us.
void DemandEvidence(Revocation verdict, const Evidence& evidence) {
    if (verdict == Revocation::Unknown) return;
    const Ticks since = TicksOf(evidence.thisUpdate);
    Demand(since != 0 && since <= kNow + kTicksPerSecond * 600, "a verdict rests on an answer");
}

void JudgeAnswer(ByteView answer, RevocationQuestion question) {
    const auto never = [](RevocationQuestion&) { return false; };
    const OcspFinding finding = JudgeOcsp(answer, question, never);
    DemandEvidence(finding.verdict, question.evidence);
    Demand(finding.verdict != Revocation::Unknown || !finding.fault.empty(),
           "no verdict has a reason");
    Bytes longer(answer.begin(), answer.end());
    longer.push_back(0);
    Demand(JudgeOcsp(longer, question, never).verdict == Revocation::Unknown,
           "nothing may follow an answer");
}

void JudgeList(ByteView list, RevocationQuestion question) {
    const SoundLists lists = Sound(question, {Crl::Parse(list)}, false);
    const Revocation verdict = Judge(question, lists);
    DemandEvidence(verdict, question.evidence);
    Demand(verdict == Revocation::Unknown || !lists.empty(), "a verdict rests on a sound list");
}

void JudgeAll(ByteView input) {
    der::Cursor parts(input);
    const ByteView first = parts.Next().whole;
    const ByteView second = parts.Next().whole;
    const ByteView answer = input.subspan(first.size() + second.size());
    const auto issuer = Certificate::Parse(first);
    const auto subject = Certificate::Parse(second);
    Nobody others;
    Budget budget;
    const FILETIME now = FileTimeOf(kNow);
    const RevocationQuestion question{*subject, *issuer, now, now, others, budget};
    for (const char* digest : {"1.3.14.3.2.26", "2.16.840.1.101.3.4.2.1"}) {
        (void)OcspRequest(digest, *subject, *issuer);
    }
    JudgeAnswer(answer, question);
    JudgeList(answer, question);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        JudgeAll({data, size});
    } catch (const Error&) {
    }
    return 0;
}
