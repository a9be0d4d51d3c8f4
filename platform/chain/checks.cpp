// The checks of single certificates, names and policies.
#include "platform/chain/checks.h"

#include <openssl/err.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <algorithm>

#include "platform/certs/compare.h"
#include "platform/certs/signature.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

constexpr const char* kAnyUsage = "2.5.29.37.0";
constexpr const char* kAlternativeName = "2.5.29.17";

using Usages = std::unique_ptr<EXTENDED_KEY_USAGE, Freer<EXTENDED_KEY_USAGE_free>>;
using PolicyTree = std::unique_ptr<X509_POLICY_TREE, Freer<X509_policy_tree_free>>;

// The functions of stacks are macros.
void FreeStack(STACK_OF(X509) * stack) { sk_X509_free(stack); }
using CertificateStack = std::unique_ptr<STACK_OF(X509), Freer<FreeStack>>;
void FreeObjects(STACK_OF(ASN1_OBJECT) * stack) { sk_ASN1_OBJECT_free(stack); }
using ObjectStack = std::unique_ptr<STACK_OF(ASN1_OBJECT), Freer<FreeObjects>>;

bool Holds(const std::vector<std::string>& list, const std::string& text) {
    return std::find(list.begin(), list.end(), text) != list.end();
}

// ---- one certificate -------------------------------------------------------------

DWORD CheckExtensions(X509* certificate) {
    const std::uint32_t flags = X509_get_extension_flags(certificate);
    DWORD error = 0;
    if ((flags & EXFLAG_INVALID) != 0) error |= CERT_TRUST_INVALID_EXTENSION;
    if ((flags & EXFLAG_CRITICAL) != 0) error |= CERT_TRUST_HAS_NOT_SUPPORTED_CRITICAL_EXT;
    return error;
}

// ---- names and policies over the path --------------------------------------------

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

// What is compared with constraints: the names' octets stand for their number.
std::size_t SizeOfNames(const CERT_INFO& info) {
    const CERT_EXTENSION* names =
        FindExtension(kAlternativeName, info.cExtension, info.rgExtension);
    return info.Subject.cbData + (names == nullptr ? 0 : names->Value.cbData);
}

std::uint64_t CountOf(const NAME_CONSTRAINTS& constraints) {
    const int permitted = sk_GENERAL_SUBTREE_num(constraints.permittedSubtrees);
    const int excluded = sk_GENERAL_SUBTREE_num(constraints.excludedSubtrees);
    return static_cast<std::uint64_t>(std::max(permitted, 0) + std::max(excluded, 0));
}

}  // namespace

DWORD CheckAlone(const Certificate& certificate, const ChainRequest& request) {
    DWORD error = CheckExtensions(certificate.Native());
    if (!ValidAt(certificate, request.time)) error |= CERT_TRUST_IS_NOT_TIME_VALID;
    if (IsWeakKey(certificate.Info().SubjectPublicKeyInfo)) {
        error |= CERT_TRUST_IS_NOT_SIGNATURE_VALID;
    }
    return error;
}

DWORD CheckUsage(const Certificate& certificate, const ChainRequest& request) {
    if (request.usages.empty()) return 0;
    const auto usages = UsagesOf(certificate);
    if (!usages || Holds(*usages, kAnyUsage)) return 0;
    const auto permitted = [&](const std::string& usage) { return Holds(*usages, usage); };
    const auto& wanted = request.usages;
    const bool fits = request.anyUsage ? std::any_of(wanted.begin(), wanted.end(), permitted)
                                       : std::all_of(wanted.begin(), wanted.end(), permitted);
    return fits ? 0 : CERT_TRUST_IS_NOT_VALID_FOR_USAGE;
}

// RFC 5280 6.1.4 (k) to (n). An anchor was trusted on purpose: one from the time before
// the extensions may lack them (chain-1).
DWORD CheckAsIssuer(const Certificate& certificate, bool anchor, long authoritiesBelow) {
    X509* native = certificate.Native();
    const std::uint32_t flags = X509_get_extension_flags(native);
    const bool mayLack = anchor && (flags & EXFLAG_BCONS) == 0;
    DWORD error = 0;
    const long limit = X509_get_pathlen(native);
    if (((flags & EXFLAG_CA) == 0 && !mayLack) || (limit >= 0 && authoritiesBelow > limit)) {
        error |= CERT_TRUST_INVALID_BASIC_CONSTRAINTS;
    }
    if ((flags & EXFLAG_KUSAGE) != 0 &&
        (X509_get_key_usage(native) & X509v3_KU_KEY_CERT_SIGN) == 0) {
        error |= CERT_TRUST_IS_NOT_VALID_FOR_USAGE;
    }
    return error;
}

std::optional<std::vector<std::string>> UsagesOf(const Certificate& certificate) {
    const Usages usages(static_cast<EXTENDED_KEY_USAGE*>(
        X509_get_ext_d2i(certificate.Native(), NID_ext_key_usage, nullptr, nullptr)));
    ERR_clear_error();
    if (!usages) return std::nullopt;
    std::vector<std::string> identifiers;
    for (int i = 0; i < sk_ASN1_OBJECT_num(usages.get()); ++i) {
        identifiers.push_back(DottedOf(sk_ASN1_OBJECT_value(usages.get(), i)));
    }
    return identifiers;
}

NAME_CONSTRAINTS* NameChecker::ConstraintsOf(const Certificate& issuer) {
    const auto [place, added] = constraints_.try_emplace(&issuer);
    if (added) {
        place->second.reset(static_cast<NAME_CONSTRAINTS*>(
            X509_get_ext_d2i(issuer.Native(), NID_name_constraints, nullptr, nullptr)));
    }
    return place->second.get();
}

DWORD NameChecker::Violation(const Certificate& below, const Certificate& issuer,
                             NAME_CONSTRAINTS* constraints) {
    const auto [place, added] = results_.try_emplace({&below, &issuer}, 0);
    if (!added) return place->second;
    place->second = budget_.Spend(CountOf(*constraints) * SizeOfNames(below.Info()))
                        ? ViolationOf(NAME_CONSTRAINTS_check(below.Native(), constraints))
                        : CERT_TRUST_INVALID_NAME_CONSTRAINTS;
    return place->second;
}

// RFC 5280 6.1.3 (b) and (c): a self-issued authority's name is free.
void NameChecker::Check(Path& path) {
    for (std::size_t issuer = 1; issuer < path.links.size(); ++issuer) {
        NAME_CONSTRAINTS* constraints = ConstraintsOf(*path.links[issuer].certificate);
        if (constraints == nullptr) continue;
        for (std::size_t below = 0; below < issuer; ++below) {
            Link& link = path.links[below];
            if (below > 0 && IsSelfIssued(*link.certificate)) continue;
            link.error |=
                Violation(*link.certificate, *path.links[issuer].certificate, constraints);
        }
    }
    ERR_clear_error();
}

// RFC 5280 6.1.2 to 6.1.5. Only a chain that itself demands an explicit policy, or maps one
// where it may not, can fail.
void CheckPolicies(Path& path, Budget& budget) {
    if (path.links.size() < 2) return;
    const CertificateStack stack(sk_X509_new_null());
    std::uint64_t price = 200'000;
    for (const Link& link : path.links) {
        sk_X509_push(stack.get(), link.certificate->Native());
        price += 8 * link.certificate->Der().size();
    }
    const ObjectStack initial(sk_ASN1_OBJECT_new_null());
    sk_ASN1_OBJECT_push(initial.get(), OBJ_nid2obj(NID_any_policy));
    X509_POLICY_TREE* tree = nullptr;
    int isExplicit = 0;
    const bool valid =
        budget.Spend(price) &&
        X509_policy_check(&tree, &isExplicit, stack.get(), initial.get(), 0) == X509_PCY_TREE_VALID;
    const PolicyTree owner(tree);
    if (!valid) path.links.front().error |= CERT_TRUST_INVALID_POLICY_CONSTRAINTS;
    ERR_clear_error();
}

}  // namespace platform
