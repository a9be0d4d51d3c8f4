// How a failure leaves the time-stamp code: as ATL::CAtlException with a result value.
#pragma once

#include <windows.h>

#include "front/core/atl_exception.h"

namespace Ferroline {

[[noreturn]] inline void Fail(HRESULT result) { throw ATL::CAtlException(result); }

}  // namespace Ferroline
