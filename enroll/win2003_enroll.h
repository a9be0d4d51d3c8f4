// Enrolment by the system's older control.
#pragma once

#include <xenroll.h>

#include "enroll/fl_enroll.h"

namespace kestrel {

class Win2003Enroll final : public FLEnroll {
  public:
    // Takes over a count of the control and one CoInitializeEx.
    explicit Win2003Enroll(ICEnroll3* control) : control_(control) {}
    ~Win2003Enroll() override;

    HRESULT EnableSMIMECapabilities(BOOL flag) override;
    HRESULT UseExistingKeySet(BOOL flag) override;
    HRESULT HashAlgorithm(BSTR name) override;
    HRESULT ContainerName(BSTR name) override;
    HRESULT ProviderType(LONG type) override;
    HRESULT ProviderName(BSTR name) override;
    HRESULT GenKeyFlags(LONG flags) override;
    HRESULT RequestStoreFlags(LONG flags) override;
    HRESULT ProviderFlags(LONG flags) override;
    HRESULT KeySpec(LONG spec) override;
    HRESULT LimitExchangeKeyToEncipherment(BOOL flag) override;
    HRESULT CAStoreFlags(LONG flags) override;
    HRESULT MyStoreFlags(LONG flags) override;
    HRESULT RootStoreFlags(LONG flags) override;
    HRESULT MyStoreName(BSTR name) override;
    HRESULT DeleteRequestCert(BOOL flag) override;
    HRESULT WriteCertToCSP(BOOL flag) override;
    HRESULT addExtensionToRequest(LONG critical, BSTR oid, BSTR value) override;
    HRESULT createPKCS10(BSTR dn, BSTR usage, BSTR* text) override;
    HRESULT createRequest(LONG format, BSTR dn, BSTR usage, BSTR* text) override;
    HRESULT acceptPKCS7(BSTR text) override;
    HRESULT InstallPKCS7(BSTR text) override;

  private:
    ICEnroll3* control_;
};

}  // namespace kestrel
