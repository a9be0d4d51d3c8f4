// Text around DER: armour and BASE64.
#include "platform/stores/bundle_text.h"

#include <openssl/pem.h>
#include "platform/base/ground.h"

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <utility>

#include "platform/base/error.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

constexpr std::string_view kArmour = "-----BEGIN ";

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

// As many groups as lie at the start of `text` without a blank between.
ByteView TakeGroups(ByteView text, std::uint8_t*& out) {
    while (text.size() >= 4) {
        const std::uint32_t bits = GroupBits(text.data());
        if (bits >= kNotPlain) break;
        StoreGroup(bits, out);
        text = text.subspan(4);
    }
    return text;
}

}  // namespace

Base64Reader::Base64Reader() : context_(EVP_ENCODE_CTX_new()) {
    if (context_ == nullptr) throw std::bad_alloc();
    EVP_DecodeInit(Context(context_));
}

Base64Reader::~Base64Reader() { EVP_ENCODE_CTX_free(Context(context_)); }

// Up to the first character that is neither of the alphabet nor a blank.
ByteView Base64Reader::TakePlain(ByteView text, std::uint8_t*& out) {
    for (;;) {
        if (waiting_ == 0) text = TakeGroups(text, out);
        if (text.empty()) return text;
        const std::uint8_t next = text.front();
        const bool blank = IsBlank(next);
        if (!blank && kPlaces[3][next] == kNotPlain) return text;
        text = text.subspan(1);
        if (blank) continue;
        group_[waiting_++] = next;
        if (waiting_ < std::size(group_)) continue;
        StoreGroup(GroupBits(group_), out);
        waiting_ = 0;
    }
}

void Base64Reader::FeedNative(ByteView text, std::uint8_t*& out) {
    int length = 0;
    const int state = EVP_DecodeUpdate(Context(context_), out, &length, text.data(),
                                       static_cast<int>(text.size()));
    if (state < 0) throw Error(CRYPT_E_BAD_ENCODE);
    ended_ = state == 0;
    out += length;
}

Bytes Base64Reader::Feed(ByteView text) {
    if (ended_ || text.empty()) return {};
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max() / 2)) {
        throw Error(CRYPT_E_BAD_ENCODE);
    }
    Bytes octets(text.size() / 4 * 3 + 64);  // the context may hold most of a line back
    std::uint8_t* out = octets.data();
    if (plain_) text = TakePlain(text, out);
    if (!text.empty()) {
        if (std::exchange(plain_, false) && waiting_ != 0) FeedNative({group_, waiting_}, out);
        FeedNative(text, out);
    }
    octets.resize(static_cast<std::size_t>(out - octets.data()));
    return octets;
}

void Base64Reader::Finish() {
    if (plain_ && waiting_ != 0) throw Error(CRYPT_E_BAD_ENCODE);
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
    const Bio bio(BIO_new_mem_buf(content.data(), static_cast<int>(content.size())));
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
