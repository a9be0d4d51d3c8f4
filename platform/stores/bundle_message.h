// Certificates and CRLs out of a SignedData message that is fed in pieces; its content
// is dropped, so that a message of any size costs no more than its records.
#pragma once

#include "platform/base/ground.h"

#include "platform/base/bytes.h"
#include "platform/cms/message.h"
#include "platform/stores/store.h"

namespace platform {

class MessageReader {
  public:
    MessageReader();

    // Both throw what the message calls answer, and CRYPT_E_INVALID_MSG_TYPE for a
    // message of another type.
    void Feed(ByteView piece);
    CertificateBundle Finish();

  private:
    void Update(ByteView piece, bool last);
    void CheckType();

    std::shared_ptr<Message> message_;
    bool typeKnown_ = false;
};

// The certificates and CRLs of a message that was decoded.
CertificateBundle BundleOf(Message& message);

}  // namespace platform
