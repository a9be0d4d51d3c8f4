// Certificates shown, numbers and letters read.
#include "selection/console.h"

#include <conio.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "front/core/catalogue.h"
#include "selection/names.h"

namespace kestrel {

namespace {

constexpr int kBackspace = 8;
constexpr int kReturn = 13;
constexpr int kEscape = 27;

void PrintTime(const SYSTEMTIME& time, const char* ending) {
    std::printf("%02d.%02d.%04d %02d:%02d:%02d%s", time.wDay, time.wMonth, time.wYear, time.wHour,
                time.wMinute, time.wSecond, ending);
    std::fflush(stdout);
}

// No test for overflow: a number that wraps around is out of the list's range or, by
// luck, in it.
void TakeKeyPress(int key, DWORD& number) {
    if (key == kBackspace && number >= 1) {
        number /= 10;
        for (const char character : {'\b', ' ', '\b'}) _putch(character);
        return;
    }
    if (key < '0' || key > '9') return;
    if (key == '0' && number == 0) return;  // keeps the field free of leading zeros
    std::putchar(key);
    std::fflush(stdout);
    number = number * 10 + static_cast<DWORD>(key - '0');
}

bool WriteConsoleText(HANDLE output, const char* text) {
    DWORD written = 0;
    return WriteFile(output, text, static_cast<DWORD>(std::strlen(text)), &written, nullptr) != 0;
}

// The bytes that arrived, line end included. After a failed read the console is gone,
// and so nothing is restored.
bool ReadLineWithoutEcho(HANDLE input, HANDLE output, const char* prompt, char* buffer, DWORD size,
                         DWORD& read) {
    DWORD oldMode = 0;
    if (!GetConsoleMode(input, &oldMode)) return false;
    const DWORD mode =
        (oldMode & ~DWORD{ENABLE_ECHO_INPUT}) | ENABLE_PROCESSED_INPUT | ENABLE_LINE_INPUT;
    if (!SetConsoleMode(input, mode)) return false;
    if (!WriteConsoleText(output, prompt)) {
        SetConsoleMode(input, oldMode);
        return false;
    }
    if (!ReadFile(input, buffer, size - 1, &read, nullptr)) return false;
    return SetConsoleMode(input, oldMode) != 0;
}

}  // namespace

Reported PrintCertificateSubject(PCCERT_CONTEXT certificate, int newlines) {
    // Values alone and in reversed order, so that the common name tends to lead.
    const auto name = SubjectText(certificate, CERT_SIMPLE_NAME_STR | CERT_NAME_STR_REVERSE_FLAG);
    if (!name) return ReportError(kNoMemory);
    PrintMessage(say::kSubjectLabel, 0);
    PrintText(name.get(), newlines);
    return 0;
}

void PrintCertificateValidity(PCCERT_CONTEXT certificate) {
    SYSTEMTIME start{};
    SYSTEMTIME end{};
    if (!FileTimeToSystemTime(&certificate->pCertInfo->NotBefore, &start)) return;
    if (!FileTimeToSystemTime(&certificate->pCertInfo->NotAfter, &end)) return;
    PrintMessage(say::kValidFrom, 0);
    PrintTime(start, "");
    PrintMessage(say::kValidTo, 0);
    PrintTime(end, "\n\n");
}

Reported PrintCertificateSummary(PCCERT_CONTEXT certificate) {
    if (const Reported failure = PrintCertificateSubject(certificate, 1)) return failure;
    PrintCertificateValidity(certificate);
    return 0;
}

Reported ReadCertificateNumber(int limit, DWORD& number) {
    number = 0;
    while (_kbhit()) _getch();  // typed before the list was shown
    int key = 0;
    while (key != kEscape && key != kReturn) {
        key = _getch();
        TakeKeyPress(key, number);
    }
    std::putchar('\n');
    std::fflush(stdout);
    if (key == kEscape) return ReportError(kCancelled);
    if (number < 1 || number > static_cast<DWORD>(limit)) return ReportError(kWrongNumber);
    return 0;
}

char* ReadHiddenLine(const char* prompt, char* buffer, DWORD size) {
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    if (input == INVALID_HANDLE_VALUE || output == INVALID_HANDLE_VALUE) return nullptr;
    std::memset(buffer, 0, size);
    DWORD read = 0;
    if (!ReadLineWithoutEcho(input, output, prompt, buffer, size, read)) return nullptr;
    // The line ends in CR LF. A line too long for the buffer has none, and still loses its
    // last two bytes; one that ended before its line end keeps what there is.
    const DWORD length = read - 2;
    buffer[length > size ? size - 1 : length] = '\0';
    WriteConsoleText(output, "\r\n");
    return buffer;
}

char ReadAnswerLetter() {
    char character = '\n';
    while (character == '\n') {
        if (std::scanf("%c", &character) != 1) return 'C';
    }
    return static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
}

}  // namespace kestrel
