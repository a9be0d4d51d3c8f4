// How much key derivation a stranger's file may ask for before it is refused.
#pragma once

#include <openssl/x509.h>

#include <cstdint>

#include "platform/base/error.h"

namespace platform {

class TooManyRounds : public Error {
  public:
    TooManyRounds() : Error(NTE_BAD_DATA) {}
};

// Spent before the work is done, in all its pieces together. Throws TooManyRounds.
class RoundBudget {
  public:
    // Of PBES2 with PBKDF2 (RFC 8018 A.2, A.4) or a password cipher of PKCS #12 (RFC 7292 C).
    // What is none of these is left to fail by itself.
    void Spend(const X509_ALGOR* encryption);
    // Of the digest `algorithm`. No number is one round; negative and overlong ones are absurd.
    void Spend(const ASN1_INTEGER* rounds, const X509_ALGOR* algorithm);

  private:
    // Well above what any program asks for in one file, and about a second's work.
    std::uint64_t left_ = 2'000'000;
};

}  // namespace platform
