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

}  // namespace Ferroline
