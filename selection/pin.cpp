#include <cstring>
#include <string>

#include "front/core/catalogue.h"
#include "front/core/keys.h"
#include "selection/console.h"
#include "selection/providers.h"

namespace kestrel {

namespace {

constexpr MessageId kEnterPin = 179;
constexpr DWORD kLineSize = 255;

// Through a volatile pointer, so that the compiler keeps the writes.
void Wipe(char* text, std::size_t size) {
    for (volatile char* byte = text; size != 0; --size) *byte++ = '\0';
}

bool AskForPin(const char* containerName, SecureText& pin) {
    PrintMessage(kEnterPin, 0);
    const std::string prompt = std::string(containerName) + ": ";
    const auto line = std::make_unique<char[]>(kLineSize);
    const bool read = ReadHiddenLine(prompt.c_str(), line.get(), kLineSize) != nullptr;
    if (read) pin.Assign(line.get());
    Wipe(line.get(), kLineSize);
    return read;
}

bool ReadContainerName(HCRYPTPROV provider, std::string& name) {
    DWORD size = 0;
    if (!CryptGetProvParam(provider, PP_CONTAINER, nullptr, &size, 0)) return false;
    name.assign(size + 1, '\0');
    return CryptGetProvParam(provider, PP_CONTAINER, reinterpret_cast<BYTE*>(name.data()), &size,
                             0) != 0;
}

}  // namespace

void SecureText::Assign(const char* text) {
    Clear();
    const std::size_t size = std::strlen(text) + 1;
    text_ = std::make_unique<char[]>(size);
    std::memcpy(text_.get(), text, size);
}

void SecureText::Clear() {
    if (text_) Wipe(text_.get(), std::strlen(text_.get()));
    text_.reset();
}

bool PinRequested() { return FindKey("askpin") || FindKey("pin"); }

// -askpin wins, and a -pin beside it stays behind as a leftover key.
bool GetContainerPin(const char* containerName, SecureText& pin) {
    pin.Clear();
    if (TakeKey("askpin")) return AskForPin(containerName, pin);
    const char* value = nullptr;
    if (TakeKey("pin", &value)) pin.Assign(value);
    return true;
}

DWORD SetContainerPin(HCRYPTPROV provider, DWORD keySpec) {
    std::string name;
    if (!ReadContainerName(provider, name)) return ReportError(kLastError);
    SecureText pin;
    if (!GetContainerPin(name.c_str(), pin)) return ReportError(kPinFailed);
    if (!pin.Get()) return 0;
    const DWORD parameter = keySpec == AT_SIGNATURE ? PP_SIGNATURE_PIN : PP_KEYEXCHANGE_PIN;
    const bool set =
        CryptSetProvParam(provider, parameter, reinterpret_cast<const BYTE*>(pin.Get()), 0) != 0;
    const DWORD error = GetLastError();
    pin.Clear();
    SetLastError(error);
    return set ? 0 : ReportError(kLastError);
}

}  // namespace kestrel
