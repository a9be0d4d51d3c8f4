// The console's language, told as its code page.
#include "platform/base/ground.h"

#include "platform/base/language.h"

using namespace platform;

UINT WINAPI GetConsoleOutputCP(void) {
    constexpr UINT kCyrillicCodePage = 1251;
    return RussianUser() ? kCyrillicCodePage : UINT{CP_UTF8};
}
