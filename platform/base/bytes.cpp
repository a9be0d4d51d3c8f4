// Byte sequences: comparison, hexadecimal, wiping.
#include "platform/base/bytes.h"

#include <openssl/crypto.h>

#include <algorithm>

#include "platform/base/text.h"

namespace platform {

bool Equal(ByteView first, ByteView second) {
    return std::equal(first.begin(), first.end(), second.begin(), second.end());
}

bool SameCode(ByteView first, ByteView second) {
    return first.size() == second.size() &&
           CRYPTO_memcmp(first.data(), second.data(), first.size()) == 0;
}

std::string Hex(ByteView bytes) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

int HexValue(char digit) {
    if (IsDigit(digit)) return digit - '0';
    const char lower = static_cast<char>(digit | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

void Wipe(void* data, std::size_t size) { OPENSSL_cleanse(data, size); }

void Wipe(Bytes& bytes) {
    Wipe(bytes.data(), bytes.size());
    bytes.clear();
}

void Wipe(std::string& text) {
    Wipe(text.data(), text.size());
    text.clear();
}

Secret& Secret::operator=(const Secret& other) {
    if (this != &other) {
        Wipe(bytes_);
        bytes_ = other.bytes_;
    }
    return *this;
}

Secret& Secret::operator=(Secret&& other) noexcept {
    if (this != &other) {
        Wipe(bytes_);
        bytes_ = std::move(other.bytes_);
    }
    return *this;
}

}  // namespace platform
