// What the certificates of a path say of themselves and of those below them.
#include <openssl/err.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <algorithm>

#include "platform/chain/path.h"
#include "platform/chain/signature.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

constexpr const char* kAnyUsage = "2.5.29.37.0";

using Usages = std::unique_ptr<EXTENDED_KEY_USAGE, Freer<EXTENDED_KEY_USAGE_free>>;
using NameConstraints = std::unique_ptr<NAME_CONSTRAINTS, Freer<NAME_CONSTRAINTS_free>>;
using PolicyTree = std::unique_ptr<X509_POLICY_TREE, Freer<X509_policy_tree_free>>;

struct StackDeleter {
    void operator()(STACK_OF(X509) * stack) const { sk_X509_free(stack); }
};
using CertificateStack = std::unique_ptr<STACK_OF(X509), StackDeleter>;

bool Holds(const std::vector<std::string>& list, const std::string& text) {
    return std::find(list.begin(), list.end(), text) != list.end();
}

// ---- one certificate -------------------------------------------------------------

DWORD CheckTime(const CERT_INFO& info, const FILETIME& time) {
    const bool valid =
        CompareFileTime(&info.NotBefore, &time) <= 0 && CompareFileTime(&time, &info.NotAfter) <= 0;
    return valid ? 0 : CERT_TRUST_IS_NOT_TIME_VALID;
}

DWORD CheckExtensions(X509* certificate) {
    const std::uint32_t flags = X509_get_extension_flags(certificate);
    DWORD error = 0;
    if ((flags & EXFLAG_INVALID) != 0) error |= CERT_TRUST_INVALID_EXTENSION;
    if ((flags & EXFLAG_CRITICAL) != 0) error |= CERT_TRUST_HAS_NOT_SUPPORTED_CRITICAL_EXT;
    return error;
}

DWORD CheckUsage(const Certificate& certificate, const ChainRequest& request) {
    const auto usages = UsagesOf(certificate);
    if (request.usages.empty() || !usages || Holds(*usages, kAnyUsage)) return 0;
    const auto permitted = [&](const std::string& usage) { return Holds(*usages, usage); };
    const auto& wanted = request.usages;
    const bool fits = request.anyUsage ? std::any_of(wanted.begin(), wanted.end(), permitted)
                                       : std::all_of(wanted.begin(), wanted.end(), permitted);
    return fits ? 0 : CERT_TRUST_IS_NOT_VALID_FOR_USAGE;
}

// RFC 5280 6.1.4 (k) to (n). An anchor was trusted on purpose: one from the time before
// the extensions may lack them.
DWORD CheckAsIssuer(X509* certificate, bool anchor, long authoritiesBelow) {
    const std::uint32_t flags = X509_get_extension_flags(certificate);
    const bool mayLack = anchor && (flags & EXFLAG_BCONS) == 0;
    DWORD error = 0;
    const long limit = X509_get_pathlen(certificate);
    if (((flags & EXFLAG_CA) == 0 && !mayLack) || (limit >= 0 && authoritiesBelow > limit)) {
        error |= CERT_TRUST_INVALID_BASIC_CONSTRAINTS;
    }
    if ((flags & EXFLAG_KUSAGE) != 0 &&
        (X509_get_key_usage(certificate) & X509v3_KU_KEY_CERT_SIGN) == 0) {
        error |= CERT_TRUST_IS_NOT_VALID_FOR_USAGE;
    }
    return error;
}

// ---- names and policies over the path --------------------------------------------

NameConstraints ConstraintsOf(X509* certificate) {
    return NameConstraints(static_cast<NAME_CONSTRAINTS*>(
        X509_get_ext_d2i(certificate, NID_name_constraints, nullptr, nullptr)));
}

DWORD ViolationOf(int result) {
    switch (result) {
        case X509_V_OK:
            return 0;
        case X509_V_ERR_PERMITTED_VIOLATION:
            return CERT_TRUST_HAS_NOT_PERMITTED_NAME_CONSTRAINT;
        case X509_V_ERR_EXCLUDED_VIOLATION:
            return CERT_TRUST_HAS_EXCLUDED_NAME_CONSTRAINT;
        default:
            return CERT_TRUST_INVALID_NAME_CONSTRAINTS;
    }
}

// RFC 5280 6.1.3 (b) and (c): a self-issued authority's name is free.
void CheckNames(Path& path) {
    for (std::size_t issuer = 1; issuer < path.links.size(); ++issuer) {
        const NameConstraints constraints = ConstraintsOf(path.links[issuer].certificate->Native());
        if (!constraints) continue;
        for (std::size_t below = 0; below < issuer; ++below) {
            Link& link = path.links[below];
            if (below > 0 && IsSelfIssued(*link.certificate)) continue;
            link.error |=
                ViolationOf(NAME_CONSTRAINTS_check(link.certificate->Native(), constraints.get()));
        }
    }
}

// RFC 5280 6.1.2 to 6.1.5 for the initial set "any policy": only a chain that itself
// demands an explicit policy can fail. Without a trusted end there is nothing to start at.
void CheckPolicies(Path& path) {
    if (!path.trusted || path.links.size() < 2) return;
    const CertificateStack stack(sk_X509_new_null());
    for (const Link& link : path.links) sk_X509_push(stack.get(), link.certificate->Native());
    X509_POLICY_TREE* tree = nullptr;
    int isExplicit = 0;
    const int result = X509_policy_check(&tree, &isExplicit, stack.get(), nullptr, 0);
    const PolicyTree owner(tree);
    if (result != X509_PCY_TREE_VALID) {
        path.links.front().error |= CERT_TRUST_INVALID_POLICY_CONSTRAINTS;
    }
}

void CheckLink(Path& path, std::size_t index, long authoritiesBelow, const ChainRequest& request) {
    Link& link = path.links[index];
    const bool anchor = path.trusted && index + 1 == path.links.size();
    X509* native = link.certificate->Native();
    link.error |= CheckTime(link.certificate->Info(), request.time) | CheckExtensions(native);
    if (index > 0) link.error |= CheckAsIssuer(native, anchor, authoritiesBelow);
    if (!anchor || index == 0) link.error |= CheckUsage(*link.certificate, request);
}

}  // namespace

std::optional<std::vector<std::string>> UsagesOf(const Certificate& certificate) {
    const Usages usages(static_cast<EXTENDED_KEY_USAGE*>(
        X509_get_ext_d2i(certificate.Native(), NID_ext_key_usage, nullptr, nullptr)));
    if (!usages) return std::nullopt;
    std::vector<std::string> identifiers;
    for (int i = 0; i < sk_ASN1_OBJECT_num(usages.get()); ++i) {
        identifiers.push_back(DottedOf(sk_ASN1_OBJECT_value(usages.get(), i)));
    }
    return identifiers;
}

void CheckCertificates(Path& path, const ChainRequest& request) {
    long authoritiesBelow = 0;
    for (std::size_t index = 0; index < path.links.size(); ++index) {
        CheckLink(path, index, authoritiesBelow, request);
        const bool counts = index > 0 && !IsSelfIssued(*path.links[index].certificate);
        if (counts) ++authoritiesBelow;
    }
    CheckNames(path);
    CheckPolicies(path);
    ERR_clear_error();
}

}  // namespace platform
