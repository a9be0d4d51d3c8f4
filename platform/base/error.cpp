#include "platform/base/error.h"

#include <new>

namespace platform {
namespace {

thread_local DWORD lastError = 0;

struct Detail {
    DWORD code = 0;
    std::string text;
};

thread_local Detail lastDetail;

void KeepDetail(const Error& error) noexcept {
    try {
        lastDetail.text = error.Detail();
        lastDetail.code = error.Code();
    } catch (...) {
        lastDetail.code = 0;
    }
}

}  // namespace

void SetLastErrorFromException() noexcept {
    try {
        throw;
    } catch (const Error& error) {
        KeepDetail(error);
        lastError = error.Code();
    } catch (const std::bad_alloc&) {
        lastError = static_cast<DWORD>(E_OUTOFMEMORY);
    } catch (...) {
        lastError = ERROR_INTERNAL_ERROR;
    }
}

const std::string& LastErrorDetail(DWORD code) {
    static const std::string none;
    return lastDetail.code == code ? lastDetail.text : none;
}

}  // namespace platform

DWORD WINAPI GetLastError(void) { return platform::lastError; }

void WINAPI SetLastError(DWORD code) { platform::lastError = code; }
