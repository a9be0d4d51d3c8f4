// Text of the enrolment interfaces.
#include "platform/enroll/com_text.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>

#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/stores/bundle_text.h"

namespace platform {
namespace {

// The length stands in the last 4 octets before the text.
constexpr std::size_t kPrefix = alignof(std::max_align_t);

char* StartOf(BSTR text) { return reinterpret_cast<char*>(text) - kPrefix; }

}  // namespace

BSTR NewText(std::wstring_view text) {
    return NewOctets(ViewOf(text.data(), text.size() * sizeof(OLECHAR)));
}

BSTR NewOctets(ByteView octets) {
    const std::size_t size = octets.size();
    auto* memory = static_cast<char*>(std::calloc(1, kPrefix + size + sizeof(OLECHAR)));
    if (memory == nullptr) throw std::bad_alloc();
    const auto length = static_cast<DWORD>(size);
    std::memcpy(memory + kPrefix - sizeof length, &length, sizeof length);
    if (size != 0) std::memcpy(memory + kPrefix, octets.data(), size);
    return reinterpret_cast<BSTR>(memory + kPrefix);
}

void FreeText(BSTR text) noexcept {
    if (text != nullptr) std::free(StartOf(text));
}

UINT LengthOf(BSTR text) noexcept {
    return static_cast<UINT>(OctetsOf(text).size() / sizeof(OLECHAR));
}

ByteView OctetsOf(BSTR octets) noexcept {
    if (octets == nullptr) return {};
    DWORD length = 0;
    std::memcpy(&length, reinterpret_cast<char*>(octets) - sizeof length, sizeof length);
    return ViewOf(octets, length);
}

std::string NarrowText(BSTR text) {
    return text == nullptr ? std::string() : Narrow({text, LengthOf(text)});
}

void PutText(BSTR* target, std::string_view utf8) {
    if (target == nullptr) throw Error(E_POINTER);
    *target = NewText(Widen(utf8));
}

Bytes DecodeText(BSTR text) {
    const std::string narrow = NarrowText(text);
    const ByteView content = ViewOf(narrow);
    if (!HasArmour(content)) return DecodeBase64(content);
    std::optional<Bytes> first;
    ForEachBlock(content, [&](std::string_view, ByteView octets) {
        if (!first) first = Copy(octets);
    });
    if (!first) throw Error(CRYPT_E_BAD_ENCODE);
    return *std::move(first);
}

}  // namespace platform
