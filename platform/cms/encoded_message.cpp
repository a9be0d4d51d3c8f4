// Parameters of a finished encoding.
#include "platform/cms/encoded_message.h"

#include <utility>

#include "platform/base/error.h"
#include "platform/base/output.h"
#include "platform/cms/params.h"
#include "platform/der/der.h"

namespace platform {
namespace {

// SignedData or EnvelopedData out of its ContentInfo.
ByteView BareContent(ByteView contentInfo) {
    der::Cursor fields(der::Cursor(contentInfo).Expect(der::kSequence).contents);
    fields.Expect(der::kOid);
    return fields.Expect(der::ContextConstructed(0)).contents;
}

}  // namespace

void EncodedMessage::GetParam(DWORD param, DWORD /*index*/, void* data, DWORD* size) {
    switch (param) {
        case CMSG_TYPE_PARAM:
            return CopyNumber(type_, data, size);
        case CMSG_CONTENT_PARAM:
        case CMSG_ENCODED_MESSAGE:
            return CopyOut(Encoded(), data, size);
        case CMSG_BARE_CONTENT_PARAM:
            return CopyOut(BareContent(Encoded()), data, size);
        default:
            throw Error(CRYPT_E_INVALID_MSG_TYPE);
    }
}

void EncodedMessage::Control(DWORD /*type*/, DWORD /*flags*/, const void* /*para*/) {
    throw Error(CRYPT_E_CONTROL_TYPE);
}

void EncodedMessage::Finish(Bytes encoded) {
    encoded_ = std::move(encoded);
    Finish();
}

ByteView EncodedMessage::Encoded() const {
    if (!complete_) throw Error(CRYPT_E_STREAM_MSG_NOT_READY);
    // A streamed message went to its sink.
    if (encoded_.empty()) throw Error(CRYPT_E_INVALID_MSG_TYPE);
    return encoded_;
}

std::string InnerContentType(const char* oid) {
    if (oid == nullptr) return szOID_RSA_data;
    (void)der::Oid(oid);
    return oid;
}

}  // namespace platform
