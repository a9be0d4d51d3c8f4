// Walking from a certificate to its issuers by name and signature.
#include "kestrelctl/ancestry.h"

#include "platform/stores/store.h"

namespace kestrelctl {
namespace {

using platform::Certificate;
using platform::Side;

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

}  // namespace

Ancestry AncestryOf(Side side, const std::shared_ptr<Certificate>& certificate,
                    const Certificates& more) {
    const Certificates roots = FromStores(side, "Root");
    Certificates pool = more;
    for (const Certificates& some : {roots, FromStores(side, "CA"), FromStores(side, "My")}) {
        Append(pool, some);
    }
    Ancestry ancestry;
    ancestry.issuers = platform::IssuersOf(certificate, pool);
    const auto& top = ancestry.issuers.empty() ? certificate : ancestry.issuers.back();
    ancestry.complete = IsSelfSigned(*top);
    ancestry.trusted = ancestry.complete && Holds(roots, *top);
    return ancestry;
}

}  // namespace kestrelctl
