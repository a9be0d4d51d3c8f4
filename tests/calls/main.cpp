// Runs the cases; prints a line for each that came out otherwise than documented, and the
// count at the end. check.py holds the lines against the known differences.
#include "tests/calls/calls.h"

#include <algorithm>
#include <cstdio>

namespace calls {

std::string Hex(const BYTE* data, std::size_t size) {
    std::string digits = support::ToHex(data, size);
    for (char& digit : digits) digit = static_cast<char>(digit | 0x20);
    return digits;
}

std::string Told(BOOL result) {
    if (result != FALSE) return "ok";
    const DWORD code = GetLastError();
    char text[16];
    std::snprintf(text, sizeof text, "%08x", static_cast<unsigned>(code));
    return text;
}

std::string Told(const void* handle) { return Told(BOOL{handle != nullptr}); }

std::string Joined(std::initializer_list<std::string> parts) {
    std::string text;
    for (const std::string& part : parts) text += (text.empty() ? "" : " ") + part;
    return text;
}

namespace {

int Run() {
    int ran = 0;
    int differ = 0;
    for (const auto cases : {RecordCases(), StoreCases(), MessageCases()}) {
        for (const Case& row : cases) {
            std::string got = row.run();
            std::replace_if(
                got.begin(), got.end(), [](char c) { return c >= 0 && c < ' '; }, '?');
            ++ran;
            if (got == row.expected) continue;
            ++differ;
            std::printf("%s | %s | %s\n", row.name, got.c_str(), row.expected);
        }
    }
    std::printf("%d cases, %d differ\n", ran, differ);
    return 0;
}

}  // namespace
}  // namespace calls

int main() { return calls::Run(); }
