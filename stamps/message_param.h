// A message's parameters as bytes.
#pragma once

#include <windows.h>

#include <span>
#include <string_view>
#include <utility>

#include "front/core/holders.h"
#include "stamps/blob.h"

namespace Ferroline {

// The type of a token's content (RFC 3161, 2.4.2).
inline constexpr std::string_view kTstInfoOid = "1.2.840.113549.1.9.16.1.4";

// Throws the platform's error.
[[nodiscard]] CBlob MessageParam(HCRYPTMSG message, DWORD param, DWORD index = 0);
[[nodiscard]] DWORD MessageNumber(HCRYPTMSG message, DWORD param);

// The attributes of the first signer: CMSG_SIGNER_AUTH_ATTR_PARAM or
// CMSG_SIGNER_UNAUTH_ATTR_PARAM. The record points into the block.
class SignerAttributes {
  public:
    SignerAttributes() = default;
    explicit SignerAttributes(CBlob block) : block_(std::move(block)) {}
    // Empty when the message has none. Throws the platform's error otherwise.
    static SignerAttributes Of(HCRYPTMSG message, DWORD param, DWORD signer = 0);

    [[nodiscard]] std::span<const CRYPT_ATTRIBUTE> List() const;
    [[nodiscard]] bool IsPresent() const { return !block_.IsEmpty(); }

  private:
    CBlob block_;
};

// A whole message, opened and read. Throws the platform's error.
void OpenMessage(const void* data, DWORD size, kestrel::MessageHolder& message);

}  // namespace Ferroline
