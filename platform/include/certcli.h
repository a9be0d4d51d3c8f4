// The ground on Linux: requests to a certification authority, in the documented layout. The class
// of this system has the first interface alone.
#pragma once

#include <objbase.h>

// How a request is given, and a certificate handed out.
#define CR_IN_BASE64HEADER 0
#define CR_IN_BASE64 0x1
#define CR_IN_BINARY 0x2
#define CR_IN_ENCODEANY 0xFF
#define CR_IN_ENCODEMASK 0xFF
#define CR_IN_PKCS10 0x100
#define CR_OUT_BASE64HEADER 0
#define CR_OUT_BASE64 0x1
#define CR_OUT_BINARY 0x2
#define CR_OUT_ENCODEMASK 0xFF
#define CR_OUT_CHAIN 0x100

#define CR_DISP_INCOMPLETE 0
#define CR_DISP_ERROR 1
#define CR_DISP_DENIED 2
#define CR_DISP_ISSUED 3
#define CR_DISP_ISSUED_OUT_OF_BAND 4
#define CR_DISP_UNDER_SUBMISSION 5

struct ICertRequest : IDispatch {
    virtual HRESULT STDMETHODCALLTYPE Submit(LONG flags, const BSTR request, const BSTR attributes,
                                             const BSTR config, LONG* disposition) = 0;
    virtual HRESULT STDMETHODCALLTYPE RetrievePending(LONG requestId, const BSTR config,
                                                      LONG* disposition) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetLastStatus(LONG* status) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRequestId(LONG* requestId) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDispositionMessage(BSTR* text) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCACertificate(LONG exchange, const BSTR config, LONG flags,
                                                       BSTR* certificate) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCertificate(LONG flags, BSTR* certificate) = 0;
};

struct ICertRequest2 : ICertRequest {
    virtual HRESULT STDMETHODCALLTYPE GetIssuedCertificate(const BSTR config, LONG requestId,
                                                           const BSTR serialNumber,
                                                           LONG* disposition) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetErrorMessageText(LONG code, LONG flags, BSTR* text) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCAProperty(const BSTR config, LONG id, LONG index,
                                                    LONG type, LONG flags, VARIANT* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCAPropertyFlags(const BSTR config, LONG id,
                                                         LONG* flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCAPropertyDisplayName(const BSTR config, LONG id,
                                                               BSTR* name) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFullResponseProperty(LONG id, LONG index, LONG type,
                                                              LONG flags, VARIANT* value) = 0;
};
