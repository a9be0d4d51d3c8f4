// kestrelctl identity list: what there is, whole or not.
#include <algorithm>

#include "kestrelctl/commands.h"
#include "kestrelctl/identities.h"
#include "kestrelctl/output.h"
#include "kestrelctl/text_forms.h"
#include "platform/base/error.h"

namespace kestrelctl {
namespace {

using platform::Certificate;
using platform::Container;
using platform::Side;

using Row = std::vector<std::string>;

bool Holds(const std::vector<CertificatePointer>& list, platform::ByteView der) {
    for (const auto& one : list) {
        if (platform::Equal(one->Der(), der)) return true;
    }
    return false;
}

const char* KeyName(DWORD spec) { return spec == AT_KEYEXCHANGE ? "exchange" : "signature"; }

void AppendCertificate(Row& row, const Certificate& certificate, std::string state) {
    const FILETIME& end = certificate.Info().NotAfter;
    const std::string expiry = ExpiryText(end);
    if (!state.empty() && !expiry.empty()) state += "; ";
    row.insert(row.end(), {NameText(certificate.Info().Subject), TimeText(end),
                           Thumbprint(certificate.Der()), state + expiry});
}

void AddKey(Listing& listing, const Container& container, DWORD spec,
            const std::vector<CertificatePointer>& my) {
    const auto der = container.CertificateOf(spec);
    const bool key = container.HasKey(spec);
    if (!key && !der) return;
    Row row = {container.Name(), std::to_string(container.Type()), KeyName(spec),
               key && container.NeedsPassword(spec) ? "yes" : "no"};
    if (der) {
        AppendCertificate(row, *Certificate::Parse(*der),
                          !key              ? "no key"
                          : Holds(my, *der) ? ""
                                            : "not in \"My\"");
    } else {
        row.insert(row.end(), {"", "", "", "no certificate"});
    }
    listing.Add(std::move(row));
}

void AddContainer(Listing& listing, const Container& container,
                  const std::vector<CertificatePointer>& my) {
    bool any = false;
    for (const DWORD spec : kKeySpecs) {
        any = any || container.HasKey(spec) || container.CertificateOf(spec);
        AddKey(listing, container, spec, my);
    }
    if (!any) {
        listing.Add(
            {container.Name(), std::to_string(container.Type()), "", "", "", "", "", "no key"});
    }
}

// Containers on the machine's side may be another user's.
void AddReadable(Listing& listing, Side side, const std::string& name,
                 const std::vector<CertificatePointer>& my) {
    try {
        AddContainer(listing, Container::Open(side, name), my);
    } catch (const platform::Error& error) {
        if (side == Side::User || error.Code() != ERROR_ACCESS_DENIED) throw;
        listing.Add({name, "", "", "", "", "", "", "not yours"});
    }
}

// Certificates whose key is gone.
void AddStray(Listing& listing, Side side, const std::vector<CertificatePointer>& certificates,
              const std::vector<std::string>& containers) {
    for (const auto& certificate : certificates) {
        const auto place = PlaceOf(*certificate);
        if (!place || place->side != side) continue;
        if (std::ranges::find(containers, place->container) != containers.end()) continue;
        Row row = {place->container, "", KeyName(place->spec), ""};
        AppendCertificate(row, *certificate, "no container");
        listing.Add(std::move(row));
    }
}

}  // namespace

void IdentityList(const Arguments& arguments) {
    const Side side = arguments.Side();
    Listing listing(
        {"container", "provtype", "key", "password", "subject", "not_after", "thumbprint", "state"},
        {"thumbprint", "password", "provtype"});
    const auto my = OpenIfThere(side, "My")->Certificates();
    const std::vector<std::string> containers = Container::List(side, 0);
    for (const std::string& name : containers) {
        AddReadable(listing, side, name, my);
    }
    AddStray(listing, side, my, containers);
    if (const auto superseded = OpenIfThere(side, kSuperseded)) {
        AddStray(listing, side, superseded->Certificates(), containers);
    }
    listing.Print(arguments.Json());
}

}  // namespace kestrelctl
