// How a platform failure travels through the provider search and the time-stamp code:
// as a thrown 32-bit result value. It is no std::exception, so the frame tells it from
// a failure of the C++ library.
#pragma once

#include <windows.h>

namespace ATL {

class CAtlException {
  public:
    explicit CAtlException(HRESULT result) : result_(result) {}
    [[nodiscard]] HRESULT Result() const { return result_; }

  private:
    HRESULT result_;
};

// A system error above 0 as a result value; a value that is one already stays as it is.
[[nodiscard]] inline HRESULT ResultOfError(DWORD error) {
    const auto value = static_cast<HRESULT>(error);
    return value > 0 ? static_cast<HRESULT>((error & 0xFFFF) | 0x80070000) : value;
}

// Throws the last error.
[[noreturn]] inline void ThrowLastError() { throw CAtlException(ResultOfError(GetLastError())); }

}  // namespace ATL
