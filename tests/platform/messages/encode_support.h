// Identities made by the openssl command in a folder of their own, bound to containers of
// a home of their own, and the openssl command as the judge of what was written.
#pragma once

#include "platform/base/ground.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/base/bytes.h"
#include "platform/base/error.h"
#include "platform/messages/message.h"

namespace platform::testing {

// 0 when nothing was thrown.
template <class Body>
DWORD CodeOf(Body&& body) {
    try {
        body();
        return 0;
    } catch (const Error& error) {
        return error.Code();
    }
}

// The folder of this process's files; KESTREL_HOME and KESTREL_MACHINE_HOME lie in it.
const std::filesystem::path& Folder();
std::filesystem::path WriteTemp(const std::string& name, ByteView content);
Bytes ReadTemp(const std::string& name);

// Runs `openssl ARGUMENTS` inside Folder() and answers what it printed; a failure fails the test.
std::string OpenSsl(const std::string& arguments);

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

// Bytes that do not repeat with any short period.
Bytes Noise(std::size_t size);

// Opens an encoder, without a stream where the record is null.
using Opener = std::function<std::shared_ptr<Message>(const CMSG_STREAM_INFO*)>;
Bytes Streamed(const Opener& open, ByteView content, std::size_t piece);
Bytes WholeMessage(Message& message, ByteView content);
// For a sink that fails at its first call, its second and so on.
void ExpectFailingSinkStopsEverything(const Opener& open);

// The value of a parameter by the two usual calls.
Bytes Param(Message& message, DWORD param, DWORD index = 0);

}  // namespace platform::testing
