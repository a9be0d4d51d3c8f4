// kestrelctl request: what waits for an authority's answer, and asking again.
#include <algorithm>
#include <iterator>

#include "kestrelctl/ancestry.h"
#include "kestrelctl/commands.h"
#include "kestrelctl/identities.h"
#include "kestrelctl/output.h"
#include "kestrelctl/password.h"
#include "kestrelctl/text_forms.h"
#include "platform/base/error.h"
#include "platform/certs/compare.h"
#include "platform/enroll/response.h"

namespace kestrelctl {
namespace {

using platform::Certificate;
using platform::Container;
using platform::Extension;
using platform::Side;

constexpr std::size_t kShortestThumbprint = 4;

// What a certificate's owner asks for; the rest is the authority's.
constexpr const char* kAskedAgain[] = {szOID_KEY_USAGE, szOID_ENHANCED_KEY_USAGE, "2.5.29.17"};

Certificates Pending() {
    const auto store = OpenIfThere(Side::User, platform::kRequestStore);
    return store ? store->Certificates() : Certificates();
}

bool IsNamed(const Certificate& request, const std::string& name) {
    const auto place = PlaceOf(request);
    if (place && place->container == name) return true;
    const std::string digits = PlainHex(name);
    return digits.size() >= kShortestThumbprint && Thumbprint(request.Der()).starts_with(digits);
}

Certificates Named(const std::string& name) {
    Certificates found;
    std::ranges::copy_if(Pending(), std::back_inserter(found),
                         [&](const auto& one) { return IsNamed(*one, name); });
    if (found.empty()) throw Failure("no request of '" + name + "' waits for an answer");
    return found;
}

// A stand-in is valid from the moment when its request was made.
std::string AgeInDays(const Certificate& request) {
    const platform::Ticks since = platform::TicksOf(request.Info().NotBefore);
    const platform::Ticks now = platform::CurrentTicks();
    return std::to_string(now > since ? (now - since) / kTicksOfADay : 0);
}

std::string StateOf(const Certificate& request) {
    const auto place = PlaceOf(request);
    if (!place) return "leads to no key";
    try {
        const Container container = Container::Open(place->side, place->container);
        return container.HasKey(place->spec) ? "" : "key is gone";
    } catch (const platform::Error& error) {
        if (error.Code() != static_cast<DWORD>(NTE_BAD_KEYSET)) throw;
        return "key is gone";
    }
}

std::vector<std::string> RowOf(const Certificate& request) {
    const auto place = PlaceOf(request);
    return {place ? place->container : "",
            place && place->side == Side::Machine ? "machine" : "user",
            NameText(request.Info().Subject),
            TimeText(request.Info().NotBefore),
            AgeInDays(request),
            Thumbprint(request.Der()),
            StateOf(request)};
}

const std::vector<std::string> kColumns = {"container", "side",       "subject", "made",
                                           "days",      "thumbprint", "state"};

std::string ExtensionsText(const Certificate& request) {
    std::string text;
    const CERT_INFO& info = request.Info();
    for (DWORD i = 0; i < info.cExtension; ++i) {
        const CERT_EXTENSION& extension = info.rgExtension[i];
        text += (i == 0 ? "" : " ") + std::string(extension.pszObjId);
        if (extension.fCritical) text += "!";
    }
    return text;
}

// ---- renewing --------------------------------------------------------------------

platform::RequestContent ContentLike(const Certificate& certificate) {
    const CERT_INFO& info = certificate.Info();
    platform::RequestContent content{platform::Copy(platform::ViewOf(info.Subject)), {}};
    for (const char* oid : kAskedAgain) {
        const CERT_EXTENSION* one = platform::FindExtension(oid, info.cExtension, info.rgExtension);
        if (one == nullptr) continue;
        content.extensions.push_back(
            {oid, one->fCritical != 0, platform::Copy(platform::ViewOf(one->Value))});
    }
    return content;
}

platform::EnrollKey KeyOf(const Container& container, DWORD spec, platform::Secret pin) {
    platform::KeyProviderInfo place;
    place.container = container.Name();
    place.type = container.Type();
    place.flags = container.GetSide() == Side::Machine ? CRYPT_MACHINE_KEYSET : 0;
    place.keySpec = spec;
    return {LoadKey(container, spec, pin), place, false};
}

}  // namespace

void RequestList(const Arguments& arguments) {
    Listing listing(kColumns, {"thumbprint"});
    for (const auto& request : Pending()) listing.Add(RowOf(*request));
    listing.Print(arguments.Json());
}

void RequestShow(const Arguments& arguments) {
    std::vector<std::string> columns = kColumns;
    columns.insert(columns.end(), {"key", "bits", "extensions"});
    Listing listing(columns);
    for (const auto& request : Named(arguments.positionals[0])) {
        const platform::AnyKey key = PublicKeyOf(*request);
        std::vector<std::string> row = RowOf(*request);
        row.insert(row.end(), {key ? key.Oid() : "", key ? std::to_string(key.Bits()) : "",
                               ExtensionsText(*request)});
        listing.Add(std::move(row));
    }
    listing.Print(arguments.Json());
}

void RequestDelete(const Arguments& arguments) {
    const Certificates named = Named(arguments.positionals[0]);
    const auto store = OpenIfThere(Side::User, platform::kRequestStore);
    store->Together([&] {
        for (const auto& request : named) store->Remove(*request);
    });
    Say("Deleted " + std::to_string(named.size()) + (named.size() == 1 ? " request" : " requests") +
        "; the key stays in its container.");
}

void RequestRenew(const Arguments& arguments) {
    const ExportFile file(arguments.positionals[1], arguments.Has("force"));
    const Container container = Container::Open(arguments.Side(), arguments.positionals[0]);
    const DWORD spec = FilledKeySpec(container);
    const auto der = container.CertificateOf(spec);
    if (!der) throw Failure("container '" + container.Name() + "' holds no certificate");
    const auto request = platform::MakeRequest(ContentLike(*Certificate::Parse(*der)),
                                               KeyOf(container, spec, PinOf(arguments)));
    std::string text;
    AppendPem(text, "CERTIFICATE REQUEST", request);
    file.Write(platform::ViewOf(text), 0644);
    file.Report("Wrote a request for the key of '" + container.Name() + "' to '" +
                arguments.positionals[1] + "'.");
}

}  // namespace kestrelctl
