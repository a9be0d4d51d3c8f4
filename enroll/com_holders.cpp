// Text of the enrolment objects.
#include "enroll/com_holders.h"

#include <new>

#include "selection/names.h"

namespace kestrel {

ComText::ComText(std::wstring_view text)
    : text_(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {
    if (text_ == nullptr) throw std::bad_alloc();
}

bool Widen(const char* narrow, ComText& wide) {
    std::wstring characters;
    if (!WideName(narrow, characters)) return false;
    wide = ComText(characters);
    return true;
}

bool Narrow(const ComText& wide, std::string& narrow) {
    narrow.clear();
    if (wide.IsEmpty()) return true;
    const auto count = static_cast<int>(wide.View().size());
    const int length =
        WideCharToMultiByte(CP_ACP, 0, wide.Get(), count, nullptr, 0, nullptr, nullptr);
    if (length <= 0) return false;
    narrow.resize(static_cast<std::size_t>(length));
    return WideCharToMultiByte(CP_ACP, 0, wide.Get(), count, narrow.data(), length, nullptr,
                               nullptr) > 0;
}

}  // namespace kestrel
