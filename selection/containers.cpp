// The list of key containers.
#include <cstdio>
#include <cstring>
#include <string>

#include "front/core/catalogue.h"
#include "front/core/holders.h"
#include "selection/console.h"
#include "selection/providers.h"

namespace kestrel {

namespace {

// The next name of the list, the first one for CRYPT_FIRST. `name` keeps its room.
bool NextContainer(HCRYPTPROV provider, std::string& name, DWORD position) {
    auto size = static_cast<DWORD>(name.size());
    return CryptGetProvParam(provider, PP_ENUMCONTAINERS, reinterpret_cast<BYTE*>(name.data()),
                             &size, position) != 0;
}

// Room for the largest name. An empty list may show here already.
bool MakeRoomForNames(HCRYPTPROV provider, std::string& name) {
    DWORD size = 0;
    if (!CryptGetProvParam(provider, PP_ENUMCONTAINERS, nullptr, &size, CRYPT_FIRST) &&
        GetLastError() != ERROR_NO_MORE_ITEMS) {
        return false;
    }
    name.assign(size + 1, '\0');
    return true;
}

Reported PrintContainers(HCRYPTPROV provider, std::string& name, int& count) {
    PrintMessage(say::kChooseContainer, 2);
    count = 0;
    for (DWORD position = CRYPT_FIRST; NextContainer(provider, name, position); position = 0) {
        std::printf("#%d: ", ++count);
        PrintText(name.c_str(), 1);
    }
    const DWORD error = GetLastError();
    std::fflush(stdout);
    SetLastError(error);
    if (error != ERROR_NO_MORE_ITEMS) return ReportError(kLastError);
    if (count == 0) return ReportError(kNoContainers);
    return 0;
}

// Lists again from the first: a container that appeared meanwhile shifts the numbers.
Reported FetchContainer(HCRYPTPROV provider, DWORD number, std::string& name) {
    for (DWORD index = 0; index < number; ++index) {
        if (!NextContainer(provider, name, index == 0 ? CRYPT_FIRST : 0)) {
            return ReportError(kLastError);
        }
    }
    return 0;
}

}  // namespace

Reported ChooseContainer(DWORD type, const char* providerName, DWORD flags,
                         std::unique_ptr<char[]>& name) {
    ProviderHolder provider;
    std::string listed;
    if (!CryptAcquireContextA(provider.Fill(), nullptr, providerName, type,
                              flags | CRYPT_VERIFYCONTEXT) ||
        !MakeRoomForNames(provider.Get(), listed)) {
        return ReportError(kLastError);
    }
    int count = 0;
    if (const Reported failure = PrintContainers(provider.Get(), listed, count)) return failure;

    PrintMessage(say::kNumberPrompt, 0);
    DWORD number = 0;
    if (const Reported failure = ReadCertificateNumber(count, number)) return failure;
    if (const Reported failure = FetchContainer(provider.Get(), number, listed)) return failure;

    const std::size_t length = std::strlen(listed.c_str());
    name = std::make_unique<char[]>(length + 1);
    std::memcpy(name.get(), listed.c_str(), length);
    return 0;
}

}  // namespace kestrel
