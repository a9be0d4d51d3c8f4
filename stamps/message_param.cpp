// A message's parameters as bytes.
#include "stamps/message_param.h"
#include "front/core/encoding.h"

#include "stamps/failure.h"

namespace Ferroline {

CBlob MessageParam(HCRYPTMSG message, DWORD param, DWORD index) {
    DWORD size = 0;
    if (!CryptMsgGetParam(message, param, index, nullptr, &size)) ATL::ThrowLastError();
    CBlob value(size);
    if (!CryptMsgGetParam(message, param, index, value.GetData(), &size)) ATL::ThrowLastError();
    value.Resize(size);
    return value;
}

DWORD MessageNumber(HCRYPTMSG message, DWORD param) {
    DWORD number = 0;
    DWORD size = sizeof(number);
    if (!CryptMsgGetParam(message, param, 0, &number, &size)) ATL::ThrowLastError();
    return number;
}

SignerAttributes SignerAttributes::Of(HCRYPTMSG message, DWORD param, DWORD signer) {
    try {
        return SignerAttributes(MessageParam(message, param, signer));
    } catch (const ATL::CAtlException& failure) {
        if (failure.Result() != CRYPT_E_ATTRIBUTES_MISSING) throw;
        return {};
    }
}

std::span<const CRYPT_ATTRIBUTE> SignerAttributes::List() const {
    if (block_.IsEmpty()) return {};
    const auto& record = *reinterpret_cast<const CRYPT_ATTRIBUTES*>(block_.GetData());
    return {record.rgAttr, record.cAttr};
}

void OpenMessage(const void* data, DWORD size, kestrel::MessageHolder& message) {
    message.reset(CryptMsgOpenToDecode(kestrel::kMessageEncodingType, 0, 0, 0, nullptr, nullptr));
    if (!message) ATL::ThrowLastError();
    if (!CryptMsgUpdate(message.get(), static_cast<const BYTE*>(data), size, TRUE)) {
        const DWORD error = GetLastError();
        message.reset();
        SetLastError(error);
        ATL::ThrowLastError();
    }
}

}  // namespace Ferroline
