#include "kestrelctl/key_binding.h"

#include "kestrelctl/cli.h"
#include "platform/certs/key_provider_info.h"
#include "platform/certs/store.h"

namespace kestrelctl {
namespace {

using platform::Container;

std::string CommonName(const platform::Certificate& certificate) {
    const X509_NAME* subject = X509_get_subject_name(certificate.Native());
    const int at = X509_NAME_get_index_by_NID(subject, NID_commonName, -1);
    if (at < 0) return {};
    unsigned char* text = nullptr;
    const int size =
        ASN1_STRING_to_UTF8(&text, X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, at)));
    std::string name(reinterpret_cast<const char*>(text),
                     size > 0 ? static_cast<std::size_t>(size) : 0);
    OPENSSL_free(text);
    return name;
}

std::string Cleaned(const std::string& text) {
    std::string name;
    for (const char c : text) {
        const bool bad = c == '/' || c == '\\' || static_cast<unsigned char>(c) < 0x20;
        name += bad ? '_' : c;
    }
    return Container::ValidName(name) ? name : "identity";
}

bool Taken(platform::Side side, const std::string& name) {
    for (const std::string& other : Container::List(side, 0)) {
        if (other == name) return true;
    }
    return false;
}

}  // namespace

std::string ContainerName(platform::Side side, const std::string& wanted,
                          const platform::Certificate& certificate) {
    if (!wanted.empty()) {
        if (!Container::ValidName(wanted)) throw Failure("'" + wanted + "' is no container name");
        return wanted;
    }
    const std::string base = Cleaned(CommonName(certificate));
    std::string name = base;
    for (int i = 2; Taken(side, name); ++i) name = base + "-" + std::to_string(i);
    return name;
}

void SaveIdentity(platform::Side side, const std::string& containerName,
                  const platform::AnyKey& key, platform::ByteView certificate,
                  const platform::Secret& pin) {
    const DWORD type = platform::TypeForKey(key);
    Container container = Container::Create(side, containerName, type);
    try {
        container.SaveKey(AT_KEYEXCHANGE, key, pin);
        container.SaveCertificate(AT_KEYEXCHANGE, certificate);
        const auto parsed = platform::Certificate::Parse(certificate);
        platform::KeyProviderInfo info;
        info.container = containerName;
        info.type = type;
        info.flags = side == platform::Side::Machine ? CRYPT_MACHINE_KEYSET : 0;
        parsed->properties[CERT_KEY_PROV_INFO_PROP_ID] = platform::Serialize(info);
        platform::OpenSystemStore(side, "My", platform::OpenMode::OpenOrCreate)
            ->Add(*parsed, CERT_STORE_ADD_REPLACE_EXISTING);
    } catch (...) {
        Container::Delete(side, containerName);
        throw;
    }
}

void AddToStore(platform::Side side, const char* store, platform::ByteView certificate) {
    platform::OpenSystemStore(side, store, platform::OpenMode::OpenOrCreate)
        ->Add(*platform::Certificate::Parse(certificate), CERT_STORE_ADD_USE_EXISTING);
}

}  // namespace kestrelctl
