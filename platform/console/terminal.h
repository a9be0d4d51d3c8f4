// The terminal: its input modes, and their return to what they were when the process
// ends, whichever way it ends.
#pragma once

#include <termios.h>

namespace platform {

// The descriptor that key presses come from: standard input when it is a terminal, else
// the controlling terminal, else -1. Opened once and kept.
int KeyTerminal();

// Sets the modes of a terminal. The modes that it had before the first call come back at
// exit, at a signal that ends the process, and while Ctrl-Z has stopped it. False with errno
// on failure.
bool SetTerminalModes(int terminal, const termios& wanted);

// Single key presses without echo while it lives. Ctrl-C goes on ending the process.
class RawKeys {
  public:
    explicit RawKeys(int terminal);
    ~RawKeys();
    RawKeys(const RawKeys&) = delete;
    RawKeys& operator=(const RawKeys&) = delete;

    // The key that ends the input (Ctrl-D unless set otherwise).
    [[nodiscard]] unsigned char EndOfInput() const { return before_.c_cc[VEOF]; }

  private:
    int terminal_;
    bool changed_ = false;
    termios before_{};
};

// Whole lines without echo while it lives. Without a terminal (-1) it does nothing.
class HiddenInput {
  public:
    explicit HiddenInput(int terminal);
    ~HiddenInput();
    HiddenInput(const HiddenInput&) = delete;
    HiddenInput& operator=(const HiddenInput&) = delete;

  private:
    int terminal_;
    bool changed_ = false;
    termios before_{};
};

// The next byte, -1 at the end.
int ReadByte(int descriptor);

// True when input is waiting, or comes within the time.
bool InputWaits(int descriptor, int milliseconds);

}  // namespace platform
