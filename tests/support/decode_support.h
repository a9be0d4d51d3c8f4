// Messages made by the openssl command, and the loops in which callers feed them to the
// exported calls.
#pragma once

#include "platform/base/ground.h"

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/encode_support.h"

namespace platform::testing {

// Refusals that many rows expect.
inline constexpr DWORD kBadMessage = Code(CRYPT_E_BAD_MSG);
inline constexpr DWORD kBadData = Code(NTE_BAD_DATA);
inline constexpr DWORD kBadIndex = Code(CRYPT_E_INVALID_INDEX);
inline constexpr DWORD kNotReady = Code(CRYPT_E_STREAM_MSG_NOT_READY);
inline constexpr DWORD kShort = Code(CRYPT_E_STREAM_INSUFFICIENT_DATA);
inline constexpr DWORD kLarge = Code(CRYPT_E_ASN1_LARGE);

// `openssl cms -sign` and `-encrypt` for identities of encode_support.h, in DER. Without
// "-nodetach" among the options a signed message is detached.
Bytes SignWith(const std::vector<std::string>& signers, const std::string& options,
               ByteView content);
Bytes EncryptFor(const std::vector<std::string>& recipients, const std::string& options,
                 ByteView content);

// A message opened for decoding, closed at the end.
class Decoding {
  public:
    // No sink: the whole message is held.
    explicit Decoding(Sink* sink, DWORD flags = 0, DWORD type = 0);
    // Held, and read already.
    explicit Decoding(const Bytes& whole, DWORD flags = 0);
    ~Decoding();
    Decoding(const Decoding&) = delete;
    Decoding& operator=(const Decoding&) = delete;

    // All answer the last error, 0 for success.
    DWORD Update(ByteView piece, bool isFinal);
    // In pieces of `chunk`; a shorter one, possibly empty, is the last, as callers that
    // read a file have it. With a provider it decrypts as soon as the header is known.
    DWORD Feed(ByteView message, std::size_t chunk, HCRYPTPROV provider = 0, DWORD recipient = 0);
    DWORD Decrypt(HCRYPTPROV provider, DWORD recipient = 0);
    DWORD Verify(DWORD signer, PCCERT_CONTEXT certificate);
    DWORD Control(DWORD type, const void* para);
    DWORD Get(DWORD param, DWORD index = 0);

    // The value of a parameter; a failure fails the test.
    Bytes Value(DWORD param, DWORD index = 0);
    DWORD Number(DWORD param);
    std::string Text(DWORD param);

  private:
    HCRYPTMSG handle_;
};

// A key pair of the identity's type that fits none of the messages. Released by the caller.
HCRYPTPROV StrangerProvider(const Identity& identity);

}  // namespace platform::testing
