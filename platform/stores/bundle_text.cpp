// Text around DER: armour and BASE64.
#include "platform/stores/bundle_text.h"

#include <openssl/pem.h>
#include "platform/base/ground.h"

#include <algorithm>
#include <limits>
#include <memory>

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

}  // namespace

Base64Reader::Base64Reader() : context_(EVP_ENCODE_CTX_new()) {
    if (context_ == nullptr) throw std::bad_alloc();
    EVP_DecodeInit(Context(context_));
}

Base64Reader::~Base64Reader() { EVP_ENCODE_CTX_free(Context(context_)); }

Bytes Base64Reader::Feed(ByteView text) {
    if (ended_ || text.empty()) return {};
    const int size = IntOf(text.size());
    Bytes octets(text.size() / 4 * 3 + 64);  // the context may hold most of a line back
    int length = 0;
    const int state =
        EVP_DecodeUpdate(Context(context_), octets.data(), &length, text.data(), size);
    if (state < 0) throw Error(CRYPT_E_BAD_ENCODE);
    ended_ = state == 0;
    octets.resize(static_cast<std::size_t>(length));
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
