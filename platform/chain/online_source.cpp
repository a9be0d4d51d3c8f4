// Answers from the network, kept ones first.
#include "platform/chain/online_source.h"

#include <openssl/x509.h>

#include <algorithm>
#include <map>
#include <utility>

#include "platform/base/error.h"
#include "platform/base/ticks.h"
#include "platform/certs/compare.h"
#include "platform/certs/signature.h"
#include "platform/chain/addresses.h"
#include "platform/chain/ocsp.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

constexpr std::size_t kMostInBundle = 100;
constexpr const char* kNobodys = "no list in force that the issuer signed";

// Empty when it is none.
CertificateBundle BundleIn(ByteView body) {
    try {
        return ReadBundle(body);
    } catch (const Error&) {
        return {};
    }
}

Ticks EarliestUpdate(const SoundLists& lists) {
    Ticks earliest = 0;
    for (const SoundList& list : lists) {
        const Ticks next = TicksOf(list.crl->Head().NextUpdate);
        if (next != 0 && (earliest == 0 || next < earliest)) earliest = next;
    }
    return earliest;
}

// Of the lists that `question` needs, at one address.
Inquiry ListInquiry(const std::string& address, const RevocationQuestion& question) {
    X509* issuer = question.issuer.Native();
    Bytes whose = Copy(ViewOf(question.issuer.Info().Subject));
    const Bytes key = EncodeWhole<X509_PUBKEY>(&i2d_X509_PUBKEY, X509_get_X509_PUBKEY(issuer));
    whose.insert(whose.end(), key.begin(), key.end());
    return {AnswerKind::Crl, address, {}, std::move(whose)};
}

// For one question. What it finds may lead to another one, about who signed a list or an answer:
// that is a search of its own.
class OnlineSearch {
  public:
    OnlineSearch(Retriever& retriever, const CertificatePool& pool)
        : retriever_(retriever), pool_(pool) {}

    Revocation Ask(RevocationQuestion& question) {
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
                const Inquiry inquiry = ResponderInquiry(address, digest, question);
                const OcspFinding finding = FindingAt(inquiry, question);
                if (finding.verdict != Revocation::Unknown) {
                    question.evidence.source = SourceText("OCSP ", address, !fetch_);
                    return finding.verdict;
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
            retriever_.Refuse(ResponderInquiry(address, digest, question), why);
        }
    }

    static Inquiry ResponderInquiry(const std::string& address, const char* digest,
                                    const RevocationQuestion& question) {
        return {
            AnswerKind::Ocsp, address, OcspRequest(digest, question.subject, question.issuer), {}};
    }

    OcspFinding FindingAt(const Inquiry& inquiry, RevocationQuestion& question) {
        if (const auto kept = retriever_.Kept(inquiry)) {
            return kept->failed ? OcspFinding() : JudgedKept(kept->body, question);
        }
        if (!fetch_) return {};
        auto body = retriever_.Fetch(inquiry);
        if (!body) return {};
        OcspFinding finding = Judged(*body, question);
        // Then the fault is not the responder's.
        if (question.budget.Exhausted()) finding.fault.clear();
        if (finding.verdict != Revocation::Unknown) {
            retriever_.Keep(inquiry, std::move(*body), finding.until);
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
        return JudgeOcsp(body, question, [this](RevocationQuestion& own) {
            const auto stored = pool_.CrlsFor(own.subject);
            if (Judge(own, Sound(own, stored, true)) == Revocation::Revoked) return true;
            if (IsNeverRevoked(own.subject)) return false;
            // By lists alone: a responder would have a delegate of its own.
            OnlineSearch lists(retriever_, pool_);
            lists.fetch_ = fetch_;
            return lists.AskPoints(own) == Revocation::Revoked;
        });
    }

    // ---- lists ----

    Revocation AskPoints(RevocationQuestion& question) {
        for (const std::string& address : ListAddresses(question.subject)) {
            SoundLists lists = ListsAt(address, question);
            if (lists.empty() || !AddDeltas(lists, question)) continue;
            const Revocation answer = Judge(question, lists);
            if (answer != Revocation::Unknown) return answer;
        }
        return Revocation::Unknown;
    }

    // False when one is to be fetched, and this is not the time to.
    bool AddDeltas(SoundLists& lists, const RevocationQuestion& question) {
        std::vector<std::string> addresses = DeltaAddresses(question.subject);
        for (const SoundList& list : lists) {
            const auto more = DeltaAddresses(*list.crl);
            addresses.insert(addresses.end(), more.begin(), more.end());
        }
        for (const std::string& address : addresses) {
            const Inquiry inquiry = ListInquiry(address, question);
            if (!fetch_ && !retriever_.Kept(inquiry) && retriever_.MayFetch(inquiry)) return false;
            const SoundLists deltas = ListsAt(address, question);
            lists.insert(lists.end(), deltas.begin(), deltas.end());
        }
        return true;
    }

    // Each is read and checked once: it may be long.
    SoundLists ListsAt(const std::string& address, const RevocationQuestion& question) {
        const auto seen = seen_.find(address);
        if (seen != seen_.end()) return seen->second;
        const Inquiry inquiry = ListInquiry(address, question);
        SoundLists lists = KeptLists(inquiry, question);
        if (lists.empty() && fetch_) lists = FetchedLists(inquiry, question);
        if (!lists.empty() || fetch_) seen_[address] = lists;
        return lists;
    }

    SoundLists KeptLists(const Inquiry& inquiry, const RevocationQuestion& question) {
        const auto kept = retriever_.Kept(inquiry);
        return kept && !kept->failed ? SoundIn(BundleIn(kept->body).crls, inquiry, question, true)
                                     : SoundLists();
    }

    SoundLists FetchedLists(const Inquiry& inquiry, const RevocationQuestion& question) {
        const auto kept = retriever_.Kept(inquiry);
        if ((kept && kept->failed) || question.budget.Exhausted()) return {};
        auto body = retriever_.Fetch(inquiry);
        if (!body) return {};
        const auto crls = BundleIn(*body).crls;
        if (crls.empty() || crls.size() > kMostInBundle) {
            retriever_.Fail(inquiry, "no list");
            return {};
        }
        SoundLists lists = SoundIn(crls, inquiry, question, false);
        if (!lists.empty()) {
            retriever_.Keep(inquiry, std::move(*body), EarliestUpdate(lists));
            return lists;
        }
        if (question.budget.Exhausted()) {
            retriever_.PassOn(inquiry, std::move(*body), "too much work");
        } else {
            retriever_.Refuse(inquiry, kNobodys);
            retriever_.PassOn(inquiry, std::move(*body), kNobodys);
        }
        return lists;
    }

    static SoundLists SoundIn(const std::vector<std::shared_ptr<Crl>>& crls, const Inquiry& inquiry,
                              const RevocationQuestion& question, bool kept) {
        SoundLists lists = Sound(question, crls, false);
        for (SoundList& list : lists) list.source = SourceText("CRL ", inquiry.address, kept);
        return lists;
    }

    static std::string SourceText(const char* kind, const std::string& address, bool kept) {
        return (kept ? "cache: " : "") + std::string(kind) + address;
    }

    Retriever& retriever_;
    const CertificatePool& pool_;
    bool fetch_ = false;
    std::map<std::string, SoundLists> seen_;  // by address
};

class OnlineSource : public RevocationSource {
  public:
    OnlineSource(Retriever& retriever, const CertificatePool& pool)
        : retriever_(retriever), pool_(pool) {}

    Revocation Ask(RevocationQuestion& question) override {
        if (Equal(question.subject.Der(), question.issuer.Der())) return Revocation::Unknown;
        return OnlineSearch(retriever_, pool_).Ask(question);
    }

  private:
    Retriever& retriever_;
    const CertificatePool& pool_;
};

bool HoldsIssuer(const std::vector<std::shared_ptr<Certificate>>& certificates,
                 const Certificate& subject) {
    return std::any_of(certificates.begin(), certificates.end(), [&](const auto& issuer) {
        try {
            return HasIssued(*issuer, subject);
        } catch (const Error&) {
            return false;  // OpenSSL cannot read it
        }
    });
}

// Whoever forges a certificate may name any address: that it does not have this issuer says
// nothing of the address.
std::vector<std::shared_ptr<Certificate>> FetchedIssuers(Retriever& retriever,
                                                         const Inquiry& inquiry,
                                                         const Certificate& subject) {
    auto body = retriever.Fetch(inquiry);
    if (!body) return {};
    auto certificates = BundleIn(*body).certificates;
    if (certificates.empty() || certificates.size() > kMostInBundle) {
        retriever.Fail(inquiry, "no certificate");
        return {};
    }
    if (!HoldsIssuer(certificates, subject)) {
        retriever.PassOn(inquiry, std::move(*body), "no certificate of the issuer");
        return {};
    }
    retriever.Keep(inquiry, std::move(*body), 0);
    return certificates;
}

}  // namespace

std::unique_ptr<RevocationSource> OnlineAnswers(Retriever& retriever, const CertificatePool& pool) {
    return std::make_unique<OnlineSource>(retriever, pool);
}

std::vector<std::shared_ptr<Certificate>> FetchIssuers(Retriever& retriever,
                                                       const Certificate& subject) {
    for (const std::string& address : IssuerAddresses(subject)) {
        const Inquiry inquiry{AnswerKind::Certificates, address, {}, {}};
        const auto kept = retriever.Kept(inquiry);
        if (kept && kept->failed) continue;
        if (kept) {
            auto issuers = BundleIn(kept->body).certificates;
            if (HoldsIssuer(issuers, subject)) return issuers;
        }
        auto issuers = FetchedIssuers(retriever, inquiry, subject);
        if (!issuers.empty()) return issuers;
    }
    return {};
}

}  // namespace platform
