// All text for the user: two catalogues with a Russian and an English form of each row, and
// the one place that prints. Everything goes to standard output.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

#include "front/core/error_rows.h"
#include "front/core/message_rows.h"
#include "front/core/result.h"

namespace kestrel {

struct TextPair {
    const char* russian;
    const char* english;
};

// A row's number.
using MessageId = int;

namespace say {

#define NAME_MESSAGE(number, name, russian, english) inline constexpr MessageId name = number;
KESTREL_MESSAGE_ROWS(NAME_MESSAGE)
#undef NAME_MESSAGE

}  // namespace say

// The id must have a row.
const TextPair& Message(MessageId id);

// The name and version of the program, without a full stop or a line end.
const TextPair& Banner();

// An own error code is a row's number with this flag.
inline constexpr DWORD kOwnError = 0x20000000;
#define NAME_ERROR(number, name, russian, english) inline constexpr DWORD name = kOwnError | number;
KESTREL_ERROR_ROWS(NAME_ERROR)
#undef NAME_ERROR
// "Unknown error." for a code without a row.
const TextPair& ErrorText(DWORD code);

// ReportError takes the platform's last error when it is given this code.
inline constexpr DWORD kLastError = 0xFFFFFFFF;

// Sets the runtime's locale and the language flag from the console.
void ChooseLanguage();

// Prints the form for the language and `newlines` line feeds, then flushes.
void PrintPair(const TextPair& text, int newlines);
void PrintMessage(MessageId id, int newlines);

// The same for what others wrote: names of files and stores, subjects, answers of servers.
// Nothing in it reaches a terminal that would act there.
void PrintText(std::string_view text, int newlines);
// As PrintText shows it: control characters and marks that turn the direction of writing
// stand as \xHH and \uHHHH, every other byte as it is. Characters of `kept` pass.
std::string Escaped(std::string_view text, std::string_view kept = {});

// Prints the error line of an own code, or of the last error for kLastError. The argument
// is escaped. Code 0 prints nothing and is success.
Reported ReportError(DWORD code, const char* argument = nullptr);
// The text of a code whose format takes a number, without prefix and code.
void PrintErrorText(DWORD code, DWORD value);

}  // namespace kestrel
