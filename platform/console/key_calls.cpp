// Raw key presses.
#include <conio.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

#include "platform/base/descriptor.h"
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
        // Alt with one of these two keys sends no more.
        while (InputWaits(terminal, kSequencePause)) {
            byte = ReadByte(terminal);
            if (byte == kNoKey || byte >= '@') break;
        }
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

using namespace platform;

int _kbhit(void) {
    if (secondHalf != kNoKey) return 1;
    const int terminal = KeyTerminal();
    if (terminal < 0) return 0;
    const RawKeys raw(terminal);
    return InputWaits(terminal, 0) ? 1 : 0;
}

int _getch(void) {
    if (secondHalf != kNoKey) {
        return std::exchange(secondHalf, kNoKey);
    }
    std::fflush(stdout);
    const int terminal = KeyTerminal();
    return terminal < 0 ? StreamKey() : TerminalKey(terminal);
}

int _putch(int character) {
    std::fflush(stdout);
    const int terminal = isatty(STDOUT_FILENO) != 0 ? STDOUT_FILENO : KeyTerminal();
    const auto byte = static_cast<unsigned char>(character);
    const int target = terminal < 0 ? STDOUT_FILENO : terminal;
    return WriteAll(target, ViewOf(&byte, 1)) ? character : EOF;
}
