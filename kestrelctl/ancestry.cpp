// Walking from a certificate to its issuers by name and signature.
#include "kestrelctl/ancestry.h"

#include "platform/base/error.h"
#include "platform/certs/signature.h"
#include "platform/stores/store.h"

namespace kestrelctl {
namespace {

using platform::Certificate;
using platform::Side;

// Longer ones are no chains that anybody uses; a circle ends here, too.
constexpr std::size_t kLongest = 16;

std::vector<Side> SidesFor(Side side) {
    if (side == Side::Machine) return {Side::Machine};
    return {Side::User, Side::Machine};
}

void Append(Certificates& list, const Certificates& more) {
    list.insert(list.end(), more.begin(), more.end());
}

Certificates FromStores(Side side, const char* name) {
    Certificates list;
    for (const Side each : SidesFor(side)) {
        const auto store = platform::OpenSystemStore(each, name, platform::OpenMode::Existing);
        Append(list, store->Certificates());
    }
    return list;
}

bool Holds(const Certificates& list, const Certificate& wanted) {
    for (const auto& one : list) {
        if (platform::Equal(one->Der(), wanted.Der())) return true;
    }
    return false;
}

std::shared_ptr<Certificate> IssuerAmong(const Certificates& pool, const Certificate& subject) {
    for (const auto& one : pool) {
        try {
            if (platform::HasIssued(*one, subject)) return one;
        } catch (const platform::Error&) {
            continue;  // a stranger's certificate that cannot be read issued nothing
        }
    }
    return nullptr;
}

}  // namespace

platform::AnyKey PublicKeyOf(const Certificate& certificate) {
    try {
        return platform::PublicKeyFromInfo(certificate.Info().SubjectPublicKeyInfo);
    } catch (const platform::Error&) {
        return {};
    }
}

// ctl-4: the one of a person signs itself although it may sign no others.
bool IsSelfSigned(const Certificate& certificate) {
    const CERT_INFO& info = certificate.Info();
    return platform::Equal(platform::ViewOf(info.Subject.pbData, info.Subject.cbData),
                           platform::ViewOf(info.Issuer.pbData, info.Issuer.cbData)) &&
           platform::CheckSignature(certificate.Der(), info.SubjectPublicKeyInfo).state ==
               platform::SignatureState::Good;
}

Ancestry AncestryOf(Side side, const std::shared_ptr<Certificate>& certificate,
                    const Certificates& more) {
    const Certificates roots = FromStores(side, "Root");
    Certificates pool = more;
    for (const Certificates& some : {roots, FromStores(side, "CA"), FromStores(side, "My")}) {
        Append(pool, some);
    }
    Ancestry ancestry;
    std::shared_ptr<Certificate> top = certificate;
    while (!IsSelfSigned(*top) && ancestry.issuers.size() < kLongest) {
        const auto issuer = IssuerAmong(pool, *top);
        if (!issuer) break;
        ancestry.issuers.push_back(issuer);
        top = issuer;
    }
    ancestry.complete = IsSelfSigned(*top);
    ancestry.trusted = ancestry.complete && Holds(roots, *top);
    return ancestry;
}

}  // namespace kestrelctl
