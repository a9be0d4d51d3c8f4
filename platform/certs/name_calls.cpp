// The exported calls on names.
#include <algorithm>

#include "platform/base/output.h"
#include "platform/base/text.h"
#include "platform/certs/compare.h"
#include "platform/certs/names.h"
#include "platform/certs/share.h"

using namespace platform;

namespace {

// A name that cannot be read has an empty text.
std::string TextOf(const CERT_NAME_BLOB* name, DWORD type) {
    return Guarded<std::string>(std::string(), [&] {
        if (name == nullptr) throw Error(E_INVALIDARG);
        return NameToText(ViewOf(*name), type);
    });
}

// The most of `text` that leaves room for a terminator, whole characters only.
std::size_t FittingLength(const std::string& text, std::size_t capacity) {
    if (text.size() < capacity) return text.size();
    std::size_t length = capacity - 1;
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
    return length;
}

std::size_t FittingLength(const std::wstring& text, std::size_t capacity) {
    return std::min(text.size(), capacity - 1);
}

// A text too long for the buffer is cut, with a terminator in every case.
template <class Text>
DWORD CopyNameOut(const Text& text, typename Text::value_type* out, DWORD capacity) {
    if (out == nullptr || capacity == 0) return static_cast<DWORD>(text.size() + 1);
    const std::size_t length = FittingLength(text, capacity);
    text.copy(out, length);
    out[length] = 0;
    return static_cast<DWORD>(length + 1);
}

std::size_t CharactersIn(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

// `placeOf` turns a place in the narrow text into one in the caller's.
template <class Character, class Place>
void Convert(const std::string& text, DWORD type, BYTE* encoded, DWORD* size,
             const Character** errorAt, Place&& placeOf) {
    if (errorAt != nullptr) *errorAt = nullptr;
    try {
        CopyOut(TextToName(text, type), encoded, size);
    } catch (const BadNameText& bad) {
        if (errorAt != nullptr) *errorAt = placeOf(bad.At());
        throw;
    }
}

}  // namespace

DWORD WINAPI CertNameToStrA(DWORD, PCERT_NAME_BLOB name, DWORD type, LPSTR text, DWORD size) {
    return Guarded<DWORD>(1, [&] { return CopyNameOut(TextOf(name, type), text, size); });
}

DWORD WINAPI CertNameToStrW(DWORD, PCERT_NAME_BLOB name, DWORD type, LPWSTR text, DWORD size) {
    return Guarded<DWORD>(1, [&] { return CopyNameOut(Widen(TextOf(name, type)), text, size); });
}

BOOL WINAPI CertStrToNameA(DWORD, LPCSTR text, DWORD type, void*, BYTE* encoded, DWORD* size,
                           LPCSTR* errorAt) {
    return GuardedOutput(size, [&] {
        if (text == nullptr) throw Error(E_INVALIDARG);
        Convert(text, type, encoded, size, errorAt, [&](std::size_t at) { return text + at; });
    });
}

BOOL WINAPI CertStrToNameW(DWORD, LPCWSTR text, DWORD type, void*, BYTE* encoded, DWORD* size,
                           LPCWSTR* errorAt) {
    return GuardedOutput(size, [&] {
        if (text == nullptr) throw Error(E_INVALIDARG);
        const std::string narrow = Narrow(text);
        Convert(narrow, type, encoded, size, errorAt, [&](std::size_t at) {
            return text + CharactersIn(std::string_view(narrow).substr(0, at));
        });
    });
}

BOOL WINAPI CertCompareCertificateName(DWORD, PCERT_NAME_BLOB first, PCERT_NAME_BLOB second) {
    if (first == nullptr || second == nullptr) return FALSE;
    return Equal(ViewOf(*first), ViewOf(*second)) ? TRUE : FALSE;
}
