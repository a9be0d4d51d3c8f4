// The seam to certification authorities. A result other than 0 is the system's code; clients that
// speak to an authority themselves answer codes above 0 too, as the network has them. What a
// kind of client does not have answers E_NOTIMPL.
#pragma once

#include <objbase.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "enroll/page_row.h"

namespace kestrel {

struct RegistrationForm;

// Asks the user for a password. Counted as the system's objects are.
class PasswordCallback {
  public:
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;
    // The text that is filled in is the caller's to free.
    virtual HRESULT AskPassword(BSTR prompt, BSTR* password) = 0;

  protected:
    ~PasswordCallback() = default;
};

// The documented numbers of ways to be known to an authority.
enum class AuthType : LONG { Anonymous = 1, Kerberos = 2, UserName = 4, Certificate = 8 };

class UnixRequest {
  public:
    UnixRequest() = default;
    virtual ~UnixRequest() = default;
    UnixRequest(const UnixRequest&) = delete;
    UnixRequest& operator=(const UnixRequest&) = delete;

    virtual HRESULT SetCredential(LONG window, LONG type, BSTR credential, BSTR password) = 0;
    // `password` is zero-terminated narrow text, or null.
    virtual HRESULT SetAuth(PasswordCallback* callback, LONG type, DWORD flags, const char* name,
                            const char* password) = 0;
    // `url` is the authority's address. A text that is filled in is the caller's to free.

    // What a new request by this template is to hold: a subject, usages, a key specification.
    // `list` is emptied.
    virtual HRESULT GetRequestForm(BSTR /*url*/, BSTR /*templateName*/, BSTR* /*dn*/,
                                   BSTR* /*usage*/, BSTR* /*keySpec*/,
                                   std::vector<std::string>* /*list*/) {
        return E_NOTIMPL;
    }
    // The user's requests and their dispositions.
    virtual HRESULT GetRequestStatuses(BSTR /*url*/, std::map<LONG, LONG>* /*statuses*/) {
        return E_NOTIMPL;
    }
    virtual HRESULT GetItems(BSTR /*url*/, PageList* /*items*/, RowKind /*kind*/) {
        return E_NOTIMPL;
    }
    virtual HRESULT GetRequestText(LONG /*flags*/, BSTR* /*text*/) { return E_NOTIMPL; }
    virtual HRESULT Submit(LONG flags, BSTR request, BSTR attributes, BSTR url,
                           LONG* disposition) = 0;
    virtual HRESULT RetrievePending(LONG id, BSTR url, LONG* disposition) = 0;
    virtual HRESULT ConfirmCertificate(LONG /*id*/, BSTR /*url*/) { return E_NOTIMPL; }
    virtual HRESULT GetRequestId(LONG* id) = 0;
    virtual HRESULT GetDispositionMessage(BSTR* text) = 0;
    virtual HRESULT GetCACertificate(LONG exchange, BSTR url, LONG flags, BSTR* text) = 0;
    virtual HRESULT GetCertificate(LONG flags, BSTR* text) = 0;
    // Registering a user: the form to be filled in, and its way back.
    virtual HRESULT RegisterUser(BSTR /*url*/, RegistrationForm* /*form*/) { return E_NOTIMPL; }
    virtual HRESULT GetRegistrationForm(BSTR /*url*/, RegistrationForm* /*form*/) {
        return E_NOTIMPL;
    }
    virtual HRESULT CheckRegistration(BSTR /*url*/, LONG* /*id*/, LONG* /*status*/) {
        return E_NOTIMPL;
    }
    virtual HRESULT GetCAProperty(BSTR url, LONG id, LONG index, LONG type, LONG flags,
                                  VARIANT* value) = 0;
};

// The words of the kinds of authorities.
inline constexpr std::string_view kSystemAuthority = "MSCAstd";
inline constexpr std::string_view kFlcaAuthority = "FLCA15";

// The client for an authority of this kind, or null: for a word that names none, and where
// the system has none.
std::unique_ptr<UnixRequest> ChooseCaClient(std::string_view word);

}  // namespace kestrel
