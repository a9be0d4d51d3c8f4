// The rules by which a CRL counts, and what those that count say together.
#include "platform/chain/crl_judge.h"

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>
#include <optional>

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

constexpr const char* kScope = "2.5.29.28";
constexpr const char* kAuthorityKey = "2.5.29.35";

// ---- is the CRL one to go by? ----------------------------------------------------

constexpr std::array kKnownListExtensions = {NID_issuing_distribution_point, NID_delta_crl,
                                             NID_crl_number, NID_authority_key_identifier};
constexpr std::array kKnownEntryExtensions = {NID_crl_reason, NID_invalidity_date};
constexpr std::array kKnownIndirectExtensions = {NID_crl_reason, NID_invalidity_date,
                                                 NID_certificate_issuer};

template <std::size_t count>
bool Understood(const STACK_OF(X509_EXTENSION) * extensions, const std::array<int, count>& known) {
    for (int i = 0; i < sk_X509_EXTENSION_num(extensions); ++i) {
        X509_EXTENSION* extension = sk_X509_EXTENSION_value(extensions, i);
        if (X509_EXTENSION_get_critical(extension) == 0) continue;
        const int nid = OBJ_obj2nid(X509_EXTENSION_get_object(extension));
        if (std::find(known.begin(), known.end(), nid) == known.end()) return false;
    }
    return true;
}

bool Understood(const Crl& list) {
    X509_CRL* crl = list.Native();
    if (!Understood(X509_CRL_get0_extensions(crl), kKnownListExtensions)) return false;
    const bool indirect = IsIndirect(list);
    STACK_OF(X509_REVOKED)* entries = X509_CRL_get_REVOKED(crl);
    for (int i = 0; i < sk_X509_REVOKED_num(entries); ++i) {
        const auto* extensions = X509_REVOKED_get0_extensions(sk_X509_REVOKED_value(entries, i));
        const bool known = indirect ? Understood(extensions, kKnownIndirectExtensions)
                                    : Understood(extensions, kKnownEntryExtensions);
        if (!known) return false;
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
    if (fields.NextIs(der::kInteger)) return fields.SmallInteger() == kVersion2;
    const CRL_INFO& info = crl.Info();
    return info.cExtension == 0 &&
           std::none_of(info.rgCRLEntry, info.rgCRLEntry + info.cCRLEntry,
                        [](const CRL_ENTRY& entry) { return entry.cExtension != 0; });
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

// ---- one usable CRL --------------------------------------------------------------

struct UsableCrl {
    std::shared_ptr<Crl> crl;
    Integer number;
    Integer baseNumber;  // of a delta CRL only
    Reasons reasons = 0;
};

bool SignedBy(const Crl& crl, const Certificate& signer, Budget& budget) {
    const CERT_PUBLIC_KEY_INFO& key = signer.Info().SubjectPublicKeyInfo;
    constexpr std::uint64_t kTryPrice = 1'000;
    return budget.Spend(kTryPrice) && MaySignCrls(signer.Native()) &&
           KeyFits(crl.Native(), signer) && !IsWeakKey(key) &&
           budget.SpendSignature(key, crl.Der().size()) &&
           CheckSignature(crl.Der(), key).state == SignatureState::Good;
}

bool SignedByOther(const RevocationQuestion& question, const Crl& crl) {
    const auto others = question.others.Of(crl.Info().Issuer);
    return std::any_of(others.begin(), others.end(), [&](const auto& signer) {
        return !Equal(signer->Der(), question.issuer.Der()) &&
               SignedBy(crl, *signer, question.budget) && question.others.Trusted(signer);
    });
}

bool IsReadable(const RevocationQuestion& question, const Crl& crl) {
    const CRL_INFO& info = crl.Info();
    return (InForce(info, question.time) || InForce(info, question.now)) && ProperVersion(crl) &&
           Understood(crl);
}

bool ProperlySigned(const RevocationQuestion& question, const Crl& crl) {
    const bool issuers = DistinguishedName(crl.Info().Issuer)
                             .Equals(DistinguishedName(question.issuer.Info().Subject));
    return (issuers && SignedBy(crl, question.issuer, question.budget)) ||
           SignedByOther(question, crl);
}

// A CRL that does not count gives none. The signature comes last, since it costs most.
std::optional<UsableCrl> Examine(const RevocationQuestion& question,
                                 const std::shared_ptr<Crl>& crl) {
    if (!IsReadable(question, *crl)) return std::nullopt;
    X509_CRL* native = crl->Native();
    UsableCrl usable{crl, ExtensionOf<Integer>(native, NID_crl_number),
                     ExtensionOf<Integer>(native, NID_delta_crl),
                     ReasonsCovered(*crl, question.subject)};
    if (HasExtension(native, NID_delta_crl) && !usable.baseNumber) return std::nullopt;
    if (usable.reasons == 0) return std::nullopt;
    return ProperlySigned(question, *crl) ? std::optional(std::move(usable)) : std::nullopt;
}

std::optional<UsableCrl> ExamineAny(const RevocationQuestion& question,
                                    const std::shared_ptr<Crl>& crl) {
    try {
        return Examine(question, crl);
    } catch (const Error& error) {
        // A list that OpenSSL cannot read does not keep the others from counting.
        if (error.Code() != static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT)) throw;
        return std::nullopt;
    }
}

enum class Entry { Absent, Revoked, Removed };

Entry LookUp(const UsableCrl& usable, const RevocationQuestion& question) {
    constexpr int kFound = 1;
    X509_REVOKED* entry = nullptr;
    // By serial number and issuer, which an entry of an indirect CRL may tell (RFC 5280 5.3.3).
    const int result =
        X509_CRL_get0_by_cert(usable.crl->Native(), &entry, question.subject.Native());
    if (result == 0) return Entry::Absent;
    if (result != kFound) return Entry::Removed;  // removeFromCRL
    const bool later = ASN1_TIME_cmp_time_t(X509_REVOKED_get0_revocationDate(entry),
                                            UnixTimeOf(question.time)) > 0;
    return later ? Entry::Absent : Entry::Revoked;
}

bool SameExtension(const Crl& first, const Crl& second, const char* oid) {
    const auto valueIn = [oid](const CRL_INFO& info) {
        const auto* extension = FindExtension(oid, info.cExtension, info.rgExtension);
        return extension == nullptr ? ByteView() : ViewOf(extension->Value);
    };
    return Equal(valueIn(first.Info()), valueIn(second.Info()));
}

// RFC 5280 6.3.3 (c): of one scope and one key, and newer.
bool Builds(const UsableCrl& delta, const UsableCrl& base) {
    return base.number && delta.number &&
           DistinguishedName(delta.crl->Info().Issuer)
               .Equals(DistinguishedName(base.crl->Info().Issuer)) &&
           SameExtension(*delta.crl, *base.crl, kScope) &&
           SameExtension(*delta.crl, *base.crl, kAuthorityKey) &&
           ASN1_INTEGER_cmp(delta.baseNumber.get(), base.number.get()) <= 0 &&
           ASN1_INTEGER_cmp(delta.number.get(), base.number.get()) > 0;
}

bool Later(const UsableCrl& first, const UsableCrl& second) {
    return TicksOf(first.crl->Info().ThisUpdate) > TicksOf(second.crl->Info().ThisUpdate);
}

// `lists` in order, the latest first.
Entry WithDeltas(const UsableCrl& base, const std::vector<UsableCrl>& lists,
                 const RevocationQuestion& question) {
    for (const UsableCrl& delta : lists) {
        if (!delta.baseNumber || !Builds(delta, base)) continue;
        const Entry entry = LookUp(delta, question);
        if (entry != Entry::Absent) return entry;
        break;
    }
    return LookUp(base, question);
}

}  // namespace

Revocation Judge(RevocationQuestion& question, const std::vector<std::shared_ptr<Crl>>& crls) {
    std::vector<UsableCrl> lists;
    for (const auto& crl : crls) {
        if (auto usable = ExamineAny(question, crl)) lists.push_back(std::move(*usable));
    }
    ERR_clear_error();
    std::stable_sort(lists.begin(), lists.end(), Later);
    for (const UsableCrl& base : lists) {
        const bool adds = (base.reasons & ~question.covered) != 0;
        if (base.baseNumber || !adds) continue;
        question.evidence = {{}, base.crl->Info().ThisUpdate, base.crl->Info().NextUpdate};
        if (WithDeltas(base, lists, question) == Entry::Revoked) return Revocation::Revoked;
        question.covered |= base.reasons;
    }
    return question.covered == kAllReasons ? Revocation::Good : Revocation::Unknown;
}

bool IsSound(const RevocationQuestion& question, const Crl& crl) {
    try {
        return IsReadable(question, crl) && ProperlySigned(question, crl);
    } catch (const Error&) {
        return false;
    }
}

}  // namespace platform
