// Addresses of EST authorities, taken apart.
#include "platform/enroll/est_address.h"

#include "platform/base/bytes.h"
#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/http/url.h"

namespace platform {
namespace {

constexpr std::string_view kPath = "/.well-known/est";
constexpr const char* kExpected = "https://host[:port][/.well-known/est[/label]]";

[[noreturn]] void ThrowOtherKind() { throw Error(RPC_S_SERVER_UNAVAILABLE, kExpected); }

// What stands before the host may have any octet as "%" and two digits (RFC 3986, 2.1).
std::string Unescaped(std::wstring_view wide) {
    std::string text = Narrow(wide);
    std::size_t size = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        char octet = text[at];
        if (octet == '%') {
            const int high = at + 2 < text.size() ? HexValue(text[at + 1]) : -1;
            const int low = high < 0 ? -1 : HexValue(text[at + 2]);
            if (low < 0) ThrowOtherKind();
            octet = static_cast<char>(high * 16 + low);
            at += 2;
        }
        text[size++] = octet;
    }
    Wipe(text.data() + size, text.size() - size);
    text.resize(size);
    return text;
}

std::string PathOf(std::string_view path) {
    while (path.ends_with('/')) path.remove_suffix(1);
    if (path.empty()) return std::string(kPath);
    const std::string_view label = path.substr(std::min(kPath.size(), path.size()));
    const bool oneLabel = label.empty() || (label.front() == '/' && label.rfind('/') == 0);
    if (!path.starts_with(kPath) || !oneLabel) ThrowOtherKind();
    return std::string(path);
}

EstAddress AddressOf(const UrlPieces& pieces) {
    if (!pieces.secure || !pieces.extra.empty()) ThrowOtherKind();
    EstAddress address;
    address.host = Narrow(FoldCase(pieces.host));
    address.port = pieces.port;
    address.path = PathOf(Narrow(pieces.path));
    address.user = Unescaped(pieces.user);
    std::string password = Unescaped(pieces.password);
    address.password = Secret(ViewOf(password));
    Wipe(password);
    return address;
}

}  // namespace

std::string EstAddress::Text() const {
    const bool usual = port == DefaultPort(true);
    return "https://" + host + (usual ? "" : ":" + std::to_string(port)) + path;
}

EstAddress ParseEstAddress(std::wstring_view text) {
    UrlPieces pieces;
    try {
        pieces = CrackUrl(text);
    } catch (const Error&) {
        ThrowOtherKind();
    }
    return AddressOf(pieces);
}

}  // namespace platform
