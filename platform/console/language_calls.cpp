// The console's language, told as its code page.
#include "platform/base/ground.h"

#include "platform/base/language.h"

UINT WINAPI GetConsoleOutputCP(void) {
    constexpr UINT kCyrillicCodePage = 1251;
    return platform::RussianUser() ? kCyrillicCodePage : UINT{CP_UTF8};
}
