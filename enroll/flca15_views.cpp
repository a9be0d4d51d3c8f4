// The pages that show a certificate or a request.
#include <certcli.h>

#include "enroll/flca15_request.h"
#include "enroll/request_text.h"

namespace kestrel {

namespace {

constexpr LONG kRevokedItem = 6;  // the documented disposition

// A page as it came, two bytes to a character: nothing but a parcel (enroll-28).
std::wstring Packed(std::string_view page) {
    std::wstring packed((page.size() + 1) / 2, L'\0');
    for (std::size_t i = 0; i < page.size(); ++i) {
        const unsigned byte = static_cast<unsigned char>(page[i]);
        packed[i / 2] =
            static_cast<wchar_t>(static_cast<unsigned>(packed[i / 2]) | (byte << (i % 2 * 8)));
    }
    return packed;
}

}  // namespace

HRESULT FLCA15Request::FetchView(const std::string& base, bool isCertificate, std::string_view text,
                                 std::string& page) const {
    const std::string value = EncodeFormValue(text);
    if (HasToken()) {
        return isCertificate
                   ? PostLogin(base + "/Register/RegViewCert.asp", "&PKCS=" + value, page)
                   : PostLogin(base + "/Register/RegViewRequest.asp", "&PKCS10=" + value, page);
    }
    if (!isCertificate) {
        return Post(base + "/user/ViewCertRequest.asp", "PKCS10=" + value, page);
    }
    if (certificateId_ == -1) return E_UNEXPECTED;
    return Get(base + "/user/UserViewCert.asp?ID=" + std::to_string(certificateId_), page);
}

void FLCA15Request::ViewItem(const std::string& base, bool isCertificate, std::string_view text) {
    const bool issued = Disposition() == CR_DISP_ISSUED || Disposition() == kRevokedItem;
    if (requestId_ == -1 || (isCertificate && !issued)) return;
    std::string page;
    if (FetchView(base, isCertificate, text, page) != S_OK) return;
    (isCertificate ? certificateView_ : requestView_) = Packed(page);
}

}  // namespace kestrel
