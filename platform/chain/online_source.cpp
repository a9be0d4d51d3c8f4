// Answers from the network, kept ones first.
#include "platform/chain/online_source.h"

#include <algorithm>

#include "platform/base/error.h"
#include "platform/base/ticks.h"
#include "platform/certs/compare.h"
#include "platform/certs/signature.h"
#include "platform/chain/addresses.h"
#include "platform/chain/ocsp.h"
#include "platform/providers/algorithms.h"

namespace platform {
namespace {

using Crls = std::vector<std::shared_ptr<Crl>>;

constexpr std::size_t kMostInBundle = 100;

// Empty when it is none.
CertificateBundle BundleIn(ByteView body) {
    try {
        return ReadBundle(body);
    } catch (const Error&) {
        return {};
    }
}

Ticks EarliestUpdate(const Crls& crls) {
    Ticks earliest = 0;
    for (const auto& crl : crls) {
        const Ticks next = TicksOf(crl->Info().NextUpdate);
        if (next != 0 && (earliest == 0 || next < earliest)) earliest = next;
    }
    return earliest;
}

class OnlineSource : public RevocationSource {
  public:
    OnlineSource(Retriever& retriever, const CertificatePool& pool)
        : retriever_(retriever), pool_(pool) {}

    Revocation Ask(RevocationQuestion& question) override {
        if (Equal(question.subject.Der(), question.issuer.Der())) return Revocation::Unknown;
        // What is kept decides, though the authority may say something else by now (chain-5).
        for (const bool fetch : {false, true}) {
            fetch_ = fetch;
            Revocation answer = AskResponders(question);
            if (answer == Revocation::Unknown) answer = AskPoints(question);
            if (answer != Revocation::Unknown) return answer;
        }
        return Revocation::Unknown;
    }

  private:
    // ---- OCSP ----

    Revocation AskResponders(RevocationQuestion& question) {
        for (const std::string& address : ResponderAddresses(question.subject)) {
            // Many responders know SHA-1 alone, some no longer.
            for (const char* digest : {oid::kSha1, oid::kSha256}) {
                const Inquiry inquiry{AnswerKind::Ocsp, address,
                                      OcspRequest(digest, question.subject, question.issuer)};
                const OcspFinding finding = FindingAt(inquiry, question);
                if (finding.verdict != Revocation::Unknown) {
                    return Told(finding.verdict, inquiry, question);
                }
                if (!finding.fault.empty() && !finding.refused) {
                    RefuseForms(address, question, finding.fault);
                }
            }
        }
        return Revocation::Unknown;
    }

    // The digest was not what was wrong with the answer.
    void RefuseForms(const std::string& address, const RevocationQuestion& question,
                     const std::string& why) {
        for (const char* digest : {oid::kSha1, oid::kSha256}) {
            retriever_.Refuse(
                {AnswerKind::Ocsp, address, OcspRequest(digest, question.subject, question.issuer)},
                why);
        }
    }

    OcspFinding FindingAt(const Inquiry& inquiry, RevocationQuestion& question) {
        if (const auto kept = retriever_.Kept(inquiry)) {
            return kept->failed ? OcspFinding() : JudgedKept(kept->body, question);
        }
        if (!fetch_) return {};
        auto body = retriever_.Fetch(inquiry);
        if (!body) return {};
        OcspFinding finding = Judged(*body, question);
        if (finding.verdict != Revocation::Unknown) {
            retriever_.Keep(inquiry, std::move(*body), TicksOf(finding.nextUpdate));
        } else if (finding.refused) {
            retriever_.Refuse(inquiry, finding.fault);
        }
        return finding;
    }

    // One that counted when it was kept and no longer does is absent.
    OcspFinding JudgedKept(ByteView body, RevocationQuestion& question) {
        OcspFinding finding = Judged(body, question);
        finding.fault.clear();
        return finding;
    }

    OcspFinding Judged(ByteView body, RevocationQuestion& question) {
        return JudgeOcsp(body, question, pool_.CrlsFor(question.subject));
    }

    // ---- lists ----

    Revocation AskPoints(RevocationQuestion& question) {
        for (const std::string& address : ListAddresses(question.subject)) {
            const Inquiry inquiry{AnswerKind::Crl, address, {}};
            Crls lists = ListsAt(inquiry, question);
            if (lists.empty() || !AddDeltas(lists, question)) continue;
            const Revocation answer = Judge(question, lists);
            if (answer != Revocation::Unknown) return Told(answer, inquiry, question);
        }
        return Revocation::Unknown;
    }

    // False when one is to be fetched, and this is not the time to.
    bool AddDeltas(Crls& lists, const RevocationQuestion& question) {
        std::vector<std::string> addresses = DeltaAddresses(question.subject);
        for (const auto& crl : lists) {
            const auto more = DeltaAddresses(*crl);
            addresses.insert(addresses.end(), more.begin(), more.end());
        }
        for (const std::string& address : addresses) {
            const Inquiry inquiry{AnswerKind::Crl, address, {}};
            if (!fetch_ && !retriever_.Kept(inquiry) && retriever_.MayFetch(inquiry)) return false;
            const Crls deltas = ListsAt(inquiry, question);
            lists.insert(lists.end(), deltas.begin(), deltas.end());
        }
        return true;
    }

    Crls ListsAt(const Inquiry& inquiry, const RevocationQuestion& question) {
        if (const auto kept = retriever_.Kept(inquiry)) {
            return kept->failed ? Crls() : BundleIn(kept->body).crls;
        }
        if (!fetch_) return {};
        auto body = retriever_.Fetch(inquiry);
        if (!body) return {};
        Crls crls = BundleIn(*body).crls;
        if (crls.size() > kMostInBundle) crls.clear();
        std::erase_if(crls, [&](const auto& crl) { return !IsSound(question, *crl); });
        if (crls.empty()) {
            retriever_.Refuse(inquiry, "no list in force that the issuer signed");
        } else {
            retriever_.Keep(inquiry, std::move(*body), EarliestUpdate(crls));
        }
        return crls;
    }

    Revocation Told(Revocation answer, const Inquiry& inquiry, RevocationQuestion& question) {
        question.evidence.source = std::string(fetch_ ? "" : "cache: ") +
                                   (inquiry.kind == AnswerKind::Ocsp ? "OCSP " : "CRL ") +
                                   inquiry.address;
        return answer;
    }

    Retriever& retriever_;
    const CertificatePool& pool_;
    bool fetch_ = false;
};

std::vector<std::shared_ptr<Certificate>> IssuersIn(ByteView body, const Certificate& subject) {
    auto certificates = BundleIn(body).certificates;
    if (certificates.size() > kMostInBundle) return {};
    const bool issued =
        std::any_of(certificates.begin(), certificates.end(), [&](const auto& issuer) {
            try {
                return HasIssued(*issuer, subject);
            } catch (const Error&) {
                return false;  // OpenSSL cannot read it
            }
        });
    if (!issued) certificates.clear();
    return certificates;
}

}  // namespace

std::unique_ptr<RevocationSource> OnlineAnswers(Retriever& retriever, const CertificatePool& pool) {
    return std::make_unique<OnlineSource>(retriever, pool);
}

std::vector<std::shared_ptr<Certificate>> FetchIssuers(Retriever& retriever,
                                                       const Certificate& subject) {
    for (const std::string& address : IssuerAddresses(subject)) {
        const Inquiry inquiry{AnswerKind::Certificates, address, {}};
        if (const auto kept = retriever.Kept(inquiry)) {
            auto issuers = kept->failed ? std::vector<std::shared_ptr<Certificate>>()
                                        : IssuersIn(kept->body, subject);
            if (!issuers.empty()) return issuers;
            continue;
        }
        auto body = retriever.Fetch(inquiry);
        if (!body) continue;
        auto issuers = IssuersIn(*body, subject);
        if (issuers.empty()) {
            retriever.Refuse(inquiry, "no certificate of the issuer");
            continue;
        }
        retriever.Keep(inquiry, std::move(*body), 0);
        return issuers;
    }
    return {};
}

}  // namespace platform
