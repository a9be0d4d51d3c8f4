// Requests whose authority has not decided yet, kept beside the store "REQUEST" under numbers of
// our own: the protocol has none, and wants the same request again.
#pragma once

#include "platform/base/ground.h"

#include <filesystem>
#include <string>
#include <vector>

#include "platform/base/bytes.h"
#include "platform/providers/crypto.h"

namespace platform {

struct WaitingRequest {
    std::string authority;  // its address, without a user
    Bytes request;          // PKCS #10

    bool operator==(const WaitingRequest&) const = default;
};

// The number; that of before when the same waits already. The file is whole or not there, and no
// two requests get one number, however many processes ask at once.
LONG KeepWaiting(const WaitingRequest& waiting);
// Throws CRYPT_E_NOT_FOUND, and ERROR_FILE_CORRUPT with the file's name.
WaitingRequest FindWaiting(LONG number);
// Files of such that cannot be read as one.
std::vector<std::filesystem::path> DamagedWaiting();
// Those for this key: it has its certificate.
void ForgetWaiting(const AnyKey& key);

}  // namespace platform
