// Enrolment by the system's newer objects: settings are kept here, and a request is put together
// from objects.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "enroll/com_holders.h"
#include "enroll/fl_enroll.h"

namespace kestrel {

class VistaEnroll final : public FLEnroll {
  public:
    HRESULT EnableSMIMECapabilities(BOOL flag) override;
    HRESULT UseExistingKeySet(BOOL flag) override;
    HRESULT ContainerName(BSTR name) override;
    HRESULT ProviderType(LONG type) override;
    HRESULT ProviderName(BSTR name) override;
    HRESULT GenKeyFlags(LONG flags) override;
    HRESULT ProviderFlags(LONG flags) override;
    HRESULT KeySpec(LONG spec) override;
    HRESULT LimitExchangeKeyToEncipherment(BOOL flag) override;
    HRESULT WriteCertToCSP(BOOL flag) override;
    HRESULT addExtensionToRequest(LONG critical, BSTR oid, BSTR value) override;
    HRESULT createPKCS10(BSTR dn, BSTR usage, BSTR* text) override;
    HRESULT createRequest(LONG format, BSTR dn, BSTR usage, BSTR* text) override;
    HRESULT acceptPKCS7(BSTR text) override;
    HRESULT InstallPKCS7(BSTR text) override;

  private:
    using GivenExtension = std::pair<ComText, ComText>;  // identifier and BASE64

    [[nodiscard]] bool IsMachine() const {
        return (providerFlagsValue_ & CRYPT_MACHINE_KEYSET) != 0;
    }
    [[nodiscard]] VARIANT_BOOL Silent() const;

    friend class RequestBuilder;
    friend class ResponseTaker;

    bool useExisting_ = false;
    LONG markExportable_ = 0;
    bool signatureKey_ = false;
    bool limitToEncipherment_ = false;
    LONG providerTypeValue_ = 75;
    ComText providerNameValue_;
    ComText containerNameValue_;  // once a key is created, the name that it got
    LONG providerFlagsValue_ = 0;
    bool enableSmime_ = false;
    bool skipContainerWrite_ = false;
    std::vector<GivenExtension> extensions_;
};

}  // namespace kestrel
