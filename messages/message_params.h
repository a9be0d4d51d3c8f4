// Reading the parameters of a message object.
#pragma once

#include <windows.h>

#include <vector>

namespace kestrel {

// False with the last error set.
bool ReadCount(HCRYPTMSG message, DWORD param, DWORD& count);
// Length first, then the value, whose pointers refer into `value`.
bool ReadParam(HCRYPTMSG message, DWORD param, DWORD index, std::vector<BYTE>& value);

}  // namespace kestrel
