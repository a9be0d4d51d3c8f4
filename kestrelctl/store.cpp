// kestrelctl store and trust: certificates and CRLs by store.
#include <algorithm>

#include "kestrelctl/bundle_file.h"
#include "kestrelctl/commands.h"
#include "kestrelctl/output.h"
#include "kestrelctl/text_forms.h"
#include "platform/stores/store.h"

namespace kestrelctl {
namespace {

using platform::OpenMode;
using platform::Store;

using platform::CertificateBundle;

std::shared_ptr<Store> OpenExisting(const Arguments& arguments) {
    return platform::OpenSystemStore(arguments.Side(), arguments.positionals[0],
                                     OpenMode::Existing);
}

std::string Counted(std::size_t count, const char* one) {
    return std::to_string(count) + " " + one + (count == 1 ? "" : "s");
}

std::string StoreText(platform::Side side, const std::string& name) {
    return "\"" + name + "\"" + (side == platform::Side::Machine ? " of the machine" : "");
}

// ---- adding --------------------------------------------------------------------

struct Tally {
    std::size_t added = 0;
    std::size_t present = 0;
};

template <class Item>
void AddItems(Store& store, const std::vector<std::shared_ptr<Item>>& items, Tally& tally) {
    for (const auto& item : items) {
        try {
            store.Add(*item, CERT_STORE_ADD_NEWER);
            ++tally.added;
        } catch (const platform::Error& error) {
            if (error.Code() != static_cast<DWORD>(CRYPT_E_EXISTS)) throw;
            ++tally.present;
        }
    }
}

// All files are read before the store is touched, so that a bad one changes nothing.
void AddFiles(platform::Side side, const std::string& name, const std::vector<std::string>& files) {
    std::vector<CertificateBundle> bundles;
    for (const std::string& file : files) bundles.push_back(ReadBundleFile(file));
    const auto store = platform::OpenSystemStore(side, name, OpenMode::CreateOnWrite);
    Tally certificates;
    Tally crls;
    store->Together([&] {
        for (const CertificateBundle& bundle : bundles) {
            AddItems(*store, bundle.certificates, certificates);
            AddItems(*store, bundle.crls, crls);
        }
    });
    std::string line = "Added " + Counted(certificates.added, "certificate") + " and " +
                       Counted(crls.added, "CRL") + " to " + StoreText(side, name);
    if (certificates.present != 0) {
        line += "; " + std::to_string(certificates.present) + " stood there already";
    }
    if (crls.present != 0) {
        line += "; " + Counted(crls.present, "CRL") + " no newer than what stands there";
    }
    Say(line + ".");
}

// ---- export --------------------------------------------------------------------

bool BeginsWith(platform::ByteView der, const std::string& thumbprint) {
    return Thumbprint(der).starts_with(thumbprint);
}

}  // namespace

void StoreList(const Arguments& arguments) {
    if (!arguments.positionals.empty()) {
        Listing listing({"thumbprint", "not_after", "key", "subject", "state"}, {"key"});
        for (const auto& certificate : OpenExisting(arguments)->Certificates()) {
            const CERT_INFO& info = certificate->Info();
            const bool hasKey = certificate->properties.contains(CERT_KEY_PROV_INFO_PROP_ID);
            listing.Add({Thumbprint(certificate->Der()), TimeText(info.NotAfter),
                         hasKey ? "yes" : "no", NameText(info.Subject), ExpiryText(info.NotAfter)});
        }
        listing.Print(arguments.Json());
        return;
    }
    Listing listing({"store", "certificates", "crls"});
    for (const std::string& name : platform::SystemStoreNames(arguments.Side())) {
        const auto store = platform::OpenSystemStore(arguments.Side(), name, OpenMode::Existing);
        listing.Add({name, std::to_string(store->Certificates().size()),
                     std::to_string(store->Crls().size())});
    }
    listing.Print(arguments.Json());
}

void StoreShow(const Arguments& arguments) {
    Listing listing(
        {"kind", "thumbprint", "serial", "from", "to", "algorithm", "subject", "issuer"});
    const auto store = OpenExisting(arguments);
    for (const auto& certificate : store->Certificates()) {
        const CERT_INFO& info = certificate->Info();
        listing.Add({"certificate", Thumbprint(certificate->Der()), SerialText(info.SerialNumber),
                     TimeText(info.NotBefore), TimeText(info.NotAfter),
                     info.SubjectPublicKeyInfo.Algorithm.pszObjId, NameText(info.Subject),
                     NameText(info.Issuer)});
    }
    for (const auto& crl : store->Crls()) {
        const CRL_INFO& info = crl->Head();
        listing.Add({"crl", Thumbprint(crl->Der()), "", TimeText(info.ThisUpdate),
                     TimeText(info.NextUpdate), info.SignatureAlgorithm.pszObjId, "",
                     NameText(info.Issuer)});
    }
    listing.Print(arguments.Json());
}

void StoreAdd(const Arguments& arguments) {
    const auto& words = arguments.positionals;
    AddFiles(arguments.Side(), words[0], {words.begin() + 1, words.end()});
}

void StoreRemove(const Arguments& arguments) {
    const auto store = OpenExisting(arguments);
    const std::string wanted = PlainHex(arguments.positionals[1]);
    auto certificates = store->Certificates();
    auto crls = store->Crls();
    std::erase_if(certificates, [&](const auto& c) { return !BeginsWith(c->Der(), wanted); });
    std::erase_if(crls, [&](const auto& c) { return !BeginsWith(c->Der(), wanted); });
    if (wanted.empty() || certificates.size() + crls.size() == 0) {
        throw Failure("nothing in the store has the thumbprint '" + wanted + "'");
    }
    if (certificates.size() + crls.size() > 1) {
        throw Failure("'" + wanted + "' begins several thumbprints");
    }
    for (const auto& certificate : certificates) store->Remove(*certificate);
    for (const auto& crl : crls) store->Remove(*crl);
    Say(std::string("Removed 1 ") + (crls.empty() ? "certificate" : "CRL") + " from " +
        StoreText(arguments.Side(), arguments.positionals[0]) + ".");
}

void StoreExport(const Arguments& arguments) {
    const ExportFile output(arguments.positionals[1], arguments.Has("force"));
    const auto store = OpenExisting(arguments);
    const auto certificates = store->Certificates();
    const auto crls = store->Crls();
    std::string text;
    for (const auto& certificate : certificates) AppendPem(text, "CERTIFICATE", certificate->Der());
    for (const auto& crl : crls) AppendPem(text, "X509 CRL", crl->Der());
    output.Write(platform::ViewOf(text), 0644);
    output.Report("Wrote " + Counted(certificates.size(), "certificate") + " and " +
                  Counted(crls.size(), "CRL") + " of " +
                  StoreText(arguments.Side(), arguments.positionals[0]) + " to " + output.Target() +
                  ".");
}

void Trust(const Arguments& arguments) {
    AddFiles(arguments.Side(), "Root", arguments.positionals);
}

}  // namespace kestrelctl
