// Identities made by the openssl command, bound to containers of a home in Folder().
#pragma once

#include "platform/base/ground.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/base/bytes.h"
#include "platform/base/error.h"
#include "platform/cms/message.h"
#include "tests/support/workshop.h"

namespace platform::testing {

inline constexpr std::size_t kChunk = 65536;  // what the program hands on at once

// One key and its self-signed certificate, and the open provider handle over it.
struct Identity {
    const char* name;
    const char* newKey;  // arguments of `openssl req`
    DWORD type;
    const char* digest;
    const char* cipher;
    PCCERT_CONTEXT certificate = nullptr;
    HCRYPTPROV provider = 0;

    [[nodiscard]] CMSG_SIGNER_ENCODE_INFO Signer() const;
};
// "rsa", "ec", "gost2001", "gost2012-256", "gost2012-512"; made on first use.
const Identity& IdentityOf(const std::string& name);
inline const char* const kSigningIdentities[] = {"rsa", "ec", "gost2001", "gost2012-256",
                                                 "gost2012-512"};
inline const char* const kEncryptingIdentities[] = {"rsa", "gost2001", "gost2012-256",
                                                    "gost2012-512"};

// A sink that keeps what it gets; refuses the call numbered `failAt` (from 0) with
// ERROR_WRITE_FAULT.
struct Sink {
    Bytes output;
    int calls = 0;
    int finals = 0;
    int failAt = -1;
    bool callAfterFinal = false;

    CMSG_STREAM_INFO Info();
};

// Opens an encoder, without a stream where the record is null.
using Opener = std::function<std::shared_ptr<Message>(const CMSG_STREAM_INFO*)>;
Bytes Streamed(const Opener& open, ByteView content, std::size_t piece);
Bytes WholeMessage(Message& message, ByteView content);
// For a sink that fails at its first call, its second and so on.
void ExpectFailingSinkStopsEverything(const Opener& open);

// The value of a parameter by the two usual calls.
Bytes Param(Message& message, DWORD param, DWORD index = 0);

}  // namespace platform::testing
