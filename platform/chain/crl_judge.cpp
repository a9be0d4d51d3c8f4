#include "platform/chain/crl_judge.h"

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>
#include <optional>

#include "platform/base/error.h"
#include "platform/base/ticks.h"
#include "platform/chain/signature.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

using Integer = std::unique_ptr<ASN1_INTEGER, Freer<ASN1_INTEGER_free>>;
using Scope = std::unique_ptr<ISSUING_DIST_POINT, Freer<ISSUING_DIST_POINT_free>>;
using DistributionPoints = std::unique_ptr<CRL_DIST_POINTS, Freer<CRL_DIST_POINTS_free>>;
using KeyIdentifier = std::unique_ptr<AUTHORITY_KEYID, Freer<AUTHORITY_KEYID_free>>;

template <class Holder>
Holder ExtensionOf(X509_CRL* crl, int nid) {
    return Holder(
        static_cast<typename Holder::pointer>(X509_CRL_get_ext_d2i(crl, nid, nullptr, nullptr)));
}

bool HasExtension(X509_CRL* crl, int nid) { return X509_CRL_get_ext_by_NID(crl, nid, -1) >= 0; }

// ---- is the CRL one to go by? ----------------------------------------------------

constexpr std::array kKnownListExtensions = {NID_issuing_distribution_point, NID_delta_crl,
                                             NID_crl_number, NID_authority_key_identifier};
constexpr std::array kKnownEntryExtensions = {NID_crl_reason, NID_invalidity_date};

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

bool Understood(X509_CRL* crl) {
    if (!Understood(X509_CRL_get0_extensions(crl), kKnownListExtensions)) return false;
    STACK_OF(X509_REVOKED)* entries = X509_CRL_get_REVOKED(crl);
    for (int i = 0; i < sk_X509_REVOKED_num(entries); ++i) {
        const auto* extensions = X509_REVOKED_get0_extensions(sk_X509_REVOKED_value(entries, i));
        if (!Understood(extensions, kKnownEntryExtensions)) return false;
    }
    return true;
}

bool InForce(const CRL_INFO& info, const FILETIME& time) {
    const bool ends = TicksOf(info.NextUpdate) != 0;
    return CompareFileTime(&info.ThisUpdate, &time) <= 0 &&
           (!ends || CompareFileTime(&time, &info.NextUpdate) <= 0);
}

bool ShareName(const GENERAL_NAMES* first, const GENERAL_NAMES* second) {
    for (int i = 0; i < sk_GENERAL_NAME_num(first); ++i) {
        for (int j = 0; j < sk_GENERAL_NAME_num(second); ++j) {
            if (GENERAL_NAME_cmp(sk_GENERAL_NAME_value(first, i),
                                 sk_GENERAL_NAME_value(second, j)) == 0) {
                return true;
            }
        }
    }
    return false;
}

constexpr int kFullName = 0;  // the choice in a DistributionPointName

// A CRL for one distribution point is for the certificates that name the point. Points
// given relative to the issuer's name match none.
bool CoversPointOf(const DIST_POINT_NAME* point, const Certificate& subject) {
    if (point == nullptr) return true;
    const DistributionPoints points(static_cast<CRL_DIST_POINTS*>(
        X509_get_ext_d2i(subject.Native(), NID_crl_distribution_points, nullptr, nullptr)));
    if (point->type != kFullName) return false;
    for (int i = 0; i < sk_DIST_POINT_num(points.get()); ++i) {
        const DIST_POINT_NAME* own = sk_DIST_POINT_value(points.get(), i)->distpoint;
        if (own == nullptr || own->type != kFullName) continue;
        if (ShareName(own->name.fullname, point->name.fullname)) return true;
    }
    return false;
}

bool Covers(const ISSUING_DIST_POINT& scope, const Certificate& subject) {
    const bool authority = (X509_get_extension_flags(subject.Native()) & EXFLAG_CA) != 0;
    if (scope.indirectCRL > 0 || scope.onlyattr > 0) return false;
    if (authority ? scope.onlyuser > 0 : scope.onlyCA > 0) return false;
    return CoversPointOf(scope.distpoint, subject);
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
    bool allReasons = true;
};

// A CRL that does not count gives none. The signature comes last, since it costs most.
std::optional<UsableCrl> Examine(const RevocationQuestion& question,
                                 const std::shared_ptr<Crl>& crl) {
    const CRL_INFO& info = crl->Info();
    if (!InForce(info, question.time) && !InForce(info, question.now)) return std::nullopt;
    X509_CRL* native = crl->Native();
    if (!Understood(native) || !KeyFits(native, question.issuer)) return std::nullopt;

    UsableCrl usable{crl, ExtensionOf<Integer>(native, NID_crl_number),
                     ExtensionOf<Integer>(native, NID_delta_crl)};
    if (HasExtension(native, NID_delta_crl) && !usable.baseNumber) return std::nullopt;
    if (HasExtension(native, NID_issuing_distribution_point)) {
        const auto scope = ExtensionOf<Scope>(native, NID_issuing_distribution_point);
        if (!scope || !Covers(*scope, question.subject)) return std::nullopt;
        usable.allReasons = scope->onlysomereasons == nullptr;
    }
    if (!SignedBy(*crl, question.issuer)) return std::nullopt;
    return usable;
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
    const int result = X509_CRL_get0_by_serial(usable.crl->Native(), &entry,
                                               X509_get_serialNumber(question.subject.Native()));
    if (result == 0) return Entry::Absent;
    if (result != kFound) return Entry::Removed;  // removeFromCRL
    const bool later = ASN1_TIME_cmp_time_t(X509_REVOKED_get0_revocationDate(entry),
                                            UnixTimeOf(question.time)) > 0;
    return later ? Entry::Absent : Entry::Revoked;
}

bool Builds(const UsableCrl& delta, const UsableCrl& base) {
    return base.number && delta.number &&
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

Revocation Judge(const RevocationQuestion& question,
                 const std::vector<std::shared_ptr<Crl>>& crls) {
    if (!MaySignCrls(question.issuer.Native())) return Revocation::Unknown;
    std::vector<UsableCrl> lists;
    for (const auto& crl : crls) {
        if (auto usable = ExamineAny(question, crl)) lists.push_back(std::move(*usable));
    }
    ERR_clear_error();
    std::stable_sort(lists.begin(), lists.end(), Later);
    // Lists of some reasons only can say "revoked" but never "good".
    for (const UsableCrl& base : lists) {
        if (base.baseNumber) continue;
        if (WithDeltas(base, lists, question) == Entry::Revoked) return Revocation::Revoked;
        if (base.allReasons) return Revocation::Good;
    }
    return Revocation::Unknown;
}

}  // namespace platform
