// Keys of a container, as handles.
#include <openssl/x509.h>

#include "platform/base/output.h"
#include "platform/providers/openssl.h"
#include "platform/providers/provider.h"

namespace platform {
namespace {

constexpr DWORD kGenerationFlags = CRYPT_EXPORTABLE;

// The object behind HCRYPTKEY: one key of a provider's container. It holds the provider,
// so that either handle may be released first.
class UserKey : public Object {
  public:
    static constexpr Kind kKind = Kind::Key;
    UserKey(std::shared_ptr<Provider> provider, DWORD keySpec)
        : Object(kKind), provider_(std::move(provider)), keySpec_(keySpec) {}

    [[nodiscard]] ALG_ID Algorithm() const {
        const ProviderRow& row = provider_->Row();
        return keySpec_ == AT_SIGNATURE ? row.signatureKey : row.exchangeKey;
    }
    [[nodiscard]] DWORD Bits() const { return provider_->Key(keySpec_).Bits(); }
    [[nodiscard]] Bytes Certificate() const {
        std::optional<Bytes> der = provider_->OpenContainer().CertificateOf(keySpec_);
        if (!der) throw Error(NTE_NOT_FOUND);
        return *std::move(der);
    }
    void SetCertificate(ByteView der) { provider_->OpenContainer().SaveCertificate(keySpec_, der); }

  private:
    std::shared_ptr<Provider> provider_;
    DWORD keySpec_;
};

HCRYPTKEY PublishKey(std::shared_ptr<Provider> provider, DWORD keySpec) {
    return reinterpret_cast<HCRYPTKEY>(
        Publish(std::make_shared<UserKey>(std::move(provider), keySpec)));
}

std::shared_ptr<UserKey> KeyOf(HCRYPTKEY handle) {
    return Resolve<UserKey>(handle, ERROR_INVALID_PARAMETER);
}

void GetParam(const UserKey& key, DWORD param, BYTE* data, DWORD* size) {
    switch (param) {
        case KP_ALGID:
            return CopyNumber(key.Algorithm(), data, size);
        case KP_KEYLEN:
            return CopyNumber(key.Bits(), data, size);
        case KP_CERTIFICATE:
            return CopyOut(key.Certificate(), data, size);
        default:
            throw Error(NTE_BAD_TYPE);
    }
}

// The call has no length: the certificate's own tells where it ends.
Bytes CertificateAt(const BYTE* data) {
    if (data == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    constexpr long kLongest = 1L << 24;
    const unsigned char* contents = data;
    long length = 0;
    int tag = 0;
    int tagClass = 0;
    const int result = ASN1_get_object(&contents, &length, &tag, &tagClass, kLongest);
    if (result != V_ASN1_CONSTRUCTED || tag != V_ASN1_SEQUENCE || length <= 0) {
        ThrowCrypto(CRYPT_E_ASN1_BADTAG);
    }
    const ByteView der =
        ViewOf(data, static_cast<std::size_t>(contents - data) + static_cast<std::size_t>(length));
    if (!DecodeWhole<NativeCertificate>(&d2i_X509, der)) ThrowCrypto(CRYPT_E_ASN1_BADTAG);
    return Copy(der);
}

HCRYPTKEY Generate(HCRYPTPROV provider, ALG_ID algorithm, DWORD flags) {
    if (algorithm != AT_KEYEXCHANGE && algorithm != AT_SIGNATURE) throw Error(NTE_BAD_ALGID);
    if ((flags & 0xFFFF & ~kGenerationFlags) != 0) throw Error(NTE_BAD_FLAGS);
    auto object = ProviderOf(provider);
    object->NewKey(algorithm, flags >> 16);
    return PublishKey(std::move(object), algorithm);
}

}  // namespace
}  // namespace platform

using namespace platform;

BOOL WINAPI CryptGetUserKey(HCRYPTPROV provider, DWORD keySpec, HCRYPTKEY* key) {
    return GuardedBool([&] {
        auto object = ProviderOf(provider);
        if (key == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        if (!object->HasKey(keySpec)) throw Error(NTE_NO_KEY);
        *key = PublishKey(std::move(object), keySpec);
    });
}

BOOL WINAPI CryptGenKey(HCRYPTPROV provider, ALG_ID algorithm, DWORD flags, HCRYPTKEY* key) {
    return GuardedBool([&] {
        if (key == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        *key = Generate(provider, algorithm, flags);
    });
}

BOOL WINAPI CryptGetKeyParam(HCRYPTKEY key, DWORD param, BYTE* data, DWORD* size, DWORD flags) {
    return GuardedBool([&] {
        const auto object = KeyOf(key);
        if (flags != 0) throw Error(NTE_BAD_FLAGS);
        GetParam(*object, param, data, size);
    });
}

BOOL WINAPI CryptSetKeyParam(HCRYPTKEY key, DWORD param, const BYTE* data, DWORD flags) {
    return GuardedBool([&] {
        const auto object = KeyOf(key);
        if (flags != 0) throw Error(NTE_BAD_FLAGS);
        if (param != KP_CERTIFICATE) throw Error(NTE_BAD_TYPE);
        object->SetCertificate(CertificateAt(data));
    });
}

BOOL WINAPI CryptDestroyKey(HCRYPTKEY key) {
    return GuardedBool([&] {
        ReleaseHandle(reinterpret_cast<const void*>(key), Kind::Key, ERROR_INVALID_PARAMETER);
    });
}
