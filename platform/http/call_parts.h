// What the calls of both client interfaces do with their arguments.
#pragma once

#include "platform/http/ground.h"

#include <memory>
#include <string>

#include "platform/base/error.h"
#include "platform/http/session.h"

namespace platform {

// Throws ERROR_INVALID_HANDLE, and ERROR_WINHTTP_INCORRECT_HANDLE_TYPE for another level's.
template <class T>
std::shared_ptr<T> InternetHandleOf(HINTERNET handle) {
    auto object = std::dynamic_pointer_cast<T>(Resolve<InternetObject>(handle));
    if (object == nullptr) throw Error(ERROR_WINHTTP_INCORRECT_HANDLE_TYPE);
    return object;
}

// Throws ERROR_INVALID_PARAMETER.
inline void DemandArgument(bool condition) {
    if (!condition) throw Error(ERROR_INVALID_PARAMETER);
}

// Throws ERROR_INVALID_PARAMETER for a size without data.
ByteView BodyOf(LPCVOID data, DWORD size);

struct RequestLine {
    std::string verb;
    std::string object;
    std::string version;
    std::string referrer;  // empty: none
    std::string accept;    // empty: none
    bool secure = false;
};
// Throws ERROR_INVALID_PARAMETER for what no request can have, ERROR_WINHTTP_INVALID_URL.
std::shared_ptr<Request> MakeRequest(const Connection& connection, const RequestLine& line);

}  // namespace platform
