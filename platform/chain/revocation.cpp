// The places that know of revocations, and the walk over a path.
#include "platform/chain/revocation.h"

#include <algorithm>
#include <map>

#include "platform/base/error.h"
#include "platform/base/ticks.h"
#include "platform/certs/compare.h"
#include "platform/stores/store.h"

namespace platform {
namespace {

// Four lists of the greatest size, and some more.
constexpr std::uint64_t kForRevocation = 1'000'000'000;

class StoreSource : public RevocationSource {
  public:
    explicit StoreSource(const CertificatePool& pool) : pool_(pool) {}
    Revocation Ask(RevocationQuestion& question) override {
        const Revocation answer =
            Judge(question, Sound(question, pool_.CrlsFor(question.subject), true));
        question.evidence.source = "stores";
        return answer;
    }

  private:
    const CertificatePool& pool_;
};

Revocation AskAll(RevocationQuestion& question, const RevocationSources& sources) {
    for (const auto& source : sources) {
        const Revocation answer = source->Ask(question);
        if (answer != Revocation::Unknown) return answer;
    }
    return Revocation::Unknown;
}

// What is not known has one bit, whatever kept it from being known (chain-2).
DWORD BitsOf(Revocation answer) {
    switch (answer) {
        case Revocation::Good:
            return 0;
        case Revocation::Revoked:
            return CERT_TRUST_IS_REVOKED;
        case Revocation::Unknown:
            break;
    }
    return CERT_TRUST_REVOCATION_STATUS_UNKNOWN;
}

// How many certificates from the end certificate on are asked about.
std::size_t CountToCheck(const Path& path, DWORD flags) {
    const std::size_t all = path.links.size();
    if ((flags & CERT_CHAIN_REVOCATION_CHECK_CHAIN) != 0) return all;
    if ((flags & CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT) != 0) {
        const bool endsInRoot = path.trusted || path.links.back().selfSigned;
        return endsInRoot ? all - 1 : all;
    }
    return (flags & CERT_CHAIN_REVOCATION_CHECK_END_CERT) != 0 ? 1 : 0;
}

// Null when the path does not hold it.
const Certificate* IssuerIn(const Path& path, std::size_t index) {
    if (index + 1 < path.links.size()) return path.links[index + 1].certificate.get();
    return path.links[index].selfSigned ? path.links[index].certificate.get() : nullptr;
}

// For the question about a signer of CRLs itself, where the way must end.
class NoOthers : public OtherSigners {
  public:
    std::vector<std::shared_ptr<Certificate>> Of(const CERT_NAME_BLOB&) override { return {}; }
    bool Trusted(const std::shared_ptr<Certificate>&) override { return false; }
};

// RFC 5280 6.3.3 (f).
class SignersUnder : public OtherSigners {
  public:
    SignersUnder(const Path& path, const FILETIME& time, const CertificatePool& pool,
                 const RevocationSources& sources, Budget& budget)
        : path_(path), pool_(pool), sources_(sources), budget_(budget) {
        request_.time = time;
    }

    CertificatePool::Certificates Of(const CERT_NAME_BLOB& name) override {
        if (!path_.trusted) return {};
        const auto [place, added] = named_.try_emplace(Copy(ViewOf(name)));
        if (added) place->second = pool_.Named(name);
        return place->second;
    }

    bool Trusted(const std::shared_ptr<Certificate>& signer) override {
        const auto [place, added] = known_.try_emplace(signer.get(), false);
        if (added) place->second = Examine(signer);
        return place->second;
    }

  private:
    bool Examine(const std::shared_ptr<Certificate>& signer) {
        try {
            const Path own = FindPath(signer, pool_, request_, budget_);
            return own.trusted && own.Error() == 0 && !Revoked(own) &&
                   Equal(own.links.back().certificate->Der(),
                         path_.links.back().certificate->Der());
        } catch (const Error&) {
            return false;  // it cannot be read, or its own signature cannot be checked
        }
    }

    bool Revoked(const Path& own) {
        const FILETIME now = FileTimeOf(CurrentTicks());
        NoOthers none;
        for (std::size_t i = 0; i + 1 < own.links.size(); ++i) {
            RevocationQuestion question{*own.links[i].certificate,
                                        *own.links[i + 1].certificate,
                                        request_.time,
                                        now,
                                        none,
                                        budget_};
            if (AskAll(question, sources_) == Revocation::Revoked) return true;
        }
        return false;
    }

    const Path& path_;
    const CertificatePool& pool_;
    const RevocationSources& sources_;
    Budget& budget_;
    ChainRequest request_;
    std::map<Bytes, CertificatePool::Certificates> named_;
    std::map<const Certificate*, bool> known_;
};

}  // namespace

std::unique_ptr<RevocationSource> StoreCrls(const CertificatePool& pool) {
    return std::make_unique<StoreSource>(pool);
}

void CheckRevocation(Path& path, DWORD flags, const FILETIME& time, const CertificatePool& pool,
                     const RevocationSources& sources, Budget* whole) {
    const FILETIME now = FileTimeOf(CurrentTicks());
    const std::size_t count = CountToCheck(path, flags);
    Budget budget(kForRevocation, whole);
    SignersUnder others(path, time, pool, sources, budget);
    for (std::size_t index = 0; index < count; ++index) {
        Link& link = path.links[index];
        if ((link.error & CERT_TRUST_IS_NOT_SIGNATURE_VALID) != 0) continue;
        if (const Certificate* issuer = IssuerIn(path, index)) {
            RevocationQuestion question{*link.certificate, *issuer, time, now, others, budget};
            link.revocation = AskAll(question, sources);
            if (link.revocation != Revocation::Unknown) link.evidence = question.evidence;
        }
        link.error |= BitsOf(link.revocation);
    }
}

}  // namespace platform
