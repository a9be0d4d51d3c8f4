// Text around DER: armour and BASE64.
#pragma once

#include <functional>

#include "platform/base/bytes.h"

namespace platform {

// BASE64 in pieces, line ends and blanks anywhere, up to the first "-" or the end.
class Base64Reader {
  public:
    Base64Reader();
    ~Base64Reader();
    Base64Reader(const Base64Reader&) = delete;
    Base64Reader& operator=(const Base64Reader&) = delete;

    // Both throw CRYPT_E_BAD_ENCODE.
    Bytes Feed(ByteView text);
    void Finish();

  private:
    ByteView CompleteBlock(ByteView text, std::uint8_t*& out);
    void FeedNative(ByteView text, std::uint8_t*& out);

    void* context_;
    // Characters that OpenSSL's context holds back, as long as it has seen nothing but the
    // alphabet and blanks.
    std::size_t held_ = 0;
    bool plain_ = true;
    bool ended_ = false;
};

Bytes DecodeBase64(ByteView text);

bool HasArmour(ByteView content);
// Calls `take` with label and octets of every armoured block, in order. Throws
// CRYPT_E_BAD_ENCODE for a damaged one, and for content past 1 GiB.
void ForEachBlock(ByteView content,
                  const std::function<void(std::string_view label, ByteView octets)>& take);

}  // namespace platform
