// The object that hands requests out and takes answers in.
#include <optional>

#include "platform/enroll/class_table.h"
#include "platform/enroll/com_object.h"
#include "platform/enroll/com_text.h"
#include "platform/enroll/request_objects.h"
#include "platform/enroll/response.h"

namespace platform {
namespace {

class Enrollment final : public ComObject<IX509Enrollment, enrollment::kIX509Enrollment> {
  public:
    HRESULT STDMETHODCALLTYPE Initialize(X509CertificateEnrollmentContext context) override {
        return Method([&] {
            if (context != ContextUser && context != ContextMachine) throw Error(E_INVALIDARG);
            side_ = context == ContextMachine ? Side::Machine : Side::User;
        });
    }

    HRESULT STDMETHODCALLTYPE InitializeFromRequest(IX509CertificateRequest* request) override {
        return Method([&] {
            const auto& own = OwnObject<RequestObject>(request);
            key_ = own.Key();
            content_ = own.Content();
        });
    }

    HRESULT STDMETHODCALLTYPE CreateRequest(EncodingType encoding, BSTR* request) override {
        return Method([&] {
            if (encoding != XCN_CRYPT_STRING_BASE64) throw Error(E_INVALIDARG);
            if (!key_) throw Error(CO_E_NOTINITIALIZED);
            PutText(request, Base64Lines(MakeRequest(content_, *key_)));
        });
    }

    HRESULT STDMETHODCALLTYPE InstallResponse(InstallResponseRestrictionFlags restrictions,
                                              BSTR response, EncodingType encoding,
                                              BSTR password) override {
        return Method([&] {
            if (encoding != XCN_CRYPT_STRING_ANY || LengthOf(password) != 0 || !side_) {
                throw Error(side_ ? E_INVALIDARG : CO_E_NOTINITIALIZED);
            }
            Install(restrictions, NarrowText(response));
        });
    }

    HRESULT STDMETHODCALLTYPE put_Silent(VARIANT_BOOL silent) override {
        return Method([&] { silent_ = silent != VARIANT_FALSE; });
    }

    HRESULT STDMETHODCALLTYPE get_Certificate(EncodingType encoding, BSTR* certificate) override {
        return Method([&] {
            if (encoding != XCN_CRYPT_STRING_BASE64) throw Error(E_INVALIDARG);
            if (!installed_) throw Error(CRYPT_E_NOT_FOUND);
            PutText(certificate, Base64Lines(installed_->Der()));
        });
    }

  private:
    // Everything on one side. The key's own object writes the certificate beside the key.
    void Install(InstallResponseRestrictionFlags restrictions, const std::string& response) {
        Placing placing;
        placing.mySide = placing.caSide = placing.rootSide = *side_;
        placing.silent = silent_;
        placing.writeToContainer = false;
        if ((restrictions & AllowNoOutstandingRequest) != 0) {
            InstallIssuers(ViewOf(response), placing);
        } else {
            installed_ = AcceptResponse(ViewOf(response), placing);
        }
    }

    std::optional<Side> side_;
    bool silent_ = false;
    std::optional<EnrollKey> key_;
    RequestContent content_;
    std::shared_ptr<Certificate> installed_;
};

}  // namespace

IUnknown* NewEnrollment() { return new Enrollment; }

}  // namespace platform
