// How a value reaches a caller's buffer: null asks, short reports the need, exact fits.
#pragma once

#include "platform/base/ground.h"

#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/base/bytes.h"
#include "platform/base/error.h"

namespace platform {

// Copies `value` out. A null `size` throws ERROR_INVALID_PARAMETER, a short buffer
// ERROR_MORE_DATA with the need stored.
void CopyOut(ByteView value, void* buffer, DWORD* size);
void CopyNumber(DWORD number, void* buffer, DWORD* size);
// The same for text, its terminator included.
void CopyTextOut(std::string_view text, char* buffer, DWORD* size);

// Lays a record and everything that it points to into one block. Run once on scratch
// memory to measure and once on the caller's buffer; see PackOut.
class Packer {
  public:
    // Measures: each piece gets scratch memory of its own.
    Packer() = default;
    explicit Packer(void* buffer) : next_(static_cast<std::uint8_t*>(buffer)) {}

    // A zeroed array in the block; null when `count` is 0.
    template <class T>
    T* Array(std::size_t count) {
        return count == 0 ? nullptr : static_cast<T*>(Take(sizeof(T) * count));
    }
    template <class T>
    T* One() {
        return Array<T>(1);
    }
    BYTE* Data(ByteView view);
    char* Text(std::string_view text);
    CRYPT_DATA_BLOB Blob(ByteView view);

    [[nodiscard]] std::size_t Size() const { return size_; }

  private:
    void* Take(std::size_t size);

    std::uint8_t* next_ = nullptr;
    std::size_t size_ = 0;
    std::vector<std::unique_ptr<std::uint8_t[]>> scratch_;
};

// `build(packer)` lays out the record, which must be the first piece it takes.
template <class Build>
void PackOut(Build&& build, void* buffer, DWORD* size) {
    if (size == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    Packer measure;
    build(measure);
    const DWORD capacity = *size;
    *size = static_cast<DWORD>(measure.Size());
    if (buffer == nullptr) return;
    if (capacity < measure.Size()) throw Error(ERROR_MORE_DATA);
    Packer out(buffer);
    build(out);
}

// The same into a block of its own. The block starts with the record.
template <class Build>
std::unique_ptr<std::uint8_t[]> PackOwned(Build&& build) {
    Packer measure;
    build(measure);
    auto block = std::make_unique<std::uint8_t[]>(measure.Size());
    Packer out(block.get());
    build(out);
    return block;
}

}  // namespace platform
