// Reading the parameters of a message object.
#include "messages/message_params.h"

#include "front/core/ask_size.h"

namespace kestrel {

bool ReadCount(HCRYPTMSG message, DWORD param, DWORD& count) {
    DWORD size = sizeof(count);
    return CryptMsgGetParam(message, param, 0, &count, &size) != FALSE;
}

bool ReadParam(HCRYPTMSG message, DWORD param, DWORD index, std::vector<BYTE>& value) {
    return FetchValue(value, [=](BYTE* buffer, DWORD* size) {
        return CryptMsgGetParam(message, param, index, buffer, size);
    });
}

}  // namespace kestrel
