// One signature of a message verified in one call.
#pragma once

#include "platform/base/ground.h"

#include <functional>
#include <memory>
#include <vector>

#include "platform/certs/certificate.h"
#include "platform/cms/message.h"
#include "platform/simple/content_pieces.h"

namespace platform {

// The certificates and CRLs that a message brings; what cannot be read as one is left out.
struct MessageItems {
    std::vector<std::shared_ptr<Certificate>> certificates;
    std::vector<std::shared_ptr<Crl>> crls;
};
// Answers the certificate that the signer's record names, or throws.
using SignerFinder = std::function<std::shared_ptr<Certificate>(CERT_INFO&, const MessageItems&)>;

// A SignedData whole, with the content beside it unless the message has its own. Throws
// CRYPT_E_UNEXPECTED_MSG_TYPE for another message, and what Message::Update throws.
std::shared_ptr<Message> DecodeSigned(ByteView encoded, const ContentPieces* detached);
// The first certificate of the message that is the signer's, or CRYPT_E_NOT_FOUND.
std::shared_ptr<Certificate> FindInMessage(CERT_INFO& signer, const MessageItems& items);
// Verifies one signature and answers its certificate. Throws CRYPT_E_NO_SIGNER behind the
// last one, and what the finder and SignedBody's verification throw.
std::shared_ptr<Certificate> VerifyMessage(Message& message, DWORD index, const SignerFinder& find);

}  // namespace platform
