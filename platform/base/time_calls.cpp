// The exported calls on times.
#include "platform/base/error.h"
#include "platform/base/ticks.h"

using namespace platform;

BOOL WINAPI FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime) {
    return GuardedBool([&] {
        if (fileTime == nullptr || systemTime == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        *systemTime = Split(TicksOf(*fileTime));
    });
}

BOOL WINAPI SystemTimeToFileTime(const SYSTEMTIME* systemTime, FILETIME* fileTime) {
    return GuardedBool([&] {
        if (fileTime == nullptr || systemTime == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        *fileTime = FileTimeOf(Join(*systemTime));
    });
}

void WINAPI GetSystemTimeAsFileTime(FILETIME* fileTime) { *fileTime = FileTimeOf(CurrentTicks()); }
