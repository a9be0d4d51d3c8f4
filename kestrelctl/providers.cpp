// kestrelctl providers: what the provider table holds, in the order that decides which
// hash and which cipher a command takes.
#include "platform/base/error.h"

#include "kestrelctl/commands.h"

namespace kestrelctl {
namespace {

const char* ClassName(ALG_ID algorithm) {
    switch (GET_ALG_CLASS(algorithm)) {
        case ALG_CLASS_HASH:
            return "hash";
        case ALG_CLASS_DATA_ENCRYPT:
            return "cipher";
        case ALG_CLASS_SIGNATURE:
            return "signature";
        case ALG_CLASS_KEY_EXCHANGE:
            return "key exchange";
        default:
            return "other";
    }
}

void AddAlgorithms(Listing& listing, DWORD type, const std::string& name) {
    const std::string number = std::to_string(type);
    const auto unavailable = [&](DWORD code) {
        const char* text = platform::SystemText(code, false);
        const std::string detail = platform::LastErrorDetail(code);
        const std::string reason = text == nullptr ? "error" : text;
        listing.Add(
            {number, name, "unavailable", detail.empty() ? reason : reason + " (" + detail + ")"});
    };
    HCRYPTPROV provider = 0;
    if (!CryptAcquireContextA(&provider, nullptr, name.c_str(), type, CRYPT_VERIFYCONTEXT)) {
        return unavailable(GetLastError());
    }
    PROV_ENUMALGS record{};
    DWORD size = sizeof record;
    for (DWORD flags = CRYPT_FIRST;
         CryptGetProvParam(provider, PP_ENUMALGS, reinterpret_cast<BYTE*>(&record), &size, flags);
         flags = 0) {
        listing.Add({number, name, ClassName(record.aiAlgid), record.szName});
    }
    if (GetLastError() != ERROR_NO_MORE_ITEMS) unavailable(GetLastError());
    CryptReleaseContext(provider, 0);
}

}  // namespace

void Providers(const Arguments& arguments) {
    Listing listing({"type", "provider", "class", "algorithm"});
    char name[256];
    DWORD type = 0;
    DWORD size = sizeof name;
    for (DWORD index = 0; CryptEnumProvidersA(index, nullptr, 0, &type, name, &size); ++index) {
        AddAlgorithms(listing, type, name);
        size = sizeof name;
    }
    listing.Print(arguments.Json());
}

}  // namespace kestrelctl
