#include <clocale>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "front/core/catalogue.h"
#include "front/core/format_guard.h"
#include "front/core/state.h"

namespace kestrel {

namespace {

constexpr MessageId kErrorPrefix = 100;

constexpr DWORD kFirstInternetError = 12000;
constexpr DWORD kLastInternetError = 12174;
constexpr DWORD kUserLanguage = 0x400;

// What a report may need beside its argument; every text of the catalogue fits.
constexpr size_t kReportRoom = 200;
constexpr size_t kNumberReportRoom = 210;

struct LocalMemory {
    void operator()(char* memory) const { LocalFree(memory); }
};
using SystemText = std::unique_ptr<char, LocalMemory>;
using Buffer = std::unique_ptr<char[]>;

// Ends a line that scripts read: upper case, no leading zeros.
void PrintCode(DWORD code) {
    std::printf(" (0x%X)\n", static_cast<unsigned>(code));
    std::fflush(stdout);
}

// There is no memory to go on with, so nothing here asks for any.
[[noreturn]] void EndWithoutMemory() {
    PrintMessage(kErrorPrefix, 0);
    const TextPair& text = ErrorText(kNoMemory);
    PrintPair(text.russian, text.english, 0);
    PrintCode(kNoMemory);
    ExitProcess(kNoMemory);
}

Buffer Allocate(size_t size) {
    Buffer buffer(new (std::nothrow) char[size]);
    if (buffer == nullptr) EndWithoutMemory();
    return buffer;
}

SystemText LookUpSystemText(DWORD error) {
    const bool internet = error >= kFirstInternetError && error <= kLastInternetError;
    const HMODULE source = internet ? GetModuleHandleA("wininet.dll") : nullptr;
    const DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS |
                        (internet ? FORMAT_MESSAGE_FROM_HMODULE : FORMAT_MESSAGE_FROM_SYSTEM);
    char* text = nullptr;
    FormatMessageA(flags, source, error, kUserLanguage, reinterpret_cast<LPSTR>(&text), 0, nullptr);
    return SystemText(text);
}

DWORD ReportLastError() {
    const DWORD error = GetLastError();
    const SystemText text = LookUpSystemText(error);
    if (text == nullptr) {
        PrintMessage(kUnknownErrorMessage, 0);
    } else {
        PrintMessage(kErrorPrefix, 0);
        PrintPair(text.get(), nullptr, 0);
    }
    PrintCode(error);
    return error;
}

// The catalogue's own format with the one argument. Without an argument the text is
// copied as it stands, an unfilled place included.
Buffer FillText(const char* text, const char* argument) {
    const size_t size = kReportRoom + (argument != nullptr ? std::strlen(argument) : 0);
    Buffer buffer = Allocate(size);
    std::snprintf(buffer.get(), size, argument != nullptr ? text : "%s",
                  argument != nullptr ? argument : text);
    return buffer;
}

Buffer FillNumber(const char* text, DWORD value) {
    Buffer buffer = Allocate(kNumberReportRoom);
    std::snprintf(buffer.get(), kNumberReportRoom, text, static_cast<unsigned>(value));
    return buffer;
}

}  // namespace

void ChooseLanguage() {
    // Where this locale exists, it makes the runtime carry the catalogue's code page over
    // to the console's own.
    std::setlocale(LC_ALL, "rus");
    const UINT codePage = GetConsoleOutputCP();
    state.russian = codePage == 866 || codePage == 1251;
}

void PrintPair(const char* russianText, const char* englishText, int newlines) {
    // The Russian text really is the format, so that a percent sign in it is interpreted.
    // One that would read past the arguments or write through them is printed as it is:
    // subject and file names come from strangers.
    if (state.russian && FitsFormatter(russianText, "sd")) {
        std::printf(russianText, englishText, newlines);
    } else if (state.russian) {
        std::fputs(russianText, stdout);
    } else {
        std::fputs(englishText != nullptr ? englishText : russianText, stdout);
    }
    for (int i = 0; i < newlines; ++i) std::putchar('\n');
    std::fflush(stdout);
}

void PrintMessage(MessageId id, int newlines) {
    const TextPair& text = Message(id);
    PrintPair(text.russian, text.english, newlines);
}

void PrintRawLine(const char* text, const char* first, const char* second) {
    if (state.russian && FitsFormatter(text, "ss")) {
        std::printf(text, first, second);
    } else {
        std::fputs(text, stdout);
    }
    std::putchar('\n');
    std::fflush(stdout);
}

DWORD ReportError(DWORD code, const char* argument) {
    if (code == 0) return 0;
    if (code == kLastError) return ReportLastError();

    const TextPair& text = ErrorText(code);
    const Buffer russian = FillText(text.russian, argument);
    const Buffer english = FillText(text.english, argument);
    PrintMessage(kErrorPrefix, 0);
    PrintPair(russian.get(), english.get(), 0);
    PrintCode(code);
    return code;
}

DWORD PrintErrorText(DWORD code, DWORD value) {
    const TextPair& text = ErrorText(code);
    const Buffer russian = FillNumber(text.russian, value);
    const Buffer english = FillNumber(text.english, value);
    PrintPair(russian.get(), english.get(), 1);
    return code;
}

}  // namespace kestrel
