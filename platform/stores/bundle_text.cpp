// Text around DER: armour and BASE64.
#include "platform/stores/bundle_text.h"

#include <openssl/pem.h>
#include "platform/base/ground.h"

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <optional>

#include "platform/base/error.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

constexpr std::string_view kArmour = "-----BEGIN ";

// OpenSSL counts in int, and adds to it.
int IntOf(std::size_t size) {
    constexpr int kMost = std::numeric_limits<int>::max() / 2;
    if (size > static_cast<std::size_t>(kMost)) throw Error(CRYPT_E_BAD_ENCODE);
    return static_cast<int>(size);
}

EVP_ENCODE_CTX* Context(void* context) { return static_cast<EVP_ENCODE_CTX*>(context); }

template <class T>
using OpenSslMemory = std::unique_ptr<T, Freer<FreeMemory>>;

// The bits of a character of the alphabet at its place in a group: four look-ups make a group.
constexpr std::uint32_t kNotPlain = 0x01000000;
using PlaceTable = std::array<std::uint32_t, 256>;
constexpr PlaceTable PlacesOf(unsigned shift) {
    constexpr std::string_view kAlphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    PlaceTable table{};
    table.fill(kNotPlain);
    for (std::size_t value = 0; value < kAlphabet.size(); ++value) {
        table[static_cast<std::uint8_t>(kAlphabet[value])] = static_cast<std::uint32_t>(value)
                                                             << shift;
    }
    return table;
}
constexpr PlaceTable kPlaces[] = {PlacesOf(18), PlacesOf(12), PlacesOf(6), PlacesOf(0)};

std::uint32_t GroupBits(const std::uint8_t* text) {
    return kPlaces[0][text[0]] | kPlaces[1][text[1]] | kPlaces[2][text[2]] | kPlaces[3][text[3]];
}

void StoreGroup(std::uint32_t bits, std::uint8_t*& out) {
    *out++ = static_cast<std::uint8_t>(bits >> 16);
    *out++ = static_cast<std::uint8_t>(bits >> 8);
    *out++ = static_cast<std::uint8_t>(bits);
}

bool IsBlank(std::uint8_t c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

bool IsPlain(std::uint8_t c) { return kPlaces[3][c] != kNotPlain; }

// A group whose characters have blanks between them; none where there are fewer, or others.
std::optional<std::uint32_t> TakeSpread(ByteView& text) {
    std::uint8_t group[4];
    for (std::size_t count = 0; count < std::size(group); text = text.subspan(1)) {
        if (text.empty()) return std::nullopt;
        if (IsBlank(text.front())) continue;
        if (!IsPlain(text.front())) return std::nullopt;
        group[count++] = text.front();
    }
    return GroupBits(group);
}

// OpenSSL's context decodes so many characters at once, and is empty then.
constexpr std::size_t kBlock = 64;

// False, with nothing taken, where there are fewer characters, or others.
bool TakeBlock(ByteView& text, std::uint8_t*& out) {
    ByteView rest = text;
    std::uint8_t* at = out;
    for (std::size_t group = 0; group < kBlock / 4; ++group) {
        std::uint32_t bits = rest.size() < 4 ? kNotPlain : GroupBits(rest.data());
        if (bits < kNotPlain) {
            rest = rest.subspan(4);
        } else {
            const auto spread = TakeSpread(rest);
            if (!spread) return false;
            bits = *spread;
        }
        StoreGroup(bits, at);
    }
    text = rest;
    out = at;
    return true;
}

}  // namespace

Base64Reader::Base64Reader() : context_(EVP_ENCODE_CTX_new()) {
    if (context_ == nullptr) throw std::bad_alloc();
    EVP_DecodeInit(Context(context_));
}

Base64Reader::~Base64Reader() { EVP_ENCODE_CTX_free(Context(context_)); }

void Base64Reader::FeedNative(ByteView text, std::uint8_t*& out) {
    if (text.empty()) return;
    int length = 0;
    const int state =
        EVP_DecodeUpdate(Context(context_), out, &length, text.data(), IntOf(text.size()));
    if (state < 0) throw Error(CRYPT_E_BAD_ENCODE);
    ended_ = state == 0;
    out += length;
    const auto count = static_cast<std::size_t>(std::ranges::count_if(text, IsPlain));
    plain_ = plain_ &&
             count == text.size() - static_cast<std::size_t>(std::ranges::count_if(text, IsBlank));
    held_ = (held_ + count) % kBlock;
    if (held_ % 4 == 0) held_ = 0;  // whole groups at the end of a piece are not held back
}

// What is behind the block that the context has the beginning of; all of `text` where that does
// not end here, or has other characters.
ByteView Base64Reader::CompleteBlock(ByteView text, std::uint8_t*& out) {
    std::size_t missing = kBlock - held_;
    std::size_t at = 0;
    for (; at < text.size() && missing > 0; ++at) {
        if (IsPlain(text[at])) {
            --missing;
        } else if (!IsBlank(text[at])) {
            return text;
        }
    }
    if (missing > 0) return text;
    FeedNative(text.first(at), out);
    return text.subspan(at);
}

// Whole blocks are decoded here, many times as fast; OpenSSL has the ends, padding and faults.
Bytes Base64Reader::Feed(ByteView text) {
    if (ended_ || text.empty()) return {};
    Bytes octets(text.size() / 4 * 3 + 64);  // the context may hold most of a line back
    std::uint8_t* out = octets.data();
    if (plain_ && held_ != 0) text = CompleteBlock(text, out);
    while (plain_ && held_ == 0 && TakeBlock(text, out)) continue;
    FeedNative(text, out);
    octets.resize(static_cast<std::size_t>(out - octets.data()));
    return octets;
}

void Base64Reader::Finish() {
    std::uint8_t rest[64];
    int length = 0;
    if (EVP_DecodeFinal(Context(context_), rest, &length) < 0) throw Error(CRYPT_E_BAD_ENCODE);
}

Bytes DecodeBase64(ByteView text) {
    Base64Reader reader;
    Bytes octets = reader.Feed(text);
    reader.Finish();
    return octets;
}

bool HasArmour(ByteView content) {
    return std::search(content.begin(), content.end(), kArmour.begin(), kArmour.end()) !=
           content.end();
}

void ForEachBlock(ByteView content,
                  const std::function<void(std::string_view label, ByteView octets)>& take) {
    const Bio bio(BIO_new_mem_buf(content.data(), IntOf(content.size())));
    if (!bio) throw std::bad_alloc();
    for (;;) {
        char* label = nullptr;
        char* header = nullptr;
        unsigned char* octets = nullptr;
        long length = 0;
        if (PEM_read_bio(bio.get(), &label, &header, &octets, &length) != 1) break;
        const OpenSslMemory<char> heldLabel(label);
        const OpenSslMemory<char> heldHeader(header);
        const OpenSslMemory<unsigned char> heldOctets(octets);
        take(label, {octets, static_cast<std::size_t>(length)});
    }
    const unsigned long reason = ERR_peek_last_error();
    ERR_clear_error();
    if (ERR_GET_REASON(reason) != PEM_R_NO_START_LINE) throw Error(CRYPT_E_BAD_ENCODE);
}

}  // namespace platform
