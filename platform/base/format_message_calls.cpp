#include <cstdlib>
#include <cstring>

#include "platform/base/error.h"
#include "platform/base/language.h"
#include "platform/base/text.h"

namespace platform {
namespace {

constexpr wchar_t kFullWidthPercent = 0xFF05;

// Callers may hand the result to a formatter and put it into one line; a detail comes from
// outside (a file's name), so nothing in it may act there.
std::string Harmless(std::string_view detail) {
    std::string text;
    while (!detail.empty()) {
        const wchar_t character = TakeCharacter(detail);
        const bool control = character < L' ' || character == 0x7F;
        if (control) text += '?';
        if (!control) AppendUtf8(text, character == L'%' ? kFullWidthPercent : character);
    }
    return text;
}

std::string SystemMessage(DWORD code) {
    const char* known = SystemText(code, RussianUser());
    if (known == nullptr) throw Error(ERROR_MR_MID_NOT_FOUND);
    std::string text = known;
    const std::string& detail = LastErrorDetail(code);
    if (detail.empty()) return text;
    if (text.back() == '.') text.pop_back();
    return text + ": " + Harmless(detail);
}

// With an allocated buffer, `buffer` is the address of the caller's pointer.
void StorePointer(char* pointer, LPSTR buffer) {
    std::memcpy(static_cast<void*>(buffer), &pointer, sizeof pointer);
}

// The block that LocalFree takes back.
void AllocateCopy(const std::string& text, LPSTR buffer) {
    char* copy = static_cast<char*>(std::malloc(text.size() + 1));
    if (copy == nullptr) throw Error(ERROR_NOT_ENOUGH_MEMORY);
    std::memcpy(copy, text.c_str(), text.size() + 1);
    StorePointer(copy, buffer);
}

DWORD Deliver(const std::string& text, bool allocate, LPSTR buffer, DWORD size) {
    if (allocate) {
        AllocateCopy(text, buffer);
    } else {
        if (size <= text.size()) throw Error(ERROR_INSUFFICIENT_BUFFER);
        std::memcpy(buffer, text.c_str(), text.size() + 1);
    }
    return static_cast<DWORD>(text.size());
}

}  // namespace
}  // namespace platform

using namespace platform;

DWORD WINAPI FormatMessageA(DWORD flags, LPCVOID, DWORD messageId, DWORD, LPSTR buffer, DWORD size,
                            void*) {
    return Guarded<DWORD>(0, [&] {
        if (buffer == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        const bool allocate = (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0;
        if (allocate) StorePointer(nullptr, buffer);
        // No module brings texts of its own, so the system's table is the only source.
        if ((flags & FORMAT_MESSAGE_FROM_SYSTEM) == 0) {
            throw Error(ERROR_MR_MID_NOT_FOUND);
        }
        return Deliver(SystemMessage(messageId), allocate, buffer, size);
    });
}
