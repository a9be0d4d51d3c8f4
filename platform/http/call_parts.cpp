// Requests and bodies as both client interfaces hand them over.
#include "platform/http/call_parts.h"

namespace platform {

ByteView BodyOf(LPCVOID data, DWORD size) {
    DemandArgument(data != nullptr || size == 0);
    return ViewOf(data, size);
}

std::shared_ptr<Request> MakeRequest(const Connection& connection, const RequestLine& line) {
    DemandArgument(line.version == "HTTP/1.1" || line.version == "HTTP/1.0");
    DemandArgument(
        line.verb.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz-_") ==
        std::string::npos);
    auto request = std::make_shared<Request>(connection, line.verb, line.object, line.secure,
                                             line.version == "HTTP/1.0");
    const auto header = [&](const char* name, const std::string& value) {
        if (value.empty()) return;
        request->headers.Add(std::string(name) + ": " + value, WINHTTP_ADDREQ_FLAG_ADD);
    };
    header("Referer", line.referrer);
    header("Accept", line.accept);
    return request;
}

}  // namespace platform
