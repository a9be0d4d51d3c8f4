// Values of a length that only the platform knows: the length is asked for, then the value
// fetched. `call(buffer, size)` is the platform's call: with a null buffer it tells the length,
// otherwise it writes the value and its length.
#pragma once

#include <windows.h>

#include <cstdlib>
#include <vector>

#include "front/core/catalogue.h"
#include "front/core/holders.h"

namespace kestrel {

// False with the call's last error.
template <typename Call>
bool FetchValue(std::vector<BYTE>& value, const Call& call) {
    DWORD size = 0;
    if (!call(static_cast<BYTE*>(nullptr), &size)) return false;
    value.resize(size);
    if (!call(value.data(), &size)) return false;
    value.resize(size);
    return true;
}

// The same for the whole-file road, whose buffers may be large: kLastError or kNoMemory. With
// `room`, which is mostly enough, the length is asked for only when it was not.
template <typename Call>
Reported FetchBytes(BytesHolder& bytes, DWORD& size, const Call& call, DWORD room = 0) {
    size = room;
    if (room == 0 && !call(static_cast<BYTE*>(nullptr), &size)) return ReportError(kLastError);
    bytes.reset(static_cast<BYTE*>(std::malloc(size)));
    if (!bytes) return ReportError(kNoMemory);
    if (call(bytes.get(), &size)) return 0;
    const bool tooShort = room != 0 && GetLastError() == ERROR_MORE_DATA;
    return tooShort ? FetchBytes(bytes, size, call) : ReportError(kLastError);
}

}  // namespace kestrel
