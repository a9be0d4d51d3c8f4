// What a step hands up: success, or a failure that the user has or has not heard of. One idiom
// passes it on:
//
//     if (const Reported failure = Step()) return failure;
#pragma once

#include <windows.h>

namespace kestrel {

// Success, or the code of a failure that nobody has told of yet.
class [[nodiscard]] Unreported {
  public:
    Unreported() = default;  // success
    explicit Unreported(DWORD code) : code_(code) {}
    [[nodiscard]] explicit operator bool() const { return code_ != 0; }  // true: failed
    [[nodiscard]] DWORD Code() const { return code_; }

  private:
    DWORD code_ = 0;
};

// Success, or a failure that needs no more words. Only those who print make one of a code; a
// command's routine returns it as its result.
class [[nodiscard]] Reported {
  public:
    Reported() = default;  // success
    // `return 0;`, and nothing but 0.
    consteval Reported(int zero) {
        if (zero != 0) throw "a code must pass through a reporter";
    }
    [[nodiscard]] operator DWORD() const { return code_; }  // not 0: failed

  private:
    explicit Reported(DWORD code) : code_(code) {}
    friend Reported ReportError(DWORD code, const char* argument);
    friend Reported LeaveToClosingLine(Unreported failure);

    DWORD code_ = 0;
};

// For a failure of which the closing line alone is to tell, or whose words were not an error
// line.
inline Reported LeaveToClosingLine(Unreported failure) { return Reported(failure.Code()); }

}  // namespace kestrel
