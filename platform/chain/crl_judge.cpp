// The rules by which a CRL counts, and what those that count say together.
#include "platform/chain/crl_judge.h"

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>

#include "platform/base/error.h"
#include "platform/base/ticks.h"
#include "platform/certs/compare.h"
#include "platform/certs/share.h"
#include "platform/certs/signature.h"
#include "platform/chain/pool.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

using Integer = std::unique_ptr<ASN1_INTEGER, Freer<ASN1_INTEGER_free>>;
using KeyIdentifier = std::unique_ptr<AUTHORITY_KEYID, Freer<AUTHORITY_KEYID_free>>;

template <class Holder>
Holder ExtensionOf(X509_CRL* crl, int nid) {
    return Holder(
        static_cast<typename Holder::pointer>(X509_CRL_get_ext_d2i(crl, nid, nullptr, nullptr)));
}

bool HasExtension(X509_CRL* crl, int nid) { return X509_CRL_get_ext_by_NID(crl, nid, -1) >= 0; }

// Of X.509, where RFC 5280 has none for it.
constexpr const char* kExpiredOnList = "2.5.29.60";
constexpr const char* kScope = "2.5.29.28";
constexpr const char* kAuthorityKey = "2.5.29.35";

// ---- is the CRL one to go by? ----------------------------------------------------

constexpr std::array kKnownListExtensions = {NID_issuing_distribution_point, NID_delta_crl,
                                             NID_crl_number, NID_authority_key_identifier};
bool Understood(X509_CRL* crl) {
    const auto* extensions = X509_CRL_get0_extensions(crl);
    for (int i = 0; i < sk_X509_EXTENSION_num(extensions); ++i) {
        X509_EXTENSION* extension = sk_X509_EXTENSION_value(extensions, i);
        if (X509_EXTENSION_get_critical(extension) == 0) continue;
        const int nid = OBJ_obj2nid(X509_EXTENSION_get_object(extension));
        const auto end = kKnownListExtensions.end();
        if (std::find(kKnownListExtensions.begin(), end, nid) == end) return false;
    }
    return true;
}

bool InForce(const CRL_INFO& info, const FILETIME& time) {
    const Ticks until = TicksOf(info.NextUpdate);  // 0: without end
    return TicksOf(info.ThisUpdate) <= TicksOf(time) && (until == 0 || TicksOf(time) <= until);
}

// RFC 5280 5.1.2.1: version 2 or none told, and extensions in version 2 alone.
bool ProperVersion(const Crl& crl) {
    constexpr long kVersion2 = 1;
    der::Cursor fields = SignedPart(crl.Der());
    return fields.NextIs(der::kInteger) ? fields.SmallInteger() == kVersion2
                                        : crl.Head().cExtension == 0;
}

bool KeyFits(X509_CRL* crl, const Certificate& issuer) {
    const auto wanted = ExtensionOf<KeyIdentifier>(crl, NID_authority_key_identifier);
    const ASN1_OCTET_STRING* present = X509_get0_subject_key_id(issuer.Native());
    return !wanted || wanted->keyid == nullptr || present == nullptr ||
           ASN1_OCTET_STRING_cmp(wanted->keyid, present) == 0;
}

bool MaySignCrls(X509* issuer) {
    return (X509_get_extension_flags(issuer) & EXFLAG_KUSAGE) == 0 ||
           (X509_get_key_usage(issuer) & X509v3_KU_CRL_SIGN) != 0;
}

// ---- one list --------------------------------------------------------------

bool SignedBy(const Crl& crl, const Certificate& signer, Budget& budget) {
    const CERT_PUBLIC_KEY_INFO& key = signer.Info().SubjectPublicKeyInfo;
    constexpr std::uint64_t kTryPrice = 1'000;
    return budget.Spend(kTryPrice) && MaySignCrls(signer.Native()) &&
           KeyFits(crl.NativeHead(), signer) && !IsWeakKey(key) &&
           budget.SpendSignature(key, crl.Der().size()) &&
           CheckSignature(crl.Der(), key).state == SignatureState::Good;
}

bool SignedByOther(const RevocationQuestion& question, const Crl& crl) {
    const auto others = question.others.Of(crl.Head().Issuer);
    return std::any_of(others.begin(), others.end(), [&](const auto& signer) {
        return !Equal(signer->Der(), question.issuer.Der()) &&
               SignedBy(crl, *signer, question.budget) && question.others.Trusted(signer);
    });
}

bool IsReadable(const RevocationQuestion& question, const Crl& crl) {
    const CRL_INFO& head = crl.Head();
    return (InForce(head, question.time) || InForce(head, question.now)) && ProperVersion(crl) &&
           Understood(crl.NativeHead());
}

bool ProperlySigned(const RevocationQuestion& question, const Crl& crl) {
    const bool issuers = DistinguishedName(crl.Head().Issuer)
                             .Equals(DistinguishedName(question.issuer.Info().Subject));
    return (issuers && SignedBy(crl, question.issuer, question.budget)) ||
           SignedByOther(question, crl);
}

// What costs most comes last, and long lists are walked over when they are known to be signed.
std::optional<SoundList> Examine(const RevocationQuestion& question,
                                 const std::shared_ptr<Crl>& crl, bool covering) {
    if (!IsReadable(question, *crl)) return std::nullopt;
    const Reasons reasons = ReasonsCovered(*crl, question.subject, question.budget);
    if ((covering && reasons == 0) || !ProperlySigned(question, *crl)) return std::nullopt;
    const auto listed = LookUp(*crl, question.subject, question.time, question.budget);
    if (!listed || !listed->understood) return std::nullopt;
    return SoundList{crl, reasons, *listed, {}};
}

// Any of CRYPT_E_ASN1_*.
bool IsOfEncoding(DWORD code) {
    constexpr auto kErrors = static_cast<DWORD>(CRYPT_E_ASN1_ERROR);
    return (code & ~DWORD{0xFF}) == kErrors;
}

std::optional<SoundList> ExamineAny(const RevocationQuestion& question,
                                    const std::shared_ptr<Crl>& crl, bool covering) {
    try {
        return Examine(question, crl, covering);
    } catch (const Error& error) {
        // A list that cannot be read does not keep the others from counting.
        if (!IsOfEncoding(error.Code())) throw;
        return std::nullopt;
    }
}

// ---- what those that count say together ------------------------------------------

struct UsableList {
    const SoundList* list;
    Integer number;
    Integer baseNumber;  // of a delta CRL only
};

std::vector<UsableList> LatestFirst(const SoundLists& lists) {
    std::vector<UsableList> usable;
    for (const SoundList& list : lists) {
        X509_CRL* native = list.crl->NativeHead();
        UsableList one{&list, ExtensionOf<Integer>(native, NID_crl_number),
                       ExtensionOf<Integer>(native, NID_delta_crl)};
        const bool damaged = HasExtension(native, NID_delta_crl) && !one.baseNumber;
        if (!damaged && list.reasons != 0) usable.push_back(std::move(one));
    }
    ERR_clear_error();
    std::stable_sort(usable.begin(), usable.end(), [](const auto& first, const auto& second) {
        return TicksOf(first.list->crl->Head().ThisUpdate) >
               TicksOf(second.list->crl->Head().ThisUpdate);
    });
    return usable;
}

// RFC 5280 6.3.3 (c): of one scope and one key, and newer.
bool Builds(const UsableList& delta, const UsableList& base) {
    const CRL_INFO& later = delta.list->crl->Head();
    const CRL_INFO& earlier = base.list->crl->Head();
    return delta.baseNumber && base.number && delta.number &&
           DistinguishedName(later.Issuer).Equals(DistinguishedName(earlier.Issuer)) &&
           SameExtension(later, earlier, kScope) && SameExtension(later, earlier, kAuthorityKey) &&
           ASN1_INTEGER_cmp(delta.baseNumber.get(), base.number.get()) <= 0 &&
           ASN1_INTEGER_cmp(delta.number.get(), base.number.get()) > 0;
}

// The list whose word holds: the latest delta on top of `base`, unless it is silent about what
// `base` revokes.
const SoundList& Deciding(const UsableList& base, const std::vector<UsableList>& lists) {
    const auto delta = std::find_if(lists.begin(), lists.end(),
                                    [&](const UsableList& one) { return Builds(one, base); });
    if (delta == lists.end()) return *base.list;
    const Listed& listed = delta->list->listed;
    const bool silent = !listed.revoked && !listed.removed;
    return silent && base.list->listed.revoked ? *base.list : *delta->list;
}

bool MustTell(const Crl& crl, const Certificate& subject) {
    const CRL_INFO& head = crl.Head();
    const CERT_EXTENSION* kept = FindExtension(kExpiredOnList, head.cExtension, head.rgExtension);
    return HasToTell(subject, head.ThisUpdate, kept == nullptr ? ByteView() : ViewOf(kept->Value));
}

// The reasons for which the latest list that has to tell of the subject does not revoke it.
Reasons TrulyCovered(const std::vector<UsableList>& lists, const Certificate& subject) {
    Reasons told = 0;
    Reasons covered = 0;
    for (const UsableList& base : lists) {
        if (base.baseNumber || !MustTell(*base.list->crl, subject)) continue;
        if (!base.list->listed.revoked) covered |= base.list->reasons & ~told;
        told |= base.list->reasons;
    }
    return covered;
}

// A delta list on top may be what says that it is no longer listed.
bool IsSilent(const SoundList& base, const SoundList& deciding, const Certificate& subject) {
    if (base.listed.later || deciding.listed.later) return false;
    return !MustTell(*base.crl, subject) ||
           (base.listed.revoked && !MustTell(*deciding.crl, subject));
}

}  // namespace

bool HasToTell(const Certificate& subject, const FILETIME& thisUpdate, ByteView keptSince) {
    const Ticks end = TicksOf(subject.Info().NotAfter);
    if (TicksOf(thisUpdate) <= end) return true;
    try {
        return !keptSince.empty() && TicksOf(ReadTime(der::Cursor(keptSince).Next())) <= end;
    } catch (const Error&) {
        return false;
    }
}

SoundLists Sound(const RevocationQuestion& question, const std::vector<std::shared_ptr<Crl>>& crls,
                 bool covering) {
    SoundLists lists;
    for (const auto& crl : crls) {
        if (auto sound = ExamineAny(question, crl, covering)) lists.push_back(std::move(*sound));
    }
    ERR_clear_error();
    return lists;
}

Revocation Judge(RevocationQuestion& question, const SoundLists& sound) {
    const std::vector<UsableList> lists = LatestFirst(sound);
    for (const UsableList& base : lists) {
        const bool adds = (base.list->reasons & ~question.covered) != 0;
        if (base.baseNumber || !adds) continue;
        const SoundList& deciding = Deciding(base, lists);
        const CRL_INFO& head = deciding.crl->Head();
        question.evidence = {deciding.source, head.ThisUpdate, head.NextUpdate,
                             question.evidence.compromised || deciding.listed.compromised};
        if (deciding.listed.revoked) return Revocation::Revoked;
        if (IsSilent(*base.list, deciding, question.subject)) {
            question.silent |= base.list->reasons & ~question.covered;
        }
        question.covered |= base.list->reasons;
    }
    if (question.silent != 0) question.silent &= ~TrulyCovered(lists, question.subject);
    question.evidence.silent = question.silent != 0;
    return question.covered == kAllReasons ? Revocation::Good : Revocation::Unknown;
}

}  // namespace platform
