// How a value reaches a caller's buffer.
#include "platform/base/output.h"

#include <limits>

namespace platform {
namespace {

constexpr std::size_t kAlignment = alignof(std::max_align_t);

}  // namespace

void CopyOut(ByteView value, void* buffer, DWORD* size) {
    if (size == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    if (value.size() > std::numeric_limits<DWORD>::max()) throw Error(ERROR_OUTOFMEMORY);
    const DWORD capacity = *size;
    *size = static_cast<DWORD>(value.size());
    if (buffer == nullptr) return;
    if (capacity < value.size()) throw Error(ERROR_MORE_DATA);
    if (!value.empty()) std::memcpy(buffer, value.data(), value.size());
}

void CopyNumber(DWORD number, void* buffer, DWORD* size) {
    CopyOut(ViewOf(&number, sizeof number), buffer, size);
}

void CopyTextOut(std::string_view text, char* buffer, DWORD* size) {
    const std::string terminated(text);
    CopyOut(ViewOf(terminated.c_str(), terminated.size() + 1), buffer, size);
}

void* Packer::Take(std::size_t size) {
    const std::size_t padded = (size + kAlignment - 1) / kAlignment * kAlignment;
    size_ += padded;
    if (next_ == nullptr) return scratch_.emplace_back(new std::uint8_t[padded]{}).get();
    std::memset(next_, 0, padded);
    void* piece = next_;
    next_ += padded;
    return piece;
}

BYTE* Packer::Data(ByteView view) {
    BYTE* copy = Array<BYTE>(view.size());
    if (copy != nullptr) std::memcpy(copy, view.data(), view.size());
    return copy;
}

char* Packer::Text(std::string_view text) {
    char* copy = Array<char>(text.size() + 1);
    text.copy(copy, text.size());
    return copy;
}

CRYPT_DATA_BLOB Packer::Blob(ByteView view) {
    return {static_cast<DWORD>(view.size()), Data(view)};
}

}  // namespace platform
