// An authority that the system speaks to, each operation one of its client.
#include "enroll/fl_icert_request.h"

#include <enrollment.h>
#include <windows.h>

#include "enroll/com_holders.h"

namespace kestrel {

FLICertRequest::~FLICertRequest() {
    const LastErrorKeeper keeper;
    client_->Release();
    CoUninitialize();
}

HRESULT FLICertRequest::SetCredential(LONG window, LONG type, BSTR credential, BSTR password) {
    ComHolder<ICertRequest3> later;
    if (FAILED(client_->QueryInterface(enrollment::kICertRequest3, later.FillAny()))) {
        return E_NOTIMPL;
    }
    return later->SetCredential(window, static_cast<X509EnrollmentAuthFlags>(type), credential,
                                password);
}

HRESULT FLICertRequest::SetAuth(PasswordCallback*, LONG, DWORD, const char*, const char*) {
    return E_NOTIMPL;
}

HRESULT FLICertRequest::Submit(LONG flags, BSTR request, BSTR attributes, BSTR url,
                               LONG* disposition) {
    return client_->Submit(flags, request, attributes, url, disposition);
}

HRESULT FLICertRequest::RetrievePending(LONG id, BSTR url, LONG* disposition) {
    return client_->RetrievePending(id, url, disposition);
}

HRESULT FLICertRequest::GetRequestId(LONG* id) { return client_->GetRequestId(id); }

HRESULT FLICertRequest::GetDispositionMessage(BSTR* text) {
    return client_->GetDispositionMessage(text);
}

HRESULT FLICertRequest::GetCACertificate(LONG exchange, BSTR url, LONG flags, BSTR* text) {
    return client_->GetCACertificate(exchange, url, flags, text);
}

HRESULT FLICertRequest::GetCertificate(LONG flags, BSTR* text) {
    return client_->GetCertificate(flags, text);
}

HRESULT FLICertRequest::GetCAProperty(BSTR url, LONG id, LONG index, LONG type, LONG flags,
                                      VARIANT* value) {
    ComHolder<ICertRequest2> later;
    if (FAILED(client_->QueryInterface(enrollment::kICertRequest2, later.FillAny()))) {
        return E_NOTIMPL;
    }
    return later->GetCAProperty(url, id, index, type, flags, value);
}

}  // namespace kestrel
