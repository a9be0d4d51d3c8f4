// Requests that wait for their answer, and putting an answer into the stores.
#pragma once

#include "platform/base/ground.h"

#include <memory>
#include <string>

#include "platform/certs/certificate.h"
#include "platform/enroll/enroll_key.h"
#include "platform/enroll/request.h"

namespace platform {

// The user's store of stand-ins for requests.
inline constexpr const char* kRequestStore = "REQUEST";

enum class RequestForm { Plain, Wrapped };

// Signs the request and keeps its stand-in with the way to the key. Answers the DER of the form.
// When it throws, a container that was made for the key is gone.
Bytes MakeRequest(const RequestContent& content, const EnrollKey& key,
                  RequestForm form = RequestForm::Plain);

struct Placing {
    std::string myStore = "My";
    Side mySide = Side::User;
    Side caSide = Side::User;
    Side rootSide = Side::User;
    KeyWanted key;  // whose container is looked into for the key after "REQUEST"; may name none
    bool silent = false;
    bool deleteRequest = true;
    bool writeToContainer = true;
};

// A response (a certificate or a PKCS #7 message; DER, BASE64 or armoured): the certificate whose
// key is here goes to its store and beside its key, its issuers to "CA" and "Root". What does not
// lead from it to its root is left out. Nothing is stored when any certificate of the response
// cannot be read, when no container holds the key of one (CRYPT_E_NOT_FOUND), or when one on the
// way to the root was not signed by the issuer that is here (TRUST_E_CERT_SIGNATURE): any of that
// name in the response, those whose key identifier it names in the stores. The steps are such
// that the same call finishes what a killed one began.
std::shared_ptr<Certificate> AcceptResponse(ByteView content, const Placing& placing);
// Issuers alone.
void InstallIssuers(ByteView content, const Placing& placing);

}  // namespace platform
