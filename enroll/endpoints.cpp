// The machine's own authorities.
#include "enroll/endpoints.h"

#include <windows.h>

#include "front/core/endpoints.h"
#include "front/core/holders.h"

namespace kestrel {

namespace {

constexpr char kSettingsKey[] = "Software\\Kestrel\\Platform";

using RegistryKeyHolder = HandleHolder<HKEY, RegCloseKey>;

// A status of the registry's; what is not there leaves `text` empty.
LSTATUS ReadText(const char* name, std::string& text) {
    RegistryKeyHolder key;
    LSTATUS status =
        RegOpenKeyExA(HKEY_LOCAL_MACHINE, kSettingsKey, 0, KEY_QUERY_VALUE, key.Fill());
    DWORD size = 0;
    DWORD type = REG_NONE;
    if (status == ERROR_SUCCESS) {
        status = RegQueryValueExA(key.Get(), name, nullptr, &type, nullptr, &size);
    }
    if (status == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
    if (status != ERROR_SUCCESS) return status;
    if (type != REG_SZ && type != REG_EXPAND_SZ) return ERROR_INVALID_DATA;
    text.resize(size);
    status = RegQueryValueExA(key.Get(), name, nullptr, &type, reinterpret_cast<BYTE*>(text.data()),
                              &size);
    text.resize(text.find('\0') < size ? text.find('\0') : size);
    return status;
}

std::string AddressOf(const char* setting, const char* builtIn) {
    std::string address;
    if (const LSTATUS failed = ReadText(setting, address); failed != ERROR_SUCCESS) {
        SetLastError(static_cast<DWORD>(failed));
        return {};
    }
    return address.empty() ? builtIn : address;
}

}  // namespace

std::string DefaultCaAddress() { return AddressOf("DefaultCA", KESTREL_DEFAULT_CA); }

std::string DefaultRegistrationAddress() {
    return AddressOf("DefaultRegistration", KESTREL_DEFAULT_REGISTRATION);
}

}  // namespace kestrel
