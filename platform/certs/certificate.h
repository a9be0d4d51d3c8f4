// Certificates and CRLs as objects: the public context inside a private object that
// owns its encoding, its decoded record and its properties.
#pragma once

#include <openssl/x509.h>
#include "platform/base/ground.h"

#include <map>
#include <memory>
#include <optional>

#include "platform/base/bytes.h"
#include "platform/base/handle.h"
#include "platform/der/records.h"
#include "platform/providers/provider.h"

namespace platform {

using NativeCrl = std::unique_ptr<X509_CRL, Freer<X509_CRL_free>>;

// The provider that a certificate's key was opened with. An owned one stands for a count of
// the provider's handle, which is given back with it.
class KeyContext {
  public:
    KeyContext(std::shared_ptr<Provider> provider, DWORD keySpec, bool owned)
        : provider_(std::move(provider)), keySpec_(keySpec), owned_(owned) {}
    ~KeyContext();
    KeyContext(const KeyContext&) = delete;
    KeyContext& operator=(const KeyContext&) = delete;
    [[nodiscard]] const std::shared_ptr<Provider>& OpenedWith() const { return provider_; }
    [[nodiscard]] DWORD KeySpec() const { return keySpec_; }
    // Leaves the release of the handle to somebody else.
    void Disown() { owned_ = false; }

  private:
    std::shared_ptr<Provider> provider_;
    DWORD keySpec_;
    bool owned_;
};

// What a store is to the certificates that stand in it.
class CertificateOwner : public Object {
  public:
    using Object::Object;
    // Called when a property of a certificate of this store changed. The second writes
    // one property alone, so that what another process set meanwhile stays. Both throw
    // CRYPT_E_NOT_FOUND when the certificate was removed.
    virtual void SaveProperties(const class Certificate& certificate) = 0;
    virtual void SaveProperty(const class Certificate& certificate, DWORD property) = 0;
};

// What a certificate says, as views of its DER.
struct CertificateFields {
    DWORD version = 0;
    ByteView serial;
    AlgorithmView signatureAlgorithm;
    ByteView issuer;
    FILETIME notBefore{};
    FILETIME notAfter{};
    ByteView subject;
    PublicKeyView publicKey;
    BitsView issuerId;
    BitsView subjectId;
    std::vector<ExtensionView> extensions;
};

// The part of a certificate that is signed (RFC 5280 4.1). Throws CRYPT_E_ASN1_BADTAG, _EOD or
// _CORRUPT.
CertificateFields ReadToBeSigned(der::Cursor cursor);
// One CERT_INFO.
void Lay(Packer& packer, const CertificateFields& fields);

class Certificate : public Object, public std::enable_shared_from_this<Certificate> {
  public:
    static constexpr Kind kKind = Kind::Certificate;

    // Parses one DER certificate that fills `der` to its end (RFC 5280 4.1). Throws
    // CRYPT_E_ASN1_BADTAG, CRYPT_E_ASN1_EOD or CRYPT_E_ASN1_CORRUPT.
    static std::shared_ptr<Certificate> Parse(ByteView der);
    // The object behind a context. Throws ERROR_INVALID_PARAMETER.
    static std::shared_ptr<Certificate> Of(PCCERT_CONTEXT context);
    // The context of a certificate with one count more. While it is out, the store that
    // the certificate stands in stays alive.
    static PCCERT_CONTEXT Share(const std::shared_ptr<Certificate>& certificate);

    ~Certificate() override;

    [[nodiscard]] const CERT_CONTEXT& Context() const { return context_; }
    [[nodiscard]] const CERT_INFO& Info() const { return *context_.pCertInfo; }
    [[nodiscard]] ByteView Der() const { return der_; }
    // OpenSSL's form, made when it is first asked for and kept. Throws
    // CRYPT_E_ASN1_CORRUPT when OpenSSL does not take the encoding.
    [[nodiscard]] X509* Native() const;
    [[nodiscard]] const Bytes& Sha1() const { return sha1_; }

    // Properties in the flat form in which stores keep them. Provider information
    // (CERT_KEY_PROV_INFO_PROP_ID) is the text of key_provider_info.h.
    std::map<DWORD, Bytes> properties;
    std::unique_ptr<KeyContext> keyContext;

    // Where it stands, for deletion and saving of properties: null outside a store.
    std::weak_ptr<CertificateOwner> store;
    std::int64_t row = 0;

    // Set by the store when it hands the context out.
    void SetStoreHandle(HCERTSTORE handle) { context_.hCertStore = handle; }

  private:
    Certificate();
    CERT_CONTEXT context_{};
    Bytes der_;
    Bytes sha1_;
    mutable NativeCertificate native_;
    std::unique_ptr<std::uint8_t[]> info_;
};

// One entry of a list, as views of its DER.
struct CrlEntry {
    ByteView serial;
    der::Item date;
    ByteView extensions;  // the elements; none when it has none
};

// The entries one after the other. Throws as Certificate::Parse does.
class CrlEntries {
  public:
    explicit CrlEntries(ByteView contents) : list_(contents) {}
    std::optional<CrlEntry> Next();

  private:
    der::Cursor list_;
};

class Crl : public Object, public std::enable_shared_from_this<Crl> {
  public:
    static constexpr Kind kKind = Kind::Crl;

    // RFC 5280 5.1. All of it is checked, though lists with a million entries are kept as they
    // came. Throws as Certificate::Parse does.
    static std::shared_ptr<Crl> Parse(ByteView der);
    static std::shared_ptr<Crl> Of(PCCRL_CONTEXT context);
    static PCCRL_CONTEXT Share(const std::shared_ptr<Crl>& crl);

    ~Crl() override;

    // With a record of every entry, made when it is first asked for.
    [[nodiscard]] const CRL_CONTEXT& Context() const;
    // What the list says of itself: the record without its entries.
    [[nodiscard]] const CRL_INFO& Head() const {
        return *reinterpret_cast<const CRL_INFO*>(head_.get());
    }
    [[nodiscard]] CrlEntries Entries() const;
    [[nodiscard]] ByteView Der() const { return der_; }
    // OpenSSL's form of the list without its entries, for its extensions and names. Throws
    // CRYPT_E_ASN1_CORRUPT when OpenSSL does not take it.
    [[nodiscard]] X509_CRL* NativeHead() const;

    std::weak_ptr<CertificateOwner> store;
    std::int64_t row = 0;

    void SetStoreHandle(HCERTSTORE handle) { context_.hCertStore = handle; }

  private:
    Crl();
    mutable CRL_CONTEXT context_{};
    Bytes der_;
    mutable NativeCrl native_;
    std::unique_ptr<std::uint8_t[]> head_;
    mutable std::unique_ptr<std::uint8_t[]> info_;
};

}  // namespace platform
