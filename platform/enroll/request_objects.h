// The key of a request and the request itself as objects, as others of ours see them.
#pragma once

#include <memory>
#include <optional>

#include "platform/enroll/com_object.h"
#include "platform/enroll/enroll_key.h"
#include "platform/enroll/request.h"

namespace platform {

class KeyObject final : public ComObject<IX509PrivateKey, enrollment::kIX509PrivateKey> {
  public:
    HRESULT STDMETHODCALLTYPE Open() override;
    HRESULT STDMETHODCALLTYPE Create() override;
    HRESULT STDMETHODCALLTYPE get_ContainerName(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE put_ContainerName(BSTR name) override;
    HRESULT STDMETHODCALLTYPE put_ProviderName(BSTR name) override;
    HRESULT STDMETHODCALLTYPE put_ProviderType(X509ProviderType type) override;
    HRESULT STDMETHODCALLTYPE put_KeySpec(X509KeySpec spec) override;
    HRESULT STDMETHODCALLTYPE put_Length(LONG bits) override;
    HRESULT STDMETHODCALLTYPE put_ExportPolicy(X509PrivateKeyExportFlags policy) override;
    HRESULT STDMETHODCALLTYPE put_MachineContext(VARIANT_BOOL machine) override;
    HRESULT STDMETHODCALLTYPE put_Certificate(EncodingType encoding, BSTR certificate) override;
    HRESULT STDMETHODCALLTYPE put_Silent(VARIANT_BOOL silent) override;

    // Throws CO_E_NOTINITIALIZED before it was opened or created.
    [[nodiscard]] const EnrollKey& Opened() const;

  private:
    KeyWanted wanted_;
    std::optional<EnrollKey> key_;
};

class RequestObject final
    : public ComObject<IX509CertificateRequestPkcs10, enrollment::kIX509CertificateRequestPkcs10> {
  public:
    HRESULT STDMETHODCALLTYPE InitializeFromPrivateKey(X509CertificateEnrollmentContext context,
                                                       IX509PrivateKey* key,
                                                       BSTR templateName) override;
    HRESULT STDMETHODCALLTYPE put_Subject(IX500DistinguishedName* subject) override;
    HRESULT STDMETHODCALLTYPE put_SmimeCapabilities(VARIANT_BOOL enable) override;
    HRESULT STDMETHODCALLTYPE get_X509Extensions(IX509Extensions** extensions) override;

    // Both throw CO_E_NOTINITIALIZED before there is a key.
    [[nodiscard]] const EnrollKey& Key() const;
    [[nodiscard]] RequestContent Content() const;

  private:
    std::optional<EnrollKey> key_;
    Bytes subject_;
    bool smime_ = false;
    std::shared_ptr<std::vector<Extension>> extensions_ =
        std::make_shared<std::vector<Extension>>();
};

}  // namespace platform
