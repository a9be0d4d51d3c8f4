// The percent that a command shows while it works through a file.
#include "messages/files/progress.h"

#include <cstdio>

#include "front/core/catalogue.h"
#include "front/core/holders.h"

namespace kestrel {
namespace {

constexpr char kRoom[] = "    ";
constexpr char kBack[] = "\b\b\b\b";

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

void Progress::Start() { std::fputs(kRoom, stdout); }

void Progress::Show() {
    const int percent = rule_(chunks_++, fileSize_);
    std::printf("%s%3d%%", kBack, percent);
    if (percent == shown_) return;
    shown_ = percent;
    ShowOnTerminal();
}

void Progress::End() {
    const LastErrorKeeper keeper;
    std::printf("%s%s\n", kBack, kRoom);
    std::fflush(stdout);
}

void Progress::Back() { std::fputs(kBack, stdout); }

void Progress::Wipe() { std::printf("%s%s%s", kBack, kRoom, kBack); }

Reported FailLine(DWORD code, const char* argument) {
    Progress::End();
    return ReportError(code, argument);
}

}  // namespace kestrel
