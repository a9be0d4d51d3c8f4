// The BASE64 forms.
#include "messages/files/base64.h"

#include <array>
#include <cstring>
#include <stdexcept>

namespace kestrel {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr DWORD kBlockCharacters = 64;

// ---- encoding ----------------------------------------------------------------

struct CharacterPair {
    char first;
    char second;
};

// Twelve bits at a time: this carries whole payloads.
constexpr std::array<CharacterPair, 4096> kPairs = [] {
    std::array<CharacterPair, 4096> pairs{};
    for (std::size_t bits = 0; bits < pairs.size(); ++bits) {
        pairs[bits] = {kAlphabet[bits >> 6], kAlphabet[bits & 0x3F]};
    }
    return pairs;
}();

void EncodeGroup(const BYTE* data, char* text) {
    const unsigned bits = static_cast<unsigned>(data[0] << 16 | data[1] << 8 | data[2]);
    std::memcpy(text, &kPairs[bits >> 12], 2);
    std::memcpy(text + 2, &kPairs[bits & 0xFFF], 2);
}

char* EncodeGroups(const BYTE* data, DWORD groups, char* text) {
    for (; groups > 0; --groups, data += 3, text += 4) EncodeGroup(data, text);
    return text;
}

// The last one or two bytes, padded to a whole group.
char* EncodeTail(const BYTE* data, DWORD count, char* text) {
    if (count == 0) return text;
    const BYTE padded[3] = {data[0], count == 2 ? data[1] : BYTE{0}, 0};
    EncodeGroup(padded, text);
    if (count == 1) text[2] = '=';
    text[3] = '=';
    return text + 4;
}

char* EndLine(char* text) {
    text[0] = '\r';
    text[1] = '\n';
    return text + 2;
}

// Groups and tail, without a line end.
char* EncodePiece(const BYTE* data, DWORD length, char* text) {
    const DWORD rest = length % 3;
    text = EncodeGroups(data, length / 3, text);
    return EncodeTail(data + (length - rest), rest, text);
}

// What callers are measured by. It counts one byte of line end instead of two, and
// the refusal of very short files rests on that.
ULONGLONG DemandedCapacity(ULONGLONG length) {
    const ULONGLONG lines = length / kBase64LineBytes * 65;
    const ULONGLONG rest = length % kBase64LineBytes;
    if (rest == 0) return lines;
    return lines + (rest % 3 != 0 ? 4 : 0) + rest / 3 * 4 + 1;
}

ULONGLONG TextLength(ULONGLONG length) {
    const ULONGLONG groups = (length + 2) / 3;
    const ULONGLONG lines = (length + kBase64LineBytes - 1) / kBase64LineBytes;
    return groups * 4 + lines * 2;
}

// ---- decoding: tables --------------------------------------------------------

constexpr BYTE kBlankClass = 0xE0;
constexpr BYTE kLineFeedClass = 0xF0;
constexpr BYTE kReturnClass = 0xF1;
constexpr BYTE kDashClass = 0xF2;
constexpr BYTE kOtherClass = 0xFF;

// Indexed without the top bit, so that 0xC1 counts as "A".
constexpr std::array<BYTE, 128> kClasses = [] {
    std::array<BYTE, 128> classes{};
    classes.fill(kOtherClass);
    for (BYTE value = 0; value < 64; ++value) classes[static_cast<BYTE>(kAlphabet[value])] = value;
    classes['='] = 0;
    classes['\t'] = classes[' '] = kBlankClass;
    classes['\n'] = kLineFeedClass;
    classes['\r'] = kReturnClass;
    classes['-'] = kDashClass;
    return classes;
}();

constexpr bool IsWhite(BYTE entry) { return (entry | 0x13) == 0xF3; }

// The value of an alphabet character at each place of a group, so that four look-ups
// and three ORs decode a group; anything else, "=" included, sets kNotPlain.
constexpr unsigned kNotPlain = 0x01000000;
using PlaceTable = std::array<unsigned, 256>;
constexpr PlaceTable MakePlaceTable(unsigned shift) {
    PlaceTable table{};
    table.fill(kNotPlain);
    for (unsigned value = 0; value < 64; ++value) {
        table[static_cast<BYTE>(kAlphabet[value])] = value << shift;
    }
    return table;
}
constexpr PlaceTable kFirst = MakePlaceTable(18);
constexpr PlaceTable kSecond = MakePlaceTable(12);
constexpr PlaceTable kThird = MakePlaceTable(6);
constexpr PlaceTable kFourth = MakePlaceTable(0);

unsigned PlainGroup(const char* text) {
    return kFirst[static_cast<BYTE>(text[0])] | kSecond[static_cast<BYTE>(text[1])] |
           kThird[static_cast<BYTE>(text[2])] | kFourth[static_cast<BYTE>(text[3])];
}

void StoreGroup(unsigned bits, BYTE* data) {
    data[0] = static_cast<BYTE>(bits >> 16);
    data[1] = static_cast<BYTE>(bits >> 8);
    data[2] = static_cast<BYTE>(bits);
}

// 64 characters of the alphabet to 48 bytes. False, with `data` spoilt, for any other.
bool DecodePlainBlock(const char* text, BYTE* data) {
    unsigned seen = 0;
    for (DWORD at = 0; at < kBlockCharacters; at += 4, data += 3) {
        const unsigned bits = PlainGroup(text + at);
        seen |= bits;
        StoreGroup(bits, data);
    }
    return seen < kNotPlain;
}

// ---- decoding: blocks --------------------------------------------------------

class BlockDecoder {
  public:
    BlockDecoder(BYTE* data, DWORD capacity) : data_(data), capacity_(capacity) {}

    void Take(const char* text, const char* end);
    bool Finish(DWORD& length) const;

  private:
    const char* TakePlainBlocks(const char* text, const char* end);
    void TakeByte(BYTE byte, bool last);
    void Flush();
    void DecodeGroup(const BYTE* entries, LONGLONG at);

    BYTE* data_;
    LONGLONG capacity_;
    LONGLONG total_ = 0;
    LONGLONG pads_ = 0;
    DWORD count_ = 0;
    bool failed_ = false;
    std::array<BYTE, kBlockCharacters> block_{};
};

void BlockDecoder::Take(const char* text, const char* end) {
    while (text != end && !failed_) {
        text = TakePlainBlocks(text, end);
        if (text == end) break;
        const BYTE byte = static_cast<BYTE>(*text++);
        TakeByte(byte, text == end);
    }
}

// The common case, equal to TakeByte: with no character buffered and no pad counted,
// 64 alphabet characters are one flushed block, and a line end behind them does nothing.
const char* BlockDecoder::TakePlainBlocks(const char* text, const char* end) {
    if (count_ != 0 || pads_ != 0 || data_ == nullptr) return text;
    while (end - text >= kBlockCharacters && capacity_ - total_ >= kBase64LineBytes &&
           DecodePlainBlock(text, data_ + total_)) {
        total_ += kBase64LineBytes;
        text += kBlockCharacters;
        if (text != end && *text == '\r') ++text;
        if (text != end && *text == '\n') ++text;
    }
    return text;
}

void BlockDecoder::TakeByte(BYTE byte, bool last) {
    const BYTE entry = kClasses[byte & 0x7F];
    if (!IsWhite(entry)) block_[count_++] = entry;
    if (byte == '=') ++pads_;
    const bool ends = last && (count_ % 4 == 0 || pads_ != 0);
    if (byte == '-' || ends || count_ == kBlockCharacters) Flush();
}

// Pads stay counted for the rest of the call, and a dash on an empty block counts as
// one (files-2).
void BlockDecoder::Flush() {
    if (count_ == 0) {
        pads_ = 1;
        return;
    }
    failed_ = failed_ || count_ % 4 != 0;
    LONGLONG at = total_;
    for (DWORD i = 0; i < count_ && !failed_; i += 4, at += 3) DecodeGroup(&block_[i], at);
    total_ = at - pads_;
    failed_ = failed_ || total_ < 0;
    count_ = 0;
}

void BlockDecoder::DecodeGroup(const BYTE* entries, LONGLONG at) {
    if (((entries[0] | entries[1] | entries[2] | entries[3]) & 0x80) != 0) {
        failed_ = true;
        return;
    }
    BYTE bytes[3];
    StoreGroup(
        static_cast<unsigned>(entries[0] << 18 | entries[1] << 12 | entries[2] << 6 | entries[3]),
        bytes);
    for (int i = 0; i < 3 && data_ != nullptr && at + i < capacity_; ++i) data_[at + i] = bytes[i];
}

bool BlockDecoder::Finish(DWORD& length) const {
    if (failed_) {
        length = 0;
        SetLastError(static_cast<DWORD>(CRYPT_E_BAD_ENCODE));
        return false;
    }
    length = static_cast<DWORD>(total_);
    const bool fits = data_ == nullptr || total_ <= capacity_;
    SetLastError(fits ? NO_ERROR : ERROR_MORE_DATA);
    return fits;
}

// ---- decoding: whole text ----------------------------------------------------

// Up to four characters of the alphabet in the high bits of `bits`.
const char* CollectGroup(const char* text, const char* end, unsigned& bits, DWORD& count) {
    bits = 0;
    count = 0;
    for (; text != end && count < 4; ++text) {
        const unsigned value = kFourth[static_cast<BYTE>(*text)];
        if (value == kNotPlain) continue;
        bits |= value << (18 - 6 * count);
        ++count;
    }
    return text;
}

void StoreWithin(const BYTE* bytes, DWORD count, BYTE* data, ULONGLONG at, DWORD capacity) {
    for (DWORD i = 0; i < count && data != nullptr && at + i < capacity; ++i) {
        data[at + i] = bytes[i];
    }
}

}  // namespace

bool EncodeBase64Lines64(const BYTE* data, DWORD length, char* text, DWORD* textLength) {
    if (*textLength < DemandedCapacity(length) || *textLength < TextLength(length)) {
        SetLastError(ERROR_MORE_DATA);
        return false;
    }
    char* at = text;
    for (; length >= kBase64LineBytes; length -= kBase64LineBytes, data += kBase64LineBytes) {
        at = EndLine(EncodeGroups(data, kBase64LineBytes / 3, at));
    }
    if (length > 0) at = EndLine(EncodePiece(data, length, at));
    *textLength = static_cast<DWORD>(at - text);
    return true;
}

DWORD Base64Lines76Capacity(DWORD length) {
    if (length > 0x7FFFFFFF / 2) throw std::invalid_argument("BASE64 input is too long");
    const DWORD characters = length / 3 * 4 + length % 3;
    return (characters + 3) / 4 * 4 + 2 * (characters / 76 + 1);
}

bool EncodeBase64Lines76(const BYTE* data, DWORD length, char* text, DWORD* textLength) {
    constexpr DWORD kLineGroups = 19;
    constexpr DWORD kLineBytes = kLineGroups * 3;
    if (*textLength < Base64Lines76Capacity(length)) {
        SetLastError(ERROR_MORE_DATA);
        return false;
    }
    char* at = text;
    for (; length / 3 > kLineGroups; length -= kLineBytes, data += kLineBytes) {
        at = EndLine(EncodeGroups(data, kLineGroups, at));
    }
    at = EncodePiece(data, length, at);
    *textLength = static_cast<DWORD>(at - text);
    return true;
}

bool DecodeBase64Blocks(const char* text, DWORD length, BYTE* data, DWORD* dataLength) {
    if (text == nullptr || dataLength == nullptr) {
        SetLastError(ERROR_BAD_ARGUMENTS);
        return false;
    }
    BlockDecoder decoder(data, *dataLength);
    decoder.Take(text, text + length);
    return decoder.Finish(*dataLength);
}

bool DecodeBase64Text(const char* text, DWORD length, BYTE* data, DWORD* dataLength) {
    const char* const end = text + length;
    const DWORD capacity = *dataLength;
    ULONGLONG total = 0;
    while (text != end && *text != '\0') {
        unsigned bits = 0;
        DWORD count = 0;
        text = CollectGroup(text, end, bits, count);
        BYTE bytes[3]{};
        StoreGroup(bits, bytes);
        StoreWithin(bytes, count * 6 / 8, data, total, capacity);
        total += count * 6 / 8;
    }
    *dataLength = static_cast<DWORD>(total);
    return data != nullptr && total <= capacity;
}

}  // namespace kestrel
