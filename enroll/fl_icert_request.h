// An authority that the system speaks to.
#pragma once

#include <certcli.h>

#include "enroll/unix_request.h"

namespace kestrel {

class FLICertRequest final : public UnixRequest {
  public:
    // Takes over a count of the client and one CoInitializeEx.
    explicit FLICertRequest(ICertRequest* client) : client_(client) {}
    ~FLICertRequest() override;

    HRESULT SetCredential(LONG window, LONG type, BSTR credential, BSTR password) override;
    HRESULT SetAuth(PasswordCallback* callback, LONG type, DWORD flags, const char* name,
                    const char* password) override;
    HRESULT Submit(LONG flags, BSTR request, BSTR attributes, BSTR url, LONG* disposition) override;
    HRESULT RetrievePending(LONG id, BSTR url, LONG* disposition) override;
    HRESULT GetRequestId(LONG* id) override;
    HRESULT GetDispositionMessage(BSTR* text) override;
    HRESULT GetCACertificate(LONG exchange, BSTR url, LONG flags, BSTR* text) override;
    HRESULT GetCertificate(LONG flags, BSTR* text) override;
    HRESULT GetCAProperty(BSTR url, LONG id, LONG index, LONG type, LONG flags,
                          VARIANT* value) override;

  private:
    ICertRequest* client_;
};

}  // namespace kestrel
