// kestrelctl store and trust: certificates and CRLs by store.
#include <openssl/pem.h>

#include <algorithm>

#include "platform/stores/store.h"

#include "kestrelctl/commands.h"
#include "kestrelctl/text_forms.h"

namespace kestrelctl {
namespace {

using platform::OpenMode;
using platform::Store;

struct BioDeleter {
    void operator()(BIO* bio) const { BIO_free(bio); }
};

std::shared_ptr<Store> OpenExisting(const Arguments& arguments) {
    return platform::OpenSystemStore(arguments.Side(), arguments.positionals[0],
                                     OpenMode::Existing);
}

void AddFile(Store& store, const std::string& file) {
    const platform::CertificateBundle bundle = [&] {
        try {
            return platform::ReadBundle(platform::ReadWholeFile(file));
        } catch (const platform::Error& error) {
            if (!error.Detail().empty()) throw;
            throw platform::Error(error.Code(), file);
        }
    }();
    for (const auto& certificate : bundle.certificates) {
        store.Add(*certificate, CERT_STORE_ADD_USE_EXISTING);
    }
    for (const auto& crl : bundle.crls) store.Add(*crl, CERT_STORE_ADD_REPLACE_EXISTING);
}

void AddFiles(platform::Side side, const std::string& name, const std::vector<std::string>& files) {
    const auto store = platform::OpenSystemStore(side, name, OpenMode::OpenOrCreate);
    for (const std::string& file : files) AddFile(*store, file);
}

bool BeginsWith(platform::ByteView der, const std::string& thumbprint) {
    return Thumbprint(der).starts_with(thumbprint);
}

std::string Lower(std::string text) {
    std::erase_if(text, [](char c) { return c == ':' || c == ' '; });
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return text;
}

}  // namespace

void StoreList(const Arguments& arguments) {
    if (!arguments.positionals.empty()) {
        Listing listing({"thumbprint", "not_after", "key", "subject"});
        for (const auto& certificate : OpenExisting(arguments)->Certificates()) {
            const CERT_INFO& info = certificate->Info();
            const bool hasKey = certificate->properties.contains(CERT_KEY_PROV_INFO_PROP_ID);
            listing.Add({Thumbprint(certificate->Der()), TimeText(info.NotAfter),
                         hasKey ? "yes" : "no", NameText(info.Subject)});
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
        const CRL_INFO& info = crl->Info();
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
    const std::string wanted = Lower(arguments.positionals[1]);
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
}

void StoreExport(const Arguments& arguments) {
    const auto store = OpenExisting(arguments);
    const std::unique_ptr<BIO, BioDeleter> out(BIO_new(BIO_s_mem()));
    for (const auto& certificate : store->Certificates()) {
        PEM_write_bio_X509(out.get(), certificate->Native());
    }
    for (const auto& crl : store->Crls()) PEM_write_bio_X509_CRL(out.get(), crl->Native());
    const char* text = nullptr;
    const long size = BIO_get_mem_data(out.get(), &text);
    platform::ReplaceFile(arguments.positionals[1],
                          platform::ViewOf(text, static_cast<std::size_t>(size)), 0644);
}

void Trust(const Arguments& arguments) {
    AddFiles(arguments.Side(), "Root", arguments.positionals);
}

}  // namespace kestrelctl
