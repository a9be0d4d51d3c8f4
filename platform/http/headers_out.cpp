// Headers of an answer as a caller asks for them.
#include "platform/http/headers_out.h"

#include <charconv>
#include <cstring>

#include "platform/base/bytes.h"
#include "platform/base/error.h"
#include "platform/base/text.h"

namespace platform {
namespace {

constexpr struct {
    DWORD query;
    const char* header;
} kNames[] = {
    {WINHTTP_QUERY_CONTENT_TYPE, "Content-Type"},
    {WINHTTP_QUERY_CONTENT_LENGTH, "Content-Length"},
    {WINHTTP_QUERY_LOCATION, "Location"},
    {WINHTTP_QUERY_RETRY_AFTER, "Retry-After"},
    {WINHTTP_QUERY_WWW_AUTHENTICATE, "WWW-Authenticate"},
    {WINHTTP_QUERY_PROXY_AUTHENTICATE, "Proxy-Authenticate"},
    {HTTP_QUERY_SET_COOKIE, "Set-Cookie"},
};

std::vector<std::string> Values(const ResponseHead& head, DWORD query, LPCWSTR name) {
    switch (query) {
        case WINHTTP_QUERY_VERSION:
            return {head.Version()};
        case WINHTTP_QUERY_STATUS_CODE:
            return {head.StatusText()};
        case WINHTTP_QUERY_STATUS_TEXT:
            return {head.Reason()};
        case WINHTTP_QUERY_RAW_HEADERS_CRLF:
            return {head.Raw()};
        case WINHTTP_QUERY_CUSTOM:
            if (name == nullptr) throw Error(ERROR_INVALID_PARAMETER);
            return head.Values(Narrow(name));
        default:
            break;
    }
    for (const auto& row : kNames) {
        if (row.query == query) return head.Values(row.header);
    }
    throw Error(ERROR_INVALID_PARAMETER);
}

DWORD NumberIn(const std::string& text) {
    DWORD number = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end) throw Error(ERROR_INVALID_PARAMETER);
    return number;
}

// A strange server's bytes need not be UTF-8; the others are all of one byte.
std::wstring WideOf(std::string_view text) {
    std::wstring wide;
    while (!text.empty()) {
        const wchar_t character = TakeCharacter(text);
        wide += IsSurrogate(character) ? character - kBadByte : character;
    }
    return wide;
}

// `terminator` bytes at the end count in a need and not in a success.
void CopyCounted(ByteView value, std::size_t terminator, void* buffer, DWORD& size) {
    const DWORD capacity = size;
    const bool fits = buffer != nullptr && capacity >= value.size();
    size = static_cast<DWORD>(value.size() - (fits ? terminator : 0));
    if (!fits) throw Error(ERROR_INSUFFICIENT_BUFFER);
    std::memcpy(buffer, value.data(), value.size());
}

// `put` copies a text; both interfaces have the same numbers for what is asked.
template <class PutText>
void CopyValueOut(const ResponseHead& head, DWORD infoLevel, LPCWSTR name, void* buffer,
                  DWORD& size, DWORD* index, PutText put) {
    const bool number = (infoLevel & WINHTTP_QUERY_FLAG_NUMBER) != 0;
    const auto values =
        Values(head, infoLevel & ~static_cast<DWORD>(WINHTTP_QUERY_FLAG_NUMBER), name);
    const std::size_t which = index == nullptr ? 0 : *index;
    if (which >= values.size()) throw Error(ERROR_WINHTTP_HEADER_NOT_FOUND);
    if (number) {
        const DWORD value = NumberIn(values[which]);
        CopyCounted(ViewOf(&value, sizeof value), 0, buffer, size);
    } else {
        put(values[which]);
    }
    if (index != nullptr) ++*index;
}

}  // namespace

void CopyHeaderOut(const ResponseHead& head, DWORD infoLevel, LPCWSTR name, void* buffer,
                   DWORD& size, DWORD* index) {
    CopyValueOut(head, infoLevel, name, buffer, size, index, [&](const std::string& value) {
        const std::wstring text = WideOf(value);
        CopyCounted(ViewOf(text.c_str(), (text.size() + 1) * sizeof(wchar_t)), sizeof(wchar_t),
                    buffer, size);
    });
}

void CopyHeaderOut(const ResponseHead& head, DWORD infoLevel, void* buffer, DWORD& size,
                   DWORD* index) {
    CopyValueOut(head, infoLevel, nullptr, buffer, size, index, [&](const std::string& value) {
        CopyCounted(ViewOf(value.c_str(), value.size() + 1), 1, buffer, size);
    });
}

}  // namespace platform
