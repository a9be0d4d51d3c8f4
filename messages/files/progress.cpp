// The percent that a command shows while it works through a file.
#include "messages/files/progress.h"

#include <cstdio>

#include "front/core/catalogue.h"
#include "front/core/holders.h"

namespace kestrel {
namespace {

bool IsTerminal() {
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode) != 0;
}

}  // namespace

int Percent(DWORD chunks, LONGLONG fileSize) {
    if (fileSize <= 0) return 100;
    const float part = static_cast<float>(chunks) * 65536.0F / static_cast<float>(fileSize);
    return static_cast<int>(100.0 * static_cast<double>(part));
}

void ShowOnTerminal() {
    static const bool terminal = IsTerminal();
    if (terminal) std::fflush(stdout);
}

void Progress::Start() { std::printf(kProgressStart); }

void Progress::Show() {
    const int percent = rule_(chunks_++, fileSize_);
    std::printf(kProgressFormat, percent);
    if (percent == shown_) return;
    shown_ = percent;
    ShowOnTerminal();
}

void Progress::End() {
    const LastErrorKeeper keeper;
    std::printf(kProgressEnd);
    std::fflush(stdout);
}

Reported FailLine(DWORD code, const char* argument) {
    Progress::End();
    return ReportError(code, argument);
}

}  // namespace kestrel
