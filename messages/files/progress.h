// The percent that a message command shows while it streams.
#pragma once

#include <windows.h>

namespace kestrel {

inline constexpr char kProgressFormat[] = "\b\b\b\b%3d%%";
inline constexpr char kProgressStart[] = "    ";
inline constexpr char kProgressEnd[] = "\b\b\b\b    \n";

// The part that `chunks` reads of 64 KiB are of the file, in single precision. 100 for
// an empty file and one without a size.
int Percent(DWORD chunks, LONGLONG fileSize);

class Progress {
  public:
    explicit Progress(LONGLONG fileSize) : fileSize_(fileSize) {}

    // Room for the first percent to be written over.
    static void Start();
    // Once for each read. What a terminal shows is brought up to date only when the
    // number has changed: a call to the system for each chunk would cost more.
    void Show();
    // Wipes the percent and ends the line. Keeps the last error.
    static void End();

  private:
    LONGLONG fileSize_;
    DWORD chunks_ = 0;
    int shown_ = -1;
};

}  // namespace kestrel
