// The password of a container on its way to the provider.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "front/core/ask_size.h"
#include "front/core/catalogue.h"
#include "front/core/holders.h"
#include "front/core/keys.h"
#include "front/core/secret.h"
#include "selection/console.h"
#include "selection/providers.h"

namespace kestrel {

namespace {

constexpr DWORD kLineSize = 255;

bool AskForPin(const char* containerName, SecureText& pin) {
    PrintMessage(say::kEnterPin, 0);
    const std::string prompt = Escaped(containerName) + ": ";
    const auto line = std::make_unique<char[]>(kLineSize);
    const bool read = ReadHiddenLine(prompt.c_str(), line.get(), kLineSize) != nullptr;
    if (read) pin.Assign(line.get());
    Wipe(line.get(), kLineSize);
    return read;
}

bool ReadContainerName(HCRYPTPROV provider, std::string& name) {
    std::vector<BYTE> bytes;
    if (!FetchValue(bytes, [provider](BYTE* buffer, DWORD* size) {
            return CryptGetProvParam(provider, PP_CONTAINER, buffer, size, 0);
        })) {
        return false;
    }
    name.assign(bytes.begin(), std::find(bytes.begin(), bytes.end(), BYTE{0}));
    return true;
}

// A provider takes any password and finds out at the key; here the user hears of a wrong one
// before anything was written.
bool SetPin(HCRYPTPROV provider, DWORD keySpec, const char* pin) {
    const DWORD parameter = keySpec == AT_SIGNATURE ? PP_SIGNATURE_PIN : PP_KEYEXCHANGE_PIN;
    KeyHolder key;
    return CryptSetProvParam(provider, parameter, reinterpret_cast<const BYTE*>(pin), 0) &&
           CryptGetUserKey(provider, keySpec, key.Fill());
}

}  // namespace

void SecureText::Assign(const char* text) {
    Clear();
    const std::size_t size = std::strlen(text) + 1;
    text_ = std::make_unique<char[]>(size);
    std::memcpy(text_.get(), text, size);
}

void SecureText::Clear() {
    if (text_) WipeText(text_.get());
    text_.reset();
}

bool PinRequested() { return FindKey("askpin") || FindKey("pin"); }

// -askpin wins, and a -pin beside it stays behind as a leftover key.
bool GetContainerPin(const char* containerName, SecureText& pin) {
    pin.Clear();
    if (TakeKey("askpin")) return AskForPin(containerName, pin);
    const char* value = nullptr;
    if (!TakeKey("pin", &value)) return true;
    pin.Assign(value);
    WipeText(const_cast<char*>(value));  // the process's own copy of the argument
    return true;
}

Reported SetContainerPin(HCRYPTPROV provider, DWORD keySpec) {
    std::string name;
    if (!ReadContainerName(provider, name)) return ReportError(kLastError);
    SecureText pin;
    if (!GetContainerPin(name.c_str(), pin)) return ReportError(kPinFailed);
    if (!pin.Get()) return 0;
    const bool set = SetPin(provider, keySpec, pin.Get());
    const DWORD error = GetLastError();
    pin.Clear();
    SetLastError(error);
    if (!set) return ReportError(kLastError);
    return 0;
}

}  // namespace kestrel
