// The seam to the system's enrolment controls: a control is told what is wanted, then makes a
// request or takes the answer in.
#pragma once

#include <objbase.h>

#include <memory>

namespace kestrel {

// A result below 0 is the system's code. What a kind of control does not have answers E_NOTIMPL.
class FLEnroll {
  public:
    FLEnroll() = default;
    virtual ~FLEnroll() = default;
    FLEnroll(const FLEnroll&) = delete;
    FLEnroll& operator=(const FLEnroll&) = delete;

    virtual HRESULT EnableSMIMECapabilities(BOOL) { return E_NOTIMPL; }
    virtual HRESULT UseExistingKeySet(BOOL) { return E_NOTIMPL; }
    virtual HRESULT HashAlgorithm(BSTR) { return E_NOTIMPL; }
    virtual HRESULT ContainerName(BSTR) { return E_NOTIMPL; }
    virtual HRESULT ProviderType(LONG) { return E_NOTIMPL; }
    virtual HRESULT ProviderName(BSTR) { return E_NOTIMPL; }
    virtual HRESULT GenKeyFlags(LONG) { return E_NOTIMPL; }
    virtual HRESULT RequestStoreFlags(LONG) { return E_NOTIMPL; }
    virtual HRESULT ProviderFlags(LONG) { return E_NOTIMPL; }
    virtual HRESULT KeySpec(LONG) { return E_NOTIMPL; }
    virtual HRESULT LimitExchangeKeyToEncipherment(BOOL) { return E_NOTIMPL; }
    virtual HRESULT CAStoreFlags(LONG) { return E_NOTIMPL; }
    virtual HRESULT MyStoreFlags(LONG) { return E_NOTIMPL; }
    virtual HRESULT RootStoreFlags(LONG) { return E_NOTIMPL; }
    virtual HRESULT MyStoreName(BSTR) { return E_NOTIMPL; }
    virtual HRESULT DeleteRequestCert(BOOL) { return E_NOTIMPL; }
    virtual HRESULT WriteCertToCSP(BOOL) { return E_NOTIMPL; }
    // The value is BASE64 of one DER element.
    virtual HRESULT addExtensionToRequest(LONG /*critical*/, BSTR /*oid*/, BSTR /*value*/) {
        return E_NOTIMPL;
    }
    // A text that is filled in is the caller's to free.
    virtual HRESULT createPKCS10(BSTR /*dn*/, BSTR /*usage*/, BSTR* /*text*/) { return E_NOTIMPL; }
    virtual HRESULT createRequest(LONG /*format*/, BSTR /*dn*/, BSTR /*usage*/, BSTR* /*text*/) {
        return E_NOTIMPL;
    }
    virtual HRESULT acceptPKCS7(BSTR /*text*/) { return E_NOTIMPL; }
    virtual HRESULT InstallPKCS7(BSTR /*text*/) { return E_NOTIMPL; }
};

inline constexpr LONG kPlainRequest = 1;  // the format of createRequest that all controls have

// The control of this version of the system, or null.
std::unique_ptr<FLEnroll> ChooseEnrollControl();

}  // namespace kestrel
