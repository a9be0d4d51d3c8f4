// UTF-16 in pieces of any size.
#include "kestrelctl/message/wide_text.h"

#include "platform/base/error.h"

namespace kestrelctl::message {
namespace {

constexpr unsigned kByteOrderMark = 0xFEFF;
constexpr std::uint8_t kBeyondAscii = 0x80;

bool IsAscii(std::uint8_t octet) { return octet != 0 && octet < 0x80; }

}  // namespace

std::optional<WideText> WideText::Told(platform::ByteView start) {
    if (start.size() < 2) return std::nullopt;
    const std::uint8_t first = start[0];
    const std::uint8_t second = start[1];
    const bool little = (first == 0xFF && second == 0xFE) || (IsAscii(first) && second == 0);
    const bool big = (first == 0xFE && second == 0xFF) || (first == 0 && IsAscii(second));
    if (!little && !big) return std::nullopt;
    return WideText(little ? Order::Little : Order::Big);
}

void WideText::Take(std::uint8_t first, std::uint8_t second) {
    const bool little = order_ == Order::Little;
    const unsigned low = little ? first : second;
    const unsigned high = little ? second : first;
    const unsigned unit = high << 8 | low;
    const bool mark = !started_ && unit == kByteOrderMark;
    started_ = true;
    if (!mark) narrow_.push_back(unit < 0x80 ? static_cast<std::uint8_t>(unit) : kBeyondAscii);
}

platform::ByteView WideText::Narrow(platform::ByteView piece) {
    narrow_.clear();
    for (const std::uint8_t octet : piece) {
        if (half_) {
            Take(*half_, octet);
            half_.reset();
        } else {
            half_ = octet;
        }
    }
    return narrow_;
}

void WideText::Finish() const {
    if (half_) throw platform::Error(CRYPT_E_BAD_ENCODE);
}

}  // namespace kestrelctl::message
