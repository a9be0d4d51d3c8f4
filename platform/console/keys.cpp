// Raw key presses.
#include <conio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "platform/console/terminal.h"

namespace platform {
namespace {

constexpr int kBackspace = 8;
constexpr int kEnter = 13;
constexpr int kEscape = 27;
constexpr int kDelete = 127;
// A key that is no character comes as this and a second number.
constexpr int kExtended = 0xE0;
constexpr int kNoKey = -1;
constexpr int kSequencePause = 25;  // milliseconds between the bytes of one key

int secondHalf = kNoKey;

int ReadByte(int terminal) {
    unsigned char byte = 0;
    ssize_t got = 0;
    do {
        got = read(terminal, &byte, 1);
    } while (got < 0 && errno == EINTR);
    return got == 1 ? byte : kNoKey;
}

int ExtendedNumber(int last) {
    switch (last) {
        case 'A':
            return 72;
        case 'B':
            return 80;
        case 'C':
            return 77;
        case 'D':
            return 75;
        default:
            return 0;
    }
}

// Esc alone is a key; with more behind it at once it begins the sequence of another key
// (ECMA-48: "[" or "O", then anything up to a byte from "@" on).
int EscapeOrSequence(int terminal) {
    if (!InputWaits(terminal, kSequencePause)) return kEscape;
    int byte = ReadByte(terminal);
    if (byte == '[' || byte == 'O') {
        do {
            byte = ReadByte(terminal);
        } while (byte != kNoKey && byte < '@' && InputWaits(terminal, kSequencePause));
    }
    secondHalf = ExtendedNumber(byte);
    return kExtended;
}

int TerminalKey(int terminal) {
    const RawKeys raw(terminal);
    const int key = ReadByte(terminal);
    if (key == kNoKey || key == raw.EndOfInput()) return kEscape;
    if (key == '\n') return kEnter;
    if (key == kDelete) return kBackspace;
    return key == kEscape ? EscapeOrSequence(terminal) : key;
}

// Through the stream, since other questions read their answers there.
int StreamKey() {
    const int key = std::getc(stdin);
    if (key == EOF) return kEscape;
    if (key == '\n') return kEnter;
    if (key == '\r') {
        const int next = std::getc(stdin);
        if (next != '\n' && next != EOF) std::ungetc(next, stdin);
    }
    return key == kDelete ? kBackspace : key;
}

}  // namespace
}  // namespace platform

int _kbhit(void) {
    if (platform::secondHalf != platform::kNoKey) return 1;
    const int terminal = platform::KeyTerminal();
    if (terminal < 0) return 0;
    const platform::RawKeys raw(terminal);
    return platform::InputWaits(terminal, 0) ? 1 : 0;
}

int _getch(void) {
    if (platform::secondHalf != platform::kNoKey) {
        return std::exchange(platform::secondHalf, platform::kNoKey);
    }
    std::fflush(stdout);
    const int terminal = platform::KeyTerminal();
    return terminal < 0 ? platform::StreamKey() : platform::TerminalKey(terminal);
}

int _putch(int character) {
    std::fflush(stdout);
    const int terminal = isatty(STDOUT_FILENO) != 0 ? STDOUT_FILENO : platform::KeyTerminal();
    const auto byte = static_cast<unsigned char>(character);
    const int target = terminal < 0 ? STDOUT_FILENO : terminal;
    return write(target, &byte, 1) == 1 ? character : EOF;
}
