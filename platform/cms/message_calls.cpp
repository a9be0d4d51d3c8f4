// The exported CryptMsg calls.
#include "platform/base/ground.h"

#include "platform/base/error.h"
#include "platform/base/handle.h"
#include "platform/cms/message.h"
#include "platform/providers/provider.h"

using namespace platform;

namespace {

void CheckEncoding(DWORD encoding) {
    if ((encoding & PKCS_7_ASN_ENCODING) == 0) throw Error(E_INVALIDARG);
}

std::shared_ptr<Message> NewEncoder(DWORD flags, DWORD type, const void* info, const char* inner,
                                    const CMSG_STREAM_INFO* stream) {
    if (info == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    switch (type) {
        case CMSG_SIGNED:
            return NewSignedEncoder(*static_cast<const CMSG_SIGNED_ENCODE_INFO*>(info), flags,
                                    inner, stream);
        case CMSG_ENVELOPED:
            return NewEnvelopedEncoder(*static_cast<const CMSG_ENVELOPED_ENCODE_INFO*>(info), flags,
                                       inner, stream);
        default:
            throw Error(CRYPT_E_INVALID_MSG_TYPE);
    }
}

}  // namespace

HCRYPTMSG WINAPI CryptMsgOpenToEncode(DWORD encoding, DWORD flags, DWORD type, const void* info,
                                      LPSTR innerContentOid, PCMSG_STREAM_INFO stream) {
    return Guarded<HCRYPTMSG>(nullptr, [&]() -> HCRYPTMSG {
        CheckEncoding(encoding);
        return Publish(NewEncoder(flags, type, info, innerContentOid, stream));
    });
}

HCRYPTMSG WINAPI CryptMsgOpenToDecode(DWORD encoding, DWORD flags, DWORD type,
                                      HCRYPTPROV_LEGACY provider, PCERT_INFO /*recipient*/,
                                      PCMSG_STREAM_INFO stream) {
    return Guarded<HCRYPTMSG>(nullptr, [&]() -> HCRYPTMSG {
        CheckEncoding(encoding);
        std::shared_ptr<Provider> opened;
        if (provider != 0) opened = ProviderOf(provider);
        return Publish(NewDecoder(flags, type, std::move(opened), stream));
    });
}

BOOL WINAPI CryptMsgUpdate(HCRYPTMSG message, const BYTE* data, DWORD size, BOOL isFinal) {
    return GuardedBool([&] {
        if (data == nullptr && size != 0) throw Error(ERROR_INVALID_PARAMETER);
        Resolve<Message>(message)->Update(ViewOf(data, size), isFinal != FALSE);
    });
}

BOOL WINAPI CryptMsgGetParam(HCRYPTMSG message, DWORD param, DWORD index, void* data, DWORD* size) {
    return GuardedBool([&] { Resolve<Message>(message)->GetParam(param, index, data, size); });
}

BOOL WINAPI CryptMsgControl(HCRYPTMSG message, DWORD flags, DWORD type, const void* para) {
    return GuardedBool([&] { Resolve<Message>(message)->Control(type, flags, para); });
}

HCRYPTMSG WINAPI CryptMsgDuplicate(HCRYPTMSG message) {
    if (message == nullptr) return nullptr;
    return Guarded<HCRYPTMSG>(nullptr, [&] {
        AddHandleReference(message, Message::kKind, ERROR_INVALID_HANDLE);
        return message;
    });
}

// A null handle is closed already. The last error stays as the caller's failure left it.
BOOL WINAPI CryptMsgClose(HCRYPTMSG message) {
    if (message == nullptr) return TRUE;
    const DWORD kept = LastError();
    return GuardedBool([&] {
        ReleaseHandle(message, Message::kKind, ERROR_INVALID_HANDLE);
        PutLastError(kept);
    });
}
