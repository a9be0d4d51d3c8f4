// Chains searched, and their bits turned into reasons.
#include "kestrelctl/message/chains.h"

#include <algorithm>

#include "kestrelctl/message/strength.h"
#include "kestrelctl/text_forms.h"
#include "platform/chain/chain.h"
#include "platform/chain/checks.h"
#include "platform/chain/stamp_policy.h"
#include "platform/providers/algorithms.h"

namespace kestrelctl::message {
namespace {

using platform::Ticks;

constexpr std::size_t kMostKnown = 200;
// Nanoseconds to put a certificate or list where a chain is searched.
constexpr std::uint64_t kForItem = 1'000;

constexpr DWORD kConstraintBits =
    CERT_TRUST_IS_NOT_VALID_FOR_USAGE | CERT_TRUST_INVALID_EXTENSION |
    CERT_TRUST_INVALID_POLICY_CONSTRAINTS | CERT_TRUST_INVALID_BASIC_CONSTRAINTS |
    CERT_TRUST_INVALID_NAME_CONSTRAINTS | CERT_TRUST_HAS_NOT_PERMITTED_NAME_CONSTRAINT |
    CERT_TRUST_HAS_EXCLUDED_NAME_CONSTRAINT | CERT_TRUST_HAS_NOT_SUPPORTED_CRITICAL_EXT;

constexpr struct {
    DWORD bits;
    Reason reason;
} kReasons[] = {
    {CERT_TRUST_IS_NOT_SIGNATURE_VALID, Reason::ChainSignature},
    {CERT_TRUST_IS_REVOKED, Reason::Revoked},
    {CERT_TRUST_IS_PARTIAL_CHAIN | CERT_TRUST_IS_CYCLIC, Reason::ChainIncomplete},
    {CERT_TRUST_IS_UNTRUSTED_ROOT, Reason::RootUntrusted},
    {CERT_TRUST_IS_NOT_TIME_VALID, Reason::Expired},
    {kConstraintBits, Reason::ChainConstraints},
    {CERT_TRUST_REVOCATION_STATUS_UNKNOWN, Reason::RevocationUnknown},
};

constexpr struct {
    LONG error;
    Reason reason;
} kServiceReasons[] = {
    {CERT_E_CHAINING, Reason::StampUntrusted}, {CERT_E_UNTRUSTEDROOT, Reason::StampUntrusted},
    {CERT_E_EXPIRED, Reason::StampExpired},    {CRYPT_E_REVOKED, Reason::StampRevoked},
    {CERT_E_WRONG_USAGE, Reason::StampUsage},  {CERT_E_PURPOSE, Reason::StampUsage},
};

std::string SubjectOf(const platform::Link& link) {
    return NameText(link.certificate->Info().Subject);
}

bool BeforeItsTime(const platform::Link& link, Ticks time) {
    return time < platform::TicksOf(link.certificate->Info().NotBefore);
}

void AddBits(DWORD error, const platform::Link& link, Ticks time, Findings& findings) {
    for (const auto& row : kReasons) {
        if ((error & row.bits) == 0) continue;
        const bool early = row.reason == Reason::Expired && BeforeItsTime(link, time);
        findings.Add(early ? Reason::NotYetValid : row.reason, SubjectOf(link));
    }
}

bool SameCertificates(const platform::Path& first, const platform::Path& second) {
    return std::ranges::equal(first.links, second.links, [](const auto& one, const auto& other) {
        return platform::Equal(one.certificate->Der(), other.certificate->Der());
    });
}

// The authority whose extended usage leaves no time stamping to those below it; null: none.
const platform::Link* IssuerOfOthers(const platform::Path& path) {
    constexpr std::string_view kStamping[] = {"1.3.6.1.5.5.7.3.8", "2.5.29.37.0"};
    for (const platform::Link& link : Between(path)) {
        const auto uses = platform::UsagesOf(*link.certificate);
        if (uses && std::ranges::find_first_of(*uses, kStamping) == uses->end()) return &link;
    }
    return nullptr;
}

// What no longer had to tell of a certificate told nothing.
platform::Path WithoutSilent(platform::Path path) {
    for (platform::Link& link : path.links) {
        if (link.revocation != platform::Revocation::Good || !link.evidence.silent) continue;
        link.revocation = platform::Revocation::Unknown;
        link.error |= CERT_TRUST_REVOCATION_STATUS_UNKNOWN;
    }
    return path;
}

// The answers of `told` for the certificates that `path` has none for.
void TakeAnswers(const platform::Path& told, platform::Path& path) {
    if (!SameCertificates(told, path)) return;
    for (std::size_t i = 0; i < path.links.size(); ++i) {
        platform::Link& link = path.links[i];
        const platform::Link& other = told.links[i];
        const bool open = (link.error & CERT_TRUST_REVOCATION_STATUS_UNKNOWN) != 0;
        if (!open || other.revocation == platform::Revocation::Unknown) continue;
        link.error &= ~static_cast<DWORD>(CERT_TRUST_REVOCATION_STATUS_UNKNOWN);
        link.error |= other.error & CERT_TRUST_IS_REVOKED;
        link.revocation = other.revocation;
        link.evidence = other.evidence;
        link.evidence.source = "message";
    }
}

}  // namespace

Surroundings::Surroundings(const Record& record) : bundle_{record.certificates, record.crls} {
    platform::Digest digest(platform::oid::kSha256);
    for (const auto& one : bundle_.certificates) digest.Update(one->Der());
    for (const auto& one : bundle_.crls) digest.Update(one->Der());
    key_ = digest.Value();
}

void Surroundings::Add(const Surroundings& others) {
    const auto& more = others.bundle_;
    bundle_.certificates.insert(bundle_.certificates.end(), more.certificates.begin(),
                                more.certificates.end());
    bundle_.crls.insert(bundle_.crls.end(), more.crls.begin(), more.crls.end());
    platform::Digest digest(platform::oid::kSha256);
    digest.Update(key_);
    digest.Update(others.key_);
    key_ = digest.Value();
}

std::shared_ptr<platform::Store> Surroundings::CertificatesAsStore() const {
    return platform::StoreOf({bundle_.certificates, {}});
}

std::shared_ptr<platform::Store> Surroundings::WithLists(Ticks now) const {
    platform::CertificateBundle current{bundle_.certificates, {}};
    for (const auto& list : bundle_.crls) {
        const Ticks until = platform::TicksOf(list->Head().NextUpdate);
        // RFC 5280 5.1.2.5: each list tells when the next one comes, or it would count for ever.
        if (until != 0 && now <= until) current.crls.push_back(list);
    }
    return current.crls.empty() ? nullptr : platform::StoreOf(current);
}

// Whoever made the message chose its lists, an old one for example: they count for what nobody
// else told, and while they are in force.
platform::Path Chains::Search(const std::shared_ptr<platform::Certificate>& leaf, Ticks time,
                              const Surroundings& around, platform::Allowance& allowance) const {
    const DWORD flags = CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT;
    constexpr DWORD kAskNobody = CERT_CHAIN_CACHE_ONLY_URL_RETRIEVAL;
    platform::ChainRequest request;
    request.time = platform::FileTimeOf(time);
    platform::Path path =
        WithoutSilent(ExamineChain(leaf, around.CertificatesAsStore(), request,
                                   offline_ ? flags | kAskNobody : flags, &allowance)
                          .path);
    if ((path.Error() & CERT_TRUST_REVOCATION_STATUS_UNKNOWN) == 0) return path;
    const auto lists = around.WithLists(platform::CurrentTicks());
    if (lists) {
        const auto told = ExamineChain(leaf, lists, request, flags | kAskNobody, &allowance);
        TakeAnswers(WithoutSilent(told.path), path);
    }
    return path;
}

const ChainFacts* Chains::Of(const std::shared_ptr<platform::Certificate>& leaf, Ticks time,
                             const Surroundings& around, platform::Allowance& allowance) {
    platform::Digest digest(platform::oid::kSha256);
    digest.Update(leaf->Der());
    digest.Update(around.Key());
    digest.Update(platform::ViewOf(&time, sizeof time));
    const platform::Bytes key = digest.Value();
    if (const auto known = known_.find(key); known != known_.end()) return &known->second;
    if (!allowance.work.Spend(kForItem * around.Size())) return nullptr;
    ChainFacts facts{time, Search(leaf, time, around, allowance)};
    if (allowance.work.Exhausted()) return nullptr;
    if (known_.size() >= kMostKnown) known_.clear();
    return &(known_[key] = std::move(facts));
}

std::span<const platform::Link> Between(const platform::Path& path) {
    const std::span above = std::span(path.links).subspan(1);
    const bool rooted = path.trusted || path.links.back().selfSigned;
    return rooted && !above.empty() ? above.first(above.size() - 1) : above;
}

Findings JudgeChain(const ChainFacts& chain) {
    Findings findings;
    for (const platform::Link& link : chain.path.links) {
        AddBits(link.error, link, chain.time, findings);
        if (link.evidence.compromised) findings.Add(Reason::Revoked, SubjectOf(link));
    }
    AddBits(chain.path.error, chain.path.links.back(), chain.time, findings);
    return findings;
}

Findings JudgeServiceChain(const ChainFacts& chain) {
    Findings findings;
    const platform::Chain record(chain.path);
    const auto policy =
        platform::JudgeStampChain(*record.Context(), platform::FileTimeOf(chain.time));
    if (policy.error != 0) {
        Reason reason = Reason::StampChain;
        for (const auto& row : kServiceReasons) {
            if (static_cast<DWORD>(row.error) == policy.error) reason = row.reason;
        }
        const bool named = policy.element >= 0;
        const std::size_t at = named ? static_cast<std::size_t>(policy.element) : 0;
        findings.Add(reason, SubjectOf(chain.path.links[at]));
    } else if (const platform::Link* other = IssuerOfOthers(chain.path)) {
        findings.Add(Reason::StampUsage, SubjectOf(*other));
    } else if ((chain.path.Error() & CERT_TRUST_REVOCATION_STATUS_UNKNOWN) != 0) {
        findings.Add(Reason::StampRevocationUnknown, SubjectOf(chain.path.links.front()));
    }
    return findings;
}

void AddWeakIssues(const ChainFacts& chain, Ticks time, Reason reason, Findings& findings) {
    for (const platform::Link& link : chain.path.links) {
        const bool issuer = &link != &chain.path.links.front();  // the first has a check of its own
        const KeyFacts key = KeyOf(link.certificate->Info().SubjectPublicKeyInfo);
        if (const auto why = issuer ? WeaknessOfKey(key, time) : std::nullopt) {
            findings.Add(reason, why->Of(SubjectOf(link)));
        }
        if (link.selfSigned) continue;  // nobody relies on its signature
        if (const auto why = WeaknessOfIssue(*link.certificate, time)) {
            findings.Add(reason, why->Of(SubjectOf(link)));
        }
    }
}

}  // namespace kestrelctl::message
