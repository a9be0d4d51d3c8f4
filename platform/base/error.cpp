// The last error, its detail, and the trace of failed calls.
#include "platform/base/error.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

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
        lastDetail.code = Win32CodeOf(error.Code());
    } catch (...) {
        lastDetail.code = 0;
    }
}

// ---- the trace ---------------------------------------------------------------

// Asked for at a failure only.
bool Tracing() noexcept {
    const char* value = std::getenv("KESTREL_TRACE");
    return value != nullptr && std::strcmp(value, "1") == 0;
}

// "BOOL CryptMsgUpdate(HCRYPTMSG, ...)" is what a compiler calls a function.
std::string_view NameOf(const std::source_location& call) noexcept {
    std::string_view name = call.function_name();
    name = name.substr(0, name.find('('));
    return name.substr(name.find_last_of(" *&:") + 1);
}

// From the platform's folder on, wherever it was built.
std::string_view FileOf(const std::source_location& where) noexcept {
    const std::string_view file = where.file_name();
    const std::size_t folder = file.rfind("/platform/");
    return folder == file.npos ? file : file.substr(folder + 1);
}

// One write, so that lines of several processes stay whole.
void Trace(const std::source_location& call, DWORD code,
           const std::source_location& where) noexcept {
    if (!Tracing()) return;
    const std::string_view name = NameOf(call);
    const std::string_view file = FileOf(where);
    char line[512];
    const int length =
        std::snprintf(line, sizeof line, "trace: %.*s failed, 0x%X at %.*s:%u\n",
                      static_cast<int>(name.size()), name.data(), static_cast<unsigned>(code),
                      static_cast<int>(file.size()), file.data(), where.line());
    const std::size_t size = std::min(static_cast<std::size_t>(length), sizeof line - 1);
    static_cast<void>(!write(STDERR_FILENO, line, size));
}

}  // namespace

DWORD Win32CodeOf(DWORD code) noexcept {
    constexpr DWORD kWin32Facility = 0x80070000;
    return (code & 0xFFFF0000) == kWin32Facility ? code & 0xFFFF : code;
}

DWORD LastError() noexcept { return lastError; }
void PutLastError(DWORD code) noexcept { lastError = code; }

void SetFailure(DWORD code, const std::source_location& call) noexcept {
    lastError = code;
    Trace(call, code, call);
}

void SetLastErrorFromException(const std::source_location& call) noexcept {
    std::source_location where = call;
    try {
        throw;
    } catch (const Error& error) {
        KeepDetail(error);
        lastError = error.Code();
        where = error.Where();
    } catch (const std::bad_alloc&) {
        lastError = static_cast<DWORD>(E_OUTOFMEMORY);
    } catch (...) {
        lastError = ERROR_INTERNAL_ERROR;
    }
    Trace(call, lastError, where);
}

const std::string& LastErrorDetail(DWORD code) {
    static const std::string none;
    return lastDetail.code == Win32CodeOf(code) ? lastDetail.text : none;
}

void NoteDetail(DWORD code, const std::string& detail) noexcept { KeepDetail(Error(code, detail)); }

}  // namespace platform
