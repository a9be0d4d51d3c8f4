// The one place where libcurl is loaded.
#include "platform/http/curl_library.h"

#include <dlfcn.h>

#include <memory>

#include "platform/base/error.h"

namespace platform {
namespace {

constexpr const char* kFile = "libcurl.so.4";
constexpr const char* kPackage = "libcurl4";

// The functions of the TLS library are found through libcurl, which depends on it.
template <class Function>
void Find(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (function == nullptr) throw Error(ERROR_DLL_NOT_FOUND, kPackage);
}

std::unique_ptr<CurlLibrary> Load() {
    // Never closed: the libraries keep state of the process's own.
    void* library = dlopen(kFile, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) throw Error(ERROR_DLL_NOT_FOUND, kPackage);
    auto functions = std::make_unique<CurlLibrary>();
#define KESTREL_FIND(name) Find(library, #name, functions->name);
    KESTREL_CURL_FUNCTIONS(KESTREL_FIND)
#undef KESTREL_FIND
    if (functions->curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
        throw Error(ERROR_DLL_NOT_FOUND, kPackage);
    }
    return functions;
}

}  // namespace

const CurlLibrary& Curl() {
    static const std::unique_ptr<CurlLibrary> library = Load();
    return *library;
}

}  // namespace platform
