// What clients share that speak to an authority themselves: who the user is, and how it went.
#pragma once

#include <string>
#include <vector>

#include "enroll/unix_request.h"

namespace kestrel {

// Bits of the flags of SetAuth.
inline constexpr DWORD kAuthFlag = 1;         // always set
inline constexpr DWORD kAuthTrustServer = 4;  // the server's certificate is not verified

class UnixRequestImpl : public UnixRequest {
  public:
    ~UnixRequestImpl() override;

    HRESULT SetCredential(LONG window, LONG type, BSTR credential, BSTR password) override;
    HRESULT SetAuth(PasswordCallback* callback, LONG type, DWORD flags, const char* name,
                    const char* password) override;
    HRESULT GetDispositionMessage(BSTR* text) override;

  protected:
    [[nodiscard]] LONG Disposition() const { return disposition_; }
    void SetDisposition(LONG disposition) { disposition_ = disposition; }
    [[nodiscard]] PasswordCallback* Callback() const { return callback_; }
    [[nodiscard]] LONG Type() const { return authType_; }
    [[nodiscard]] DWORD Flags() const { return authFlags_; }
    [[nodiscard]] const std::string& Name() const { return authName_; }
    // Zero-terminated; null when there is none.
    [[nodiscard]] const char* Password() const {
        return authPassword_.empty() ? nullptr : authPassword_.data();
    }

  private:
    void Forget();

    PasswordCallback* callback_ = nullptr;
    LONG disposition_ = -1;
    LONG authType_ = static_cast<LONG>(AuthType::Anonymous);
    DWORD authFlags_ = kAuthFlag;
    std::string authName_;  // a token's identifier or a certificate's thumbprint
    std::vector<char> authPassword_;
};

}  // namespace kestrel
