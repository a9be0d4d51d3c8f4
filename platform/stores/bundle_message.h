// Certificates and CRLs out of a SignedData message that is fed in pieces; its content
// is dropped, so that a message of any size costs no more than its records.
#pragma once

#include "platform/base/ground.h"

#include "platform/base/bytes.h"
#include "platform/stores/store.h"

namespace platform {

class MessageReader {
  public:
    MessageReader();
    ~MessageReader();
    MessageReader(const MessageReader&) = delete;
    MessageReader& operator=(const MessageReader&) = delete;

    // Both throw what the message calls answer, and CRYPT_E_INVALID_MSG_TYPE for a
    // message of another type.
    void Feed(ByteView piece);
    CertificateBundle Finish();

  private:
    void Update(ByteView piece, bool last);
    void CheckType();

    HCRYPTMSG message_ = nullptr;
    bool typeKnown_ = false;
};

// The certificates and CRLs of a message that was decoded.
CertificateBundle BundleOf(HCRYPTMSG message);

}  // namespace platform
