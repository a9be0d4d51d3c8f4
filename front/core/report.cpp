// Printing: the catalogue's texts, the error line, and text of others.
#include <clocale>
#include <cstdio>
#include <memory>
#include <new>

#include "front/core/catalogue.h"
#include "front/core/holders.h"
#include "front/core/state.h"

namespace kestrel {

namespace {

constexpr DWORD kFirstInternetError = 12000;
constexpr DWORD kLastInternetError = 12174;
constexpr DWORD kUserLanguage = 0x400;

using SystemText = std::unique_ptr<char, Releaser<LocalFree>>;

const char* ForUser(const TextPair& text) { return state.russian ? text.russian : text.english; }

void Put(std::string_view text, int newlines) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    for (int i = 0; i < newlines; ++i) std::putchar('\n');
    std::fflush(stdout);
}

// Upper case, no leading zeros (front-2).
void PrintCode(DWORD code) {
    std::printf(" (0x%X)\n", static_cast<unsigned>(code));
    std::fflush(stdout);
}

// There is no memory to go on with, so nothing here asks for any.
[[noreturn]] void EndWithoutMemory() {
    PrintMessage(say::kErrorPrefix, 0);
    PrintPair(ErrorText(kNoMemory), 0);
    PrintCode(kNoMemory);
    ExitProcess(kNoMemory);
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

// A system's text ends its own lines, and may name a file or quote a server.
DWORD ReportLastError() {
    const DWORD error = GetLastError();
    const SystemText text = LookUpSystemText(error);
    if (text == nullptr) {
        PrintMessage(say::kUnknownError, 0);
    } else {
        PrintMessage(say::kErrorPrefix, 0);
        Put(Escaped(text.get(), "\r\n"), 0);
    }
    PrintCode(error);
    return error;
}

// The text with its place filled. Without an argument an unfilled place is printed.
std::string Filled(const TextPair& text, std::string_view place, const std::string& filling) {
    std::string filled = ForUser(text);
    const std::size_t at = filled.find(place);
    if (at != filled.npos) filled.replace(at, place.size(), filling);
    return filled;
}

void ReportOwnError(DWORD code, const char* argument) {
    const TextPair& text = ErrorText(code);
    const std::string line =
        argument != nullptr ? Filled(text, "%s", Escaped(argument)) : ForUser(text);
    PrintMessage(say::kErrorPrefix, 0);
    Put(line, 0);
    PrintCode(code);
}

template <typename Printing>
void WithMemory(Printing print) {
    try {
        print();
    } catch (const std::bad_alloc&) {
        EndWithoutMemory();
    }
}

}  // namespace

void ChooseLanguage() {
    // Where this locale exists, it makes the runtime carry the catalogue's code page over
    // to the console's own.
    std::setlocale(LC_ALL, "rus");
    const UINT codePage = GetConsoleOutputCP();
    state.russian = codePage == 866 || codePage == 1251;
}

void PrintPair(const TextPair& text, int newlines) { Put(ForUser(text), newlines); }

void PrintMessage(MessageId id, int newlines) { PrintPair(Message(id), newlines); }

void PrintText(std::string_view text, int newlines) { Put(Escaped(text), newlines); }

Reported ReportError(DWORD code, const char* argument) {
    if (code == 0) return 0;
    if (code == kLastError) {
        WithMemory([&code] { code = ReportLastError(); });
    } else {
        WithMemory([code, argument] { ReportOwnError(code, argument); });
    }
    return Reported(code);
}

void PrintErrorText(DWORD code, DWORD value) {
    WithMemory([code, value] {
        char number[9];
        std::snprintf(number, sizeof number, "%X", static_cast<unsigned>(value));
        Put(Filled(ErrorText(code), "%X", number), 1);
    });
}

}  // namespace kestrel
