// BASE64 and armour in every form that a file may come in, with buffers of exactly the
// length that was asked for.
#include <windows.h>

#include <string>
#include <vector>

#include "fuzz/support.h"
#include "messages/files/any_text.h"
#include "messages/files/base64.h"

namespace {

void DecodeAny(const BYTE* data, DWORD size) {
    DWORD need = 0;
    if (kestrel::DecodeAnyText(data, size, nullptr, &need) != S_OK) return;
    std::vector<BYTE> out(need);
    DWORD length = need;
    (void)kestrel::DecodeAnyText(data, size, out.data(), &length);
    Demand(length <= need, "no more than was told");
}

void DecodeBlocks(const char* text, DWORD size) {
    DWORD need = 0;
    if (!kestrel::DecodeBase64Blocks(text, size, nullptr, &need)) return;
    std::vector<BYTE> out(need);
    DWORD length = need;
    (void)kestrel::DecodeBase64Blocks(text, size, out.data(), &length);
    Demand(length <= need, "no more than was told");
}

void RoundTrip(const BYTE* data, DWORD size) {
    std::string text(std::size_t{size} * 2 + 8, '\0');
    auto length = static_cast<DWORD>(text.size());
    Demand(kestrel::EncodeBase64Lines64(data, size, text.data(), &length), "data can be encoded");
    std::vector<BYTE> out(std::size_t{size} + 1);
    auto decoded = static_cast<DWORD>(out.size());
    Demand(kestrel::DecodeBase64Text(text.data(), length, out.data(), &decoded), "and decoded");
    out.resize(decoded);
    Demand(out == std::vector<BYTE>(data, data + size), "to the same");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto length = static_cast<DWORD>(size);
    DecodeAny(data, length);
    DecodeBlocks(reinterpret_cast<const char*>(data), length);
    RoundTrip(data, length);
    return 0;
}
