// kestrelctl identity: key containers and the certificates that belong to them.
#include <openssl/x509v3.h>

#include "kestrelctl/commands.h"
#include "kestrelctl/key_binding.h"
#include "kestrelctl/password.h"
#include "kestrelctl/pkcs12_file.h"
#include "kestrelctl/self_signed.h"
#include "kestrelctl/text_forms.h"
#include "platform/certs/key_provider_info.h"
#include "platform/certs/store.h"
#include "platform/providers/container.h"

namespace kestrelctl {
namespace {

using platform::Container;
using platform::Secret;

constexpr DWORD kKeySpecs[] = {AT_KEYEXCHANGE, AT_SIGNATURE};

Secret PinOf(const Arguments& arguments, std::string_view option = "pin") {
    const auto given = arguments.Find(option);
    return given ? Secret(platform::ViewOf(*given)) : Secret();
}

void PrintCreated(const std::string& container, platform::ByteView der) {
    std::printf("%s\t%s\n", container.c_str(), Thumbprint(der).c_str());
}

bool SelfIssued(platform::ByteView der) {
    const auto parsed = platform::Certificate::Parse(der);
    return X509_check_issued(parsed->Native(), parsed->Native()) == X509_V_OK;
}

// The key specification of a container that holds a key. Throws Failure without one.
DWORD FilledKeySpec(const Container& container) {
    for (const DWORD spec : kKeySpecs) {
        if (container.HasKey(spec)) return spec;
    }
    throw Failure("container '" + container.Name() + "' holds no key");
}

bool LeadsTo(const platform::Certificate& certificate, const std::string& container) {
    const auto property = certificate.properties.find(CERT_KEY_PROV_INFO_PROP_ID);
    return property != certificate.properties.end() &&
           platform::ParseKeyProviderInfo(property->second).container == container;
}

// The container's key, asking for its password when it has one and none was given.
platform::AnyKey LoadKey(const Container& container, DWORD spec, Secret& pin) {
    if (container.NeedsPassword(spec) && pin.Empty()) {
        pin = AskPassword("Password of container '" + container.Name() + "': ");
    }
    return container.LoadKey(spec, pin);
}

}  // namespace

void IdentityCreate(const Arguments& arguments) {
    const auto type = static_cast<DWORD>(arguments.Number("provtype", PROV_RSA_AES, 1));
    const auto bits = static_cast<DWORD>(arguments.Number("bits", 0, 1));
    const platform::AnyKey key = platform::GenerateKey(type, bits);
    const platform::Bytes der =
        SelfSigned(key, arguments.positionals[0], arguments.Number("days", 365, 1));
    const auto parsed = platform::Certificate::Parse(der);
    const std::string container =
        ContainerName(arguments.Side(), arguments.Get("container"), *parsed);
    SaveIdentity(arguments.Side(), container, key, der, PinOf(arguments));
    if (arguments.Has("trust")) AddToStore(arguments.Side(), "Root", der);
    PrintCreated(container, der);
}

void IdentityImport(const Arguments& arguments) {
    const Pkcs12Content content =
        ReadPkcs12(arguments.positionals[0], FilePassword(arguments, false));
    const auto parsed = platform::Certificate::Parse(content.certificate);
    const std::string container =
        ContainerName(arguments.Side(), arguments.Get("container"), *parsed);
    SaveIdentity(arguments.Side(), container, content.key, content.certificate, PinOf(arguments));
    const bool trust = arguments.Has("trust");
    if (trust && (content.others.empty() || SelfIssued(content.certificate))) {
        AddToStore(arguments.Side(), "Root", content.certificate);
    }
    for (const platform::Bytes& other : content.others) {
        AddToStore(arguments.Side(), trust && SelfIssued(other) ? "Root" : "CA", other);
    }
    PrintCreated(container, content.certificate);
}

void IdentityList(const Arguments& arguments) {
    Listing listing(
        {"container", "provtype", "key", "password", "subject", "not_after", "thumbprint"});
    for (const std::string& name : Container::List(arguments.Side(), 0)) {
        const Container container = Container::Open(arguments.Side(), name);
        for (const DWORD spec : kKeySpecs) {
            if (!container.HasKey(spec)) continue;
            std::vector<std::string> row = {name, std::to_string(container.Type()),
                                            spec == AT_KEYEXCHANGE ? "exchange" : "signature",
                                            container.NeedsPassword(spec) ? "yes" : "no"};
            if (const auto der = container.CertificateOf(spec)) {
                const auto parsed = platform::Certificate::Parse(*der);
                row.insert(row.end(), {NameText(parsed->Info().Subject),
                                       TimeText(parsed->Info().NotAfter), Thumbprint(*der)});
            } else {
                row.insert(row.end(), {"", "", ""});
            }
            listing.Add(std::move(row));
        }
    }
    listing.Print(arguments.Json());
}

void IdentityExport(const Arguments& arguments) {
    const Container container = Container::Open(arguments.Side(), arguments.positionals[0]);
    const DWORD spec = FilledKeySpec(container);
    const auto der = container.CertificateOf(spec);
    if (!der) throw Failure("container '" + container.Name() + "' holds no certificate");
    Secret pin = PinOf(arguments);
    const auto key = LoadKey(container, spec, pin);
    WritePkcs12(arguments.positionals[1], key, *der, container.Name(),
                FilePassword(arguments, true));
}

void IdentityPasswd(const Arguments& arguments) {
    Container container = Container::Open(arguments.Side(), arguments.positionals[0]);
    FilledKeySpec(container);
    Secret old = PinOf(arguments);
    std::vector<std::pair<DWORD, platform::AnyKey>> keys;
    for (const DWORD spec : kKeySpecs) {
        if (container.HasKey(spec)) keys.emplace_back(spec, LoadKey(container, spec, old));
    }
    const Secret fresh = arguments.Has("new-pin") ? PinOf(arguments, "new-pin")
                                                  : AskNewPassword("New password (empty: none): ");
    for (const auto& [spec, key] : keys) container.SaveKey(spec, key, fresh);
}

void IdentityDelete(const Arguments& arguments) {
    const std::string& name = arguments.positionals[0];
    Container::Open(arguments.Side(), name);
    const auto store =
        platform::OpenSystemStore(arguments.Side(), "My", platform::OpenMode::Existing);
    Container::Delete(arguments.Side(), name);
    for (const auto& certificate : store->Certificates()) {
        if (LeadsTo(*certificate, name)) store->Remove(*certificate);
    }
}

}  // namespace kestrelctl
