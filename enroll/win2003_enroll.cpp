// Enrolment by the system's older control: each operation is one of the control's.
#include "enroll/win2003_enroll.h"

#include <enrollment.h>

#include "enroll/com_holders.h"

namespace kestrel {

namespace {

// Runs the operation on the later interface, or on the earlier one of a control without it.
template <typename Later, typename Earlier>
HRESULT WithLatest(ICEnroll3* control, Later later, Earlier earlier) {
    ComHolder<ICEnroll4> control4;
    if (SUCCEEDED(control->QueryInterface(enrollment::kICEnroll4, control4.FillAny()))) {
        return later(control4.Get());
    }
    ComHolder<ICEnroll3> control3;
    if (SUCCEEDED(control->QueryInterface(enrollment::kICEnroll3, control3.FillAny()))) {
        return earlier(control3.Get());
    }
    return E_NOTIMPL;
}

// The same operation on either.
template <typename Operation>
HRESULT OnLatest(ICEnroll3* control, Operation operation) {
    return WithLatest(control, operation, operation);
}

}  // namespace

Win2003Enroll::~Win2003Enroll() {
    const LastErrorKeeper keeper;
    control_->Release();
    CoUninitialize();
}

HRESULT Win2003Enroll::EnableSMIMECapabilities(BOOL flag) {
    return OnLatest(control_, [flag](auto* it) { return it->put_EnableSMIMECapabilities(flag); });
}

HRESULT Win2003Enroll::UseExistingKeySet(BOOL flag) {
    return control_->put_UseExistingKeySet(flag);
}

HRESULT Win2003Enroll::HashAlgorithm(BSTR name) { return control_->put_HashAlgorithm(name); }

HRESULT Win2003Enroll::ContainerName(BSTR name) { return control_->put_ContainerName(name); }

HRESULT Win2003Enroll::ProviderType(LONG type) { return control_->put_ProviderType(type); }

HRESULT Win2003Enroll::ProviderName(BSTR name) { return control_->put_ProviderName(name); }

HRESULT Win2003Enroll::GenKeyFlags(LONG flags) { return control_->put_GenKeyFlags(flags); }

HRESULT Win2003Enroll::RequestStoreFlags(LONG flags) {
    return control_->put_RequestStoreFlags(flags);
}

HRESULT Win2003Enroll::ProviderFlags(LONG flags) { return control_->put_ProviderFlags(flags); }

HRESULT Win2003Enroll::KeySpec(LONG spec) { return control_->put_KeySpec(spec); }

HRESULT Win2003Enroll::LimitExchangeKeyToEncipherment(BOOL flag) {
    return OnLatest(control_,
                    [flag](auto* it) { return it->put_LimitExchangeKeyToEncipherment(flag); });
}

HRESULT Win2003Enroll::CAStoreFlags(LONG flags) { return control_->put_CAStoreFlags(flags); }

HRESULT Win2003Enroll::MyStoreFlags(LONG flags) { return control_->put_MyStoreFlags(flags); }

HRESULT Win2003Enroll::RootStoreFlags(LONG flags) { return control_->put_RootStoreFlags(flags); }

HRESULT Win2003Enroll::MyStoreName(BSTR name) { return control_->put_MyStoreName(name); }

HRESULT Win2003Enroll::DeleteRequestCert(BOOL flag) {
    return control_->put_DeleteRequestCert(flag);
}

HRESULT Win2003Enroll::WriteCertToCSP(BOOL flag) { return control_->put_WriteCertToCSP(flag); }

HRESULT Win2003Enroll::addExtensionToRequest(LONG critical, BSTR oid, BSTR value) {
    return WithLatest(
        control_, [=](auto* it) { return it->addExtensionToRequest(critical, oid, value); },
        [](auto*) { return E_NOTIMPL; });
}

HRESULT Win2003Enroll::createPKCS10(BSTR dn, BSTR usage, BSTR* text) {
    return control_->createPKCS10(dn, usage, text);
}

HRESULT Win2003Enroll::createRequest(LONG format, BSTR dn, BSTR usage, BSTR* text) {
    return WithLatest(
        control_, [=](auto* it) { return it->createRequest(format, dn, usage, text); },
        [=](auto* it) {
            return format == kPlainRequest ? it->createPKCS10(dn, usage, text) : E_NOTIMPL;
        });
}

HRESULT Win2003Enroll::acceptPKCS7(BSTR text) { return control_->acceptPKCS7(text); }

HRESULT Win2003Enroll::InstallPKCS7(BSTR text) {
    return OnLatest(control_, [text](auto* it) { return it->InstallPKCS7(text); });
}

}  // namespace kestrel
