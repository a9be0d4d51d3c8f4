// Properties of certificates. Stores keep them flat; some have a public structure.
#include "platform/certs/properties.h"

#include <optional>

#include "platform/base/error.h"
#include "platform/base/output.h"
#include "platform/certs/certificate.h"
#include "platform/certs/compare.h"
#include "platform/certs/encode.h"
#include "platform/certs/key_provider_info.h"

namespace platform {
namespace {

template <class Value>
void CopyValueOut(const Value& value, void* data, DWORD* size) {
    CopyOut(ViewOf(&value, sizeof value), data, size);
}

const Bytes* Stored(const Certificate& certificate, DWORD property) {
    const auto found = certificate.properties.find(property);
    return found == certificate.properties.end() ? nullptr : &found->second;
}

const Bytes& Needed(const Bytes* value) {
    if (value == nullptr) throw Error(CRYPT_E_NOT_FOUND);
    return *value;
}

const KeyContext& KeyContextOf(const Certificate& certificate) {
    if (!certificate.keyContext) throw Error(CRYPT_E_NOT_FOUND);
    return *certificate.keyContext;
}

HCRYPTPROV HandleOf(const KeyContext& context) {
    return reinterpret_cast<HCRYPTPROV>(context.OpenedWith().get());
}

void GetKeyContext(const Certificate& certificate, void* data, DWORD* size) {
    const KeyContext& context = KeyContextOf(certificate);
    CERT_KEY_CONTEXT record{};
    record.cbSize = sizeof record;
    record.hCryptProv = HandleOf(context);
    record.dwKeySpec = context.KeySpec();
    CopyValueOut(record, data, size);
}

DWORD KeySpecOf(const Certificate& certificate) {
    if (certificate.keyContext) return certificate.keyContext->KeySpec();
    return ParseKeyProviderInfo(Needed(Stored(certificate, CERT_KEY_PROV_INFO_PROP_ID))).keySpec;
}

// The identifier that was set, or the extension's, or else a hash of the whole public
// key record: that is the documented order for the property.
Bytes KeyIdentifierProperty(const Certificate& certificate) {
    if (const Bytes* set = Stored(certificate, CERT_KEY_IDENTIFIER_PROP_ID)) return *set;
    const CERT_INFO& info = certificate.Info();
    if (FindExtension(szOID_SUBJECT_KEY_IDENTIFIER, info.cExtension, info.rgExtension)) {
        return KeyIdentifierOf(info);
    }
    return Sha1Of(EncodePublicKey(info.SubjectPublicKeyInfo));
}

void SetKeyContext(Certificate& certificate, DWORD flags, const void* data) {
    std::unique_ptr<KeyContext> next;
    if (data != nullptr) {
        const auto& record = *static_cast<const CERT_KEY_CONTEXT*>(data);
        if (record.cbSize != sizeof record) throw Error(E_INVALIDARG);
        const bool owned = (flags & CERT_STORE_NO_CRYPT_RELEASE_FLAG) == 0;
        next = std::make_unique<KeyContext>(ProviderOf(record.hCryptProv), record.dwKeySpec, owned);
    }
    // A handle set once more is still one count of it.
    KeyContext* last = certificate.keyContext.get();
    if (next && last != nullptr && last->OpenedWith() == next->OpenedWith()) last->Disown();
    certificate.keyContext = std::move(next);
}

// The flat form of what the caller hands over for a property.
std::optional<Bytes> FlatValue(DWORD property, const void* data) {
    if (data == nullptr) return std::nullopt;
    if (property == CERT_KEY_PROV_INFO_PROP_ID) {
        return Serialize(FromPublic(*static_cast<const CRYPT_KEY_PROV_INFO*>(data)));
    }
    const auto& blob = *static_cast<const CRYPT_DATA_BLOB*>(data);
    if (blob.cbData != 0 && blob.pbData == nullptr) throw Error(E_INVALIDARG);
    return Copy(ViewOf(blob));
}

void SetStored(Certificate& certificate, DWORD property, std::optional<Bytes> value) {
    std::map<DWORD, Bytes> last = certificate.properties;
    if (value) {
        certificate.properties[property] = std::move(*value);
    } else {
        certificate.properties.erase(property);
    }
    try {
        if (const auto store = certificate.store.lock()) store->SaveProperty(certificate, property);
    } catch (...) {
        certificate.properties = std::move(last);
        throw;
    }
}

}  // namespace

void GetProperty(const Certificate& certificate, DWORD property, void* data, DWORD* size) {
    switch (property) {
        case 0:
            throw Error(E_INVALIDARG);
        case CERT_KEY_CONTEXT_PROP_ID:
            return GetKeyContext(certificate, data, size);
        case CERT_KEY_PROV_HANDLE_PROP_ID:
            return CopyValueOut(HandleOf(KeyContextOf(certificate)), data, size);
        case CERT_KEY_SPEC_PROP_ID:
            return CopyValueOut(KeySpecOf(certificate), data, size);
        case CERT_KEY_PROV_INFO_PROP_ID:
            return CopyPublicOut(ParseKeyProviderInfo(Needed(Stored(certificate, property))), data,
                                 size);
        case CERT_SHA1_HASH_PROP_ID:
            return CopyOut(certificate.Sha1(), data, size);
        case CERT_KEY_IDENTIFIER_PROP_ID:
            return CopyOut(KeyIdentifierProperty(certificate), data, size);
        default:
            return CopyOut(Needed(Stored(certificate, property)), data, size);
    }
}

void SetProperty(Certificate& certificate, DWORD property, DWORD flags, const void* data) {
    switch (property) {
        case 0:
        case CERT_SHA1_HASH_PROP_ID:
        case CERT_KEY_PROV_HANDLE_PROP_ID:
        case CERT_KEY_SPEC_PROP_ID:
            // They follow from the encoding, the key context or the provider record.
            throw Error(E_INVALIDARG);
        case CERT_KEY_CONTEXT_PROP_ID:
            return SetKeyContext(certificate, flags, data);
        default:
            return SetStored(certificate, property, FlatValue(property, data));
    }
}

}  // namespace platform
