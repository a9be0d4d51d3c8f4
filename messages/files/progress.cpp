#include "messages/files/progress.h"

#include <cstdio>

#include "front/core/holders.h"

namespace kestrel {

int Percent(DWORD chunks, LONGLONG fileSize) {
    if (fileSize <= 0) return 100;
    const float part = static_cast<float>(chunks) * 65536.0F / static_cast<float>(fileSize);
    return static_cast<int>(100.0 * static_cast<double>(part));
}

void Progress::Start() { std::printf(kProgressStart); }

void Progress::Show() {
    const int percent = Percent(chunks_++, fileSize_);
    std::printf(kProgressFormat, percent);
    if (percent == shown_) return;
    shown_ = percent;
    std::fflush(stdout);
}

void Progress::End() {
    const LastErrorKeeper keeper;
    std::printf(kProgressEnd);
    std::fflush(stdout);
}

}  // namespace kestrel
