// The one failure type inside the platform, and its way into the last error.
#pragma once

#include "platform/base/ground.h"

#include <exception>
#include <source_location>
#include <string>
#include <utility>

namespace platform {

// A failure that travels to the seam. `detail` (a file's name, a missing package) is
// appended to the system text of the code when that code is formatted next. `where` is the
// line that makes it; helpers that throw for others hand on their caller's.
class Error : public std::exception {
  public:
    // Takes an HRESULT constant and a Win32 value (a plain int macro) alike.
    explicit Error(LONG code, std::string detail = {},
                   std::source_location where = std::source_location::current())
        : code_(static_cast<DWORD>(code)), detail_(std::move(detail)), where_(where) {}
    explicit Error(DWORD code, std::string detail = {},
                   std::source_location where = std::source_location::current())
        : code_(code), detail_(std::move(detail)), where_(where) {}

    [[nodiscard]] DWORD Code() const { return code_; }
    [[nodiscard]] const std::string& Detail() const { return detail_; }
    [[nodiscard]] const std::source_location& Where() const { return where_; }
    [[nodiscard]] const char* what() const noexcept override { return detail_.c_str(); }

  private:
    DWORD code_;
    std::string detail_;
    std::source_location where_;
};

// The last error as GetLastError and SetLastError show it.
DWORD LastError() noexcept;
void PutLastError(DWORD code) noexcept;

// Both make a failure the last error, and a line of the trace when that is on (docs/trace.md).
// `call` is the exported call.
//
// The exception in flight. Call from a catch block only.
void SetLastErrorFromException(
    const std::source_location& call = std::source_location::current()) noexcept;
// A failure that is too common to be thrown.
void SetFailure(DWORD code,
                const std::source_location& call = std::source_location::current()) noexcept;

// An HRESULT of the Win32 facility is the Win32 code in its low half; others are as they are.
DWORD Win32CodeOf(DWORD code) noexcept;

// The detail that belongs to the last error, empty when `code` is not the last one raised. A
// Win32 code and the HRESULT that is made of it are one.
const std::string& LastErrorDetail(DWORD code);
// What the detail is to be if a caller finds by itself that what it was given is `code`.
void NoteDetail(DWORD code, const std::string& detail) noexcept;

// The system text of a code in the console's language, without a line end; null when
// there is none. See error_texts.cpp.
const char* SystemText(DWORD code, bool russian);

// Keeps the last error over a clean-up.
class LastErrorKeeper {
  public:
    LastErrorKeeper() : code_(LastError()) {}
    ~LastErrorKeeper() { PutLastError(code_); }
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

  private:
    DWORD code_;
};

// Runs the body of an exported call. What it throws becomes the last error and the
// failure value; nothing crosses the seam. `call` tells the trace which call it is.
template <class Result, class Body>
Result Guarded(Result failure, Body&& body,
               const std::source_location& call = std::source_location::current()) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        SetLastErrorFromException(call);
        return failure;
    }
}

// For calls that answer TRUE once their body ran to its end.
template <class Body>
BOOL GuardedBool(Body&& body,
                 const std::source_location& call = std::source_location::current()) noexcept {
    return Guarded<BOOL>(
        FALSE,
        [&] {
            std::forward<Body>(body)();
            return TRUE;
        },
        call);
}

// For calls that answer with their error and leave the last error alone.
template <class Body>
LSTATUS GuardedStatus(Body&& body,
                      const std::source_location& call = std::source_location::current()) noexcept {
    const LastErrorKeeper keeper;
    try {
        std::forward<Body>(body)();
        return ERROR_SUCCESS;
    } catch (...) {
        SetLastErrorFromException(call);
        return static_cast<LSTATUS>(LastError());
    }
}

}  // namespace platform
