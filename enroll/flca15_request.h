// A client of the FLCA certification authority, version 1.5, whose interface are its pages for
// people: it posts forms as a browser does and reads what comes back. Users with a token have
// pages of their own, and so have those with a certificate. Each page is fetched anew, with
// credentials and without cookies.
#pragma once

#include <string>
#include <string_view>

#include "enroll/page_reader.h"
#include "enroll/stored_request.h"
#include "enroll/unix_request_impl.h"
#include "enroll/url_retriever.h"
#include "front/core/holders.h"

namespace kestrel {

class FLCA15Request final : public UnixRequestImpl {
  public:
    HRESULT SetAuth(PasswordCallback* callback, LONG type, DWORD flags, const char* name,
                    const char* password) override;
    HRESULT GetRequestForm(BSTR url, BSTR templateName, BSTR* dn, BSTR* usage, BSTR* keySpec,
                           std::vector<std::string>* list) override;
    HRESULT GetRequestStatuses(BSTR url, std::map<LONG, LONG>* statuses) override;
    HRESULT GetItems(BSTR url, PageList* items, RowKind kind) override;
    HRESULT GetRequestText(LONG flags, BSTR* text) override;
    HRESULT Submit(LONG flags, BSTR request, BSTR attributes, BSTR url, LONG* disposition) override;
    HRESULT RetrievePending(LONG id, BSTR url, LONG* disposition) override;
    HRESULT ConfirmCertificate(LONG id, BSTR url) override;
    HRESULT GetRequestId(LONG* id) override;
    HRESULT GetCACertificate(LONG exchange, BSTR url, LONG flags, BSTR* text) override;
    HRESULT GetCertificate(LONG flags, BSTR* text) override;
    HRESULT RegisterUser(BSTR url, RegistrationForm* form) override;
    HRESULT GetRegistrationForm(BSTR url, RegistrationForm* form) override;
    HRESULT CheckRegistration(BSTR url, LONG* id, LONG* status) override;
    HRESULT GetCAProperty(BSTR url, LONG id, LONG index, LONG type, LONG flags,
                          VARIANT* value) override;

  private:
    // The three tables of a user.
    struct Tables {
        PageList certificates;
        PageList requests;
        PageList revocations;
    };

    [[nodiscard]] bool HasToken() const { return Type() == static_cast<LONG>(AuthType::UserName); }
    [[nodiscard]] bool HasCertificate() const {
        return Type() == static_cast<LONG>(AuthType::Certificate);
    }
    HRESULT CheckCredentials() const;
    // The address without one slash at its end.
    static HRESULT BaseAddress(BSTR url, std::string& base);

    // ---- pages: 0, or what FetchErrorCode says
    HRESULT Get(const std::string& address, std::string& page) const;
    HRESULT Post(const std::string& address, std::string_view body, std::string& page) const;
    // With a token its login in the body, before `more`.
    HRESULT PostLogin(const std::string& address, std::string_view more, std::string& page) const;
    HRESULT BuildTokenLogin(WipedText& body) const;

    // ---- the client certificate
    HRESULT HoldClientCertificate(const char* password);
    void ReleaseClientCertificate();
    HRESULT SignRequest(std::string_view request, std::string& signedText) const;

    // ---- lists
    HRESULT ListItems(const std::string& base, Tables& tables) const;
    HRESULT ListTokenItems(const std::string& base, Tables& tables) const;
    HRESULT ListCertificateItems(const std::string& base, Tables& tables) const;
    HRESULT FindRequestByText(const std::string& base, std::string_view text);
    HRESULT MatchSubmittedRequest(const std::string& base, std::string_view request);
    HRESULT FindOwnRequest(const Tables& tables, const RequestInfo& own, const PageRow*& row);
    HRESULT ScanRequestForm(const std::string& base, RequestForm& form) const;
    HRESULT ReadRequestForm(BSTR url, RequestForm& form) const;

    // ---- the steps of a request
    HRESULT SubmitWithToken(const std::string& base, std::string_view request);
    HRESULT SubmitWithCertificate(const std::string& base, std::string_view request);
    HRESULT TakeIssued(const std::string& base, std::string_view page, std::size_t number);
    HRESULT TakeWaiting(const std::string& base, std::string_view page);
    HRESULT FetchCertificate(const std::string& base);
    HRESULT TakeSerial(const CERT_PUBLIC_KEY_INFO& key, const PageList& certificates);
    // Best effort: nothing depends on what a page shows.
    void ViewItem(const std::string& base, bool isCertificate, std::string_view text);
    HRESULT FetchView(const std::string& base, bool isCertificate, std::string_view text,
                      std::string& page) const;
    void ResetState();

    LONG requestId_ = -1;
    LONG certificateId_ = -1;
    std::string certificateText_;  // BASE64
    std::string certificateSerial_;
    StoreHolder clientStore_;
    CertificateHolder clientCertificate_;
    ProviderHolder ownedProvider_;
    RequestSigner signer_;
    std::wstring certificateView_;
    std::wstring requestView_;
};

}  // namespace kestrel
