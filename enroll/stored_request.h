// Requests as an authority keeps them: bare, signed once or twice, or as a text inside of a
// signed message. And what became of them.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

#include "enroll/request_text.h"
#include "front/core/holders.h"

namespace kestrel {

// What a request says of itself, in storage of its own.
class RequestInfo {
  public:
    // The system's code for what is no request.
    HRESULT Decode(const Octets& request);
    [[nodiscard]] const CERT_PUBLIC_KEY_INFO& PublicKey() const {
        return reinterpret_cast<const CERT_REQUEST_INFO*>(record_.data())->SubjectPublicKeyInfo;
    }
    [[nodiscard]] bool HasKeyOf(const RequestInfo& other) const;

  private:
    Octets record_;
};

// In place of a disposition: a request of ours, on its way out.
inline constexpr LONG kOwnRequest = -2;

// Takes the layers off the request that has this disposition. `provider` may be 0. 0, or a code:
// CRYPT_E_INVALID_MSG_TYPE for a layer that is not there, NTE_BAD_DATA for a text that is none.
HRESULT ParseRequestInfo(std::string_view text, LONG disposition, HCRYPTPROV provider,
                         RequestInfo& info);

// The content of a PKCS #7 message in its place. CRYPT_E_INVALID_MSG_TYPE, and nothing changed,
// for bytes that are no message.
HRESULT UnwrapSignedMessage(HCRYPTPROV provider, Octets& bytes);

// With what a request is signed.
struct RequestSigner {
    PCCERT_CONTEXT certificate = nullptr;
    HCRYPTPROV provider = 0;
    DWORD keySpec = 0;
};
// The request in a PKCS #7 message in its place.
HRESULT WrapSignedMessage(const RequestSigner& signer, Octets& bytes);

// The serial number, in capital digits, of the certificate with this key in a BASE64 bundle.
HRESULT FindSerial(std::string_view bundle, const CERT_PUBLIC_KEY_INFO& key, std::string& serial);

}  // namespace kestrel
