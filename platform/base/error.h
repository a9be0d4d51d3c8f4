// The one failure type inside the platform, and its way into the last error.
#pragma once

#include "platform/base/ground.h"

#include <exception>
#include <string>
#include <utility>

namespace platform {

// A failure that travels to the seam. `detail` (a file's name, a missing package) is
// appended to the system text of the code when that code is formatted next.
class Error : public std::exception {
  public:
    // Takes an HRESULT constant and a Win32 value (a plain int macro) alike.
    explicit Error(LONG code, std::string detail = {})
        : code_(static_cast<DWORD>(code)), detail_(std::move(detail)) {}
    explicit Error(DWORD code, std::string detail = {}) : code_(code), detail_(std::move(detail)) {}

    [[nodiscard]] DWORD Code() const { return code_; }
    [[nodiscard]] const std::string& Detail() const { return detail_; }
    [[nodiscard]] const char* what() const noexcept override { return detail_.c_str(); }

  private:
    DWORD code_;
    std::string detail_;
};

// Turns the exception in flight into the last error. Call from a catch block only.
void SetLastErrorFromException() noexcept;

// The detail that belongs to the last error, empty when `code` is not the last one raised.
const std::string& LastErrorDetail(DWORD code);

// The system text of a code in the console's language, without a line end; null when
// there is none. See error_texts.cpp.
const char* SystemText(DWORD code, bool russian);

// Keeps the last error over a clean-up.
class LastErrorKeeper {
  public:
    LastErrorKeeper() : code_(GetLastError()) {}
    ~LastErrorKeeper() { SetLastError(code_); }
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

  private:
    DWORD code_;
};

// Runs the body of an exported call. What it throws becomes the last error and the
// failure value; nothing crosses the seam.
template <class Result, class Body>
Result Guarded(Result failure, Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        SetLastErrorFromException();
        return failure;
    }
}

// For calls that answer TRUE once their body ran to its end.
template <class Body>
BOOL GuardedBool(Body&& body) noexcept {
    return Guarded<BOOL>(FALSE, [&] {
        std::forward<Body>(body)();
        return TRUE;
    });
}

}  // namespace platform
