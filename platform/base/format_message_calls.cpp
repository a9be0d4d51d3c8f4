// The texts of error codes for callers.
#include <cstdlib>
#include <cstring>

#include "platform/base/error.h"
#include "platform/base/language.h"
#include "platform/base/text.h"

namespace platform {
namespace {

// A detail comes from outside (a file's name), so nothing in it may act where it is shown.
std::string Harmless(std::string_view detail) {
    std::string text;
    while (!detail.empty()) {
        const wchar_t character = TakeCharacter(detail);
        AppendUtf8(text, IsHidden(character) ? L'?' : character);
    }
    return text;
}

constexpr DWORD kFirstModuleText = 12000;
constexpr DWORD kLastModuleText = 12174;

// The texts of the internet codes belong to their modules, as on the other system; they are
// the only ones that modules have here. Later codes are no module's that callers ask.
bool HasText(DWORD flags, DWORD code) {
    const bool ofModule = code >= kFirstModuleText && code <= kLastModuleText;
    return (flags & (ofModule ? FORMAT_MESSAGE_FROM_HMODULE : FORMAT_MESSAGE_FROM_SYSTEM)) != 0;
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
        if (!HasText(flags, messageId)) throw Error(ERROR_MR_MID_NOT_FOUND);
        return Deliver(SystemMessage(messageId), allocate, buffer, size);
    });
}
