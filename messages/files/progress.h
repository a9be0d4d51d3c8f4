// The percent that a command shows while it works through a file.
#pragma once

#include <windows.h>

#include "front/core/result.h"

namespace kestrel {

// The part that `chunks` reads of 64 KiB are of a file.
using PercentRule = int (*)(DWORD chunks, LONGLONG fileSize);

// The rule of the message commands: single precision; 100 for an empty file and one without
// a size.
int Percent(DWORD chunks, LONGLONG fileSize);

// Brings a terminal up to date within a line. Elsewhere nothing waits for half a line,
// and a call to the system for each piece would cost more than the work on a small file.
void ShowOnTerminal();

class Progress {
  public:
    explicit Progress(LONGLONG fileSize, PercentRule rule = Percent)
        : fileSize_(fileSize), rule_(rule) {}

    // Room for the first percent to be written over.
    static void Start();
    // Once for each read.
    void Show();
    // Wipes the percent and ends the line. Keeps the last error.
    static void End();
    // Goes back to before the percent, whose line goes on; Wipe leaves nothing of it to see.
    static void Back();
    static void Wipe();

  private:
    LONGLONG fileSize_;
    PercentRule rule_;
    DWORD chunks_ = 0;
    int shown_ = -1;
};

// End, and the report of a failure behind it.
Reported FailLine(DWORD code, const char* argument = nullptr);

}  // namespace kestrel
