// How a failure leaves the time-stamp code: as ATL::CAtlException with a result value.
#pragma once

#include <windows.h>

#include "front/core/atl_exception.h"

namespace Ferroline {

[[noreturn]] inline void Fail(HRESULT result) { throw ATL::CAtlException(result); }

// The last error, or `otherwise` where a call left none.
[[noreturn]] inline void FailWithLastErrorOr(HRESULT otherwise) {
    const DWORD error = GetLastError();
    Fail(error == 0 ? otherwise : ATL::ResultOfError(error));
}

// A call must have succeeded: by its last error, by its result.
inline void RequireDone(BOOL done) {
    if (!done) ATL::ThrowLastError();
}
inline void RequireResult(HRESULT result) {
    if (result < 0) Fail(result);
}

}  // namespace Ferroline
