// Conversion between code pages. The narrow one is UTF-8, so CP_ACP and CP_UTF8 are one.
#include <limits>

#include "platform/base/code_page_1251.h"
#include "platform/base/error.h"
#include "platform/base/output.h"
#include "platform/base/text.h"

namespace platform {
namespace {

template <class Char>
std::basic_string_view<Char> InputOf(const Char* text, int length) {
    if (text == nullptr || length == 0 || length < -1) throw Error(ERROR_INVALID_PARAMETER);
    if (length > 0) return {text, static_cast<std::size_t>(length)};
    // With -1 the terminator belongs to the text.
    return {text, std::char_traits<Char>::length(text) + 1};
}

constexpr UINT kCyrillic = 1251;

void CheckCodePage(UINT codePage) {
    if (codePage != CP_ACP && codePage != CP_THREAD_ACP && codePage != CP_UTF8 &&
        codePage != kCyrillic) {
        throw Error(ERROR_INVALID_PARAMETER);
    }
}

// Capacity 0 asks for the size.
template <class Char>
int Deliver(const std::basic_string<Char>& text, Char* out, int capacity) {
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        throw Error(ERROR_INVALID_PARAMETER);
    }
    const int length = static_cast<int>(text.size());
    if (capacity == 0) return length;
    if (capacity < 0 || out == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    if (capacity < length) throw Error(ERROR_INSUFFICIENT_BUFFER);
    text.copy(out, text.size());
    return length;
}

std::wstring WidenLeniently(std::string_view text) {
    std::wstring wide;
    while (!text.empty()) {
        const wchar_t character = TakeCharacter(text);
        wide += IsSurrogate(character) ? kReplacement : character;
    }
    return wide;
}

std::string NarrowLeniently(std::wstring_view text) {
    std::string narrow;
    for (const wchar_t character : text) AppendUtf8(narrow, character);
    return narrow;
}

}  // namespace
}  // namespace platform

using namespace platform;

int WINAPI MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR text, int length, LPWSTR out,
                               int capacity) {
    return Guarded(0, [&] {
        CheckCodePage(codePage);
        if ((flags & ~DWORD{MB_ERR_INVALID_CHARS}) != 0) {
            throw Error(ERROR_INVALID_FLAGS);
        }
        const auto input = InputOf(text, length);
        if (codePage == kCyrillic) return Deliver(FromCodePage1251(input), out, capacity);
        return Deliver(flags != 0 ? Widen(input) : WidenLeniently(input), out, capacity);
    });
}

int WINAPI WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR text, int length, LPSTR out,
                               int capacity, LPCSTR defaultChar, BOOL* usedDefaultChar) {
    return Guarded(0, [&] {
        CheckCodePage(codePage);
        if (flags != 0) throw Error(ERROR_INVALID_FLAGS);
        // UTF-8 has a form for every character: there is no use for a default one.
        if (codePage == CP_UTF8 && (defaultChar != nullptr || usedDefaultChar != nullptr)) {
            throw Error(ERROR_INVALID_PARAMETER);
        }
        if (usedDefaultChar != nullptr) *usedDefaultChar = FALSE;
        const auto input = InputOf(text, length);
        if (codePage == kCyrillic) {
            bool missed = false;
            const char otherwise = defaultChar != nullptr ? *defaultChar : '?';
            const std::string narrow = ToCodePage1251(input, otherwise, missed);
            if (usedDefaultChar != nullptr) *usedDefaultChar = missed ? TRUE : FALSE;
            return Deliver(narrow, out, capacity);
        }
        return Deliver(NarrowLeniently(input), out, capacity);
    });
}
