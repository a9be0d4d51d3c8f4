#include "key_binding.h"

#include "certs/key_provider_info.h"
#include "certs/store.h"
#include "cli.h"

namespace kestrelctl {
namespace {

using platform::Container;

// The last value of the simple form leads to the most specific name.
std::string CommonText(const CERT_NAME_BLOB& subject) {
    CERT_NAME_BLOB blob = subject;
    constexpr DWORD type = CERT_SIMPLE_NAME_STR | CERT_NAME_STR_REVERSE_FLAG;
    const DWORD size = CertNameToStrA(X509_ASN_ENCODING, &blob, type, nullptr, 0);
    std::string text(size, '\0');
    CertNameToStrA(X509_ASN_ENCODING, &blob, type, text.data(), size);
    text.resize(text.find('\0'));
    return text.substr(0, text.find(','));
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
                          const CERT_NAME_BLOB& subject) {
    if (!wanted.empty()) {
        if (!Container::ValidName(wanted)) throw Failure("'" + wanted + "' is no container name");
        return wanted;
    }
    const std::string base = Cleaned(CommonText(subject));
    std::string name = base;
    for (int i = 2; Taken(side, name); ++i) name = base + "-" + std::to_string(i);
    return name;
}

void SaveIdentity(platform::Side side, const std::string& containerName, EVP_PKEY* key,
                  platform::ByteView certificate, const platform::Secret& pin) {
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
