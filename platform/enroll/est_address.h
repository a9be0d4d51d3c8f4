// Where an authority that speaks EST is found (RFC 7030, 3.2.2).
#pragma once

#include "platform/base/ground.h"

#include <string>
#include <string_view>

#include "platform/base/bytes.h"

namespace platform {

struct EstAddress {
    std::string host;  // folded; "[::1]" with its brackets
    WORD port = 0;
    std::string path;  // "/.well-known/est", with a label behind it when there is one
    std::string user;  // empty: nobody is told
    Secret password;

    // One spelling for one authority, without the user.
    [[nodiscard]] std::string Text() const;
};

// "https://[user:password@]host[:port]", with the path or without. Throws RPC_S_SERVER_UNAVAILABLE
// for any other text; the detail holds nothing of it, as there may be a password in it.
EstAddress ParseEstAddress(std::wstring_view text);

}  // namespace platform
