// Issuing distribution points against the distribution points that certificates name.
#include "platform/chain/crl_scope.h"

#include <algorithm>
#include <memory>

#include "platform/providers/openssl.h"

namespace platform {
namespace {

using Scope = std::unique_ptr<ISSUING_DIST_POINT, Freer<ISSUING_DIST_POINT_free>>;
using Points = std::unique_ptr<CRL_DIST_POINTS, Freer<CRL_DIST_POINTS_free>>;

constexpr int kRelativeName = 1;  // the choice in a DistributionPointName

Reasons ReasonsIn(const ASN1_BIT_STRING* flags) {
    if (flags == nullptr) return kAllReasons;
    Reasons reasons = 0;
    if (flags->length > 0) reasons = flags->data[0];
    if (flags->length > 1) reasons |= static_cast<Reasons>(flags->data[1]) << 8;
    return reasons & kAllReasons;
}

bool ShareName(const GENERAL_NAMES* first, const GENERAL_NAMES* second) {
    for (int i = 0; i < sk_GENERAL_NAME_num(first); ++i) {
        GENERAL_NAME* name = sk_GENERAL_NAME_value(first, i);
        for (int j = 0; j < sk_GENERAL_NAME_num(second); ++j) {
            if (GENERAL_NAME_cmp(name, sk_GENERAL_NAME_value(second, j)) == 0) return true;
        }
    }
    return false;
}

// The directory name of a point given relative to `base`, else null.
X509_NAME* RelativeName(DIST_POINT_NAME& point, X509_NAME* base) {
    if (point.type != kRelativeName) return nullptr;
    DIST_POINT_set_dpname(&point, base);
    return point.dpname;
}

// Both may be told in full, as lists of names, or relative to `base`.
bool SamePoint(DIST_POINT_NAME& first, DIST_POINT_NAME& second, X509_NAME* base) {
    X509_NAME* one = RelativeName(first, base);
    X509_NAME* other = RelativeName(second, base);
    const bool relative = first.type == kRelativeName;
    const bool otherRelative = second.type == kRelativeName;
    if ((relative && one == nullptr) || (otherRelative && other == nullptr)) return false;
    if (relative && otherRelative) return X509_NAME_cmp(one, other) == 0;
    if (relative) return HoldsName(second.name.fullname, one);
    if (otherRelative) return HoldsName(first.name.fullname, other);
    return ShareName(first.name.fullname, second.name.fullname);
}

// A list, by its issuer and the name in its scope, null for none.
struct Wanted {
    X509_NAME* issuer;
    DIST_POINT_NAME* name;
    bool direct;  // the certificate's issuer made it
};

bool TellsPoint(DIST_POINT& point, const Wanted& list) {
    const bool fits =
        point.CRLissuer == nullptr ? list.direct : HoldsName(point.CRLissuer, list.issuer);
    if (!fits || list.name == nullptr) return fits;
    if (point.distpoint != nullptr) return SamePoint(*point.distpoint, *list.name, list.issuer);
    return list.name->type != kRelativeName && ShareName(point.CRLissuer, list.name->name.fullname);
}

bool IsRelative(const DIST_POINT_NAME* name) {
    return name != nullptr && name->type == kRelativeName;
}

std::uint64_t CountOf(const GENERAL_NAMES* names) {
    return static_cast<std::uint64_t>(std::max(sk_GENERAL_NAME_num(names), 0));
}

std::uint64_t CountOf(const DIST_POINT_NAME* name) {
    return name == nullptr || IsRelative(name) ? 0 : CountOf(name->name.fullname);
}

// Nobody has vouched for either side yet: each name is held against each, and a relative one is put
// together with the issuer's.
std::uint64_t PriceOf(const DIST_POINT& point, const Wanted& list) {
    constexpr std::uint64_t kPairPrice = 30;
    std::size_t octets = 0;
    if (IsRelative(point.distpoint) || IsRelative(list.name)) {
        X509_NAME_get0_der(list.issuer, nullptr, &octets);
    }
    const std::uint64_t names = 1 + CountOf(point.CRLissuer) + CountOf(point.distpoint);
    return kPairPrice * (names * (1 + CountOf(list.name)) + octets);
}

// RFC 5280 6.3.3: behind the points that the certificate tells comes one of the issuer's name.
bool IsIssuer(DIST_POINT_NAME& wanted, X509_NAME* issuer) {
    return wanted.type != kRelativeName && HoldsName(wanted.name.fullname, issuer);
}

Reasons ReasonsAtPoint(const Wanted& list, const Certificate& subject, Budget& budget) {
    if (list.direct && (list.name == nullptr || IsIssuer(*list.name, list.issuer))) {
        return kAllReasons;
    }
    constexpr std::uint64_t kOctetPrice = 8;
    if (!budget.Spend(kOctetPrice * subject.Der().size())) return 0;
    const Points points(static_cast<CRL_DIST_POINTS*>(
        X509_get_ext_d2i(subject.Native(), NID_crl_distribution_points, nullptr, nullptr)));
    Reasons reasons = 0;
    for (int i = 0; i < sk_DIST_POINT_num(points.get()); ++i) {
        DIST_POINT& point = *sk_DIST_POINT_value(points.get(), i);
        if (!budget.Spend(PriceOf(point, list))) return 0;
        if (TellsPoint(point, list)) reasons |= ReasonsIn(point.reasons);
    }
    return reasons;
}

Scope ScopeOf(const Crl& crl) {
    return Scope(static_cast<ISSUING_DIST_POINT*>(
        X509_CRL_get_ext_d2i(crl.NativeHead(), NID_issuing_distribution_point, nullptr, nullptr)));
}

}  // namespace

bool HoldsName(const GENERAL_NAMES* names, X509_NAME* wanted) {
    for (int i = 0; i < sk_GENERAL_NAME_num(names); ++i) {
        const GENERAL_NAME* name = sk_GENERAL_NAME_value(names, i);
        if (name->type == GEN_DIRNAME && X509_NAME_cmp(name->d.directoryName, wanted) == 0) {
            return true;
        }
    }
    return false;
}

bool IsIndirect(const Crl& crl) {
    const Scope scope = ScopeOf(crl);
    return scope && scope->indirectCRL > 0;
}

Reasons ReasonsCovered(const Crl& crl, const Certificate& subject, Budget& budget) {
    X509_CRL* native = crl.NativeHead();
    X509_NAME* issuer = X509_CRL_get_issuer(native);
    const bool direct = X509_NAME_cmp(issuer, X509_get_issuer_name(subject.Native())) == 0;
    if (X509_CRL_get_ext_by_NID(native, NID_issuing_distribution_point, -1) < 0) {
        return direct ? kAllReasons : 0;
    }
    const Scope scope = ScopeOf(crl);
    if (!scope || scope->onlyattr > 0 || (!direct && scope->indirectCRL <= 0)) return 0;
    const bool authority = (X509_get_extension_flags(subject.Native()) & EXFLAG_CA) != 0;
    if (authority ? scope->onlyuser > 0 : scope->onlyCA > 0) return 0;
    return ReasonsAtPoint({issuer, scope->distpoint, direct}, subject, budget) &
           ReasonsIn(scope->onlysomereasons);
}

}  // namespace platform
