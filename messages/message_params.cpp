#include "messages/message_params.h"

namespace kestrel {

bool ReadCount(HCRYPTMSG message, DWORD param, DWORD& count) {
    DWORD size = sizeof(count);
    return CryptMsgGetParam(message, param, 0, &count, &size) != FALSE;
}

bool ReadParam(HCRYPTMSG message, DWORD param, DWORD index, std::vector<BYTE>& value) {
    DWORD size = 0;
    if (!CryptMsgGetParam(message, param, index, nullptr, &size)) return false;
    value.resize(size);
    if (!CryptMsgGetParam(message, param, index, value.data(), &size)) return false;
    value.resize(size);
    return true;
}

}  // namespace kestrel
