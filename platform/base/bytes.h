// Byte sequences, owned and borrowed, in the one spelling that the platform uses.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

inline ByteView ViewOf(const void* data, std::size_t size) {
    return {static_cast<const std::uint8_t*>(data), size};
}

inline ByteView ViewOf(std::string_view text) { return ViewOf(text.data(), text.size()); }

inline Bytes Copy(ByteView view) { return {view.begin(), view.end()}; }

bool Equal(ByteView first, ByteView second);
// For authentication codes: the time tells the length at most.
bool SameCode(ByteView first, ByteView second);

// Lower-case hexadecimal digits.
std::string Hex(ByteView bytes);
// Of a hexadecimal digit in either case; -1 for what is none.
int HexValue(char digit);

// Overwrites memory in a way that the optimiser keeps.
void Wipe(void* data, std::size_t size);
void Wipe(Bytes& bytes);
void Wipe(std::string& text);

// A password or key that overwrites itself when it goes.
class Secret {
  public:
    Secret() = default;
    explicit Secret(ByteView view) : bytes_(Copy(view)) {}
    Secret(const Secret&) = default;
    Secret(Secret&&) = default;
    Secret& operator=(const Secret& other);
    Secret& operator=(Secret&& other) noexcept;
    ~Secret() { Wipe(bytes_); }

    [[nodiscard]] ByteView View() const { return bytes_; }
    [[nodiscard]] std::string_view Text() const {
        return {reinterpret_cast<const char*>(bytes_.data()), bytes_.size()};
    }
    [[nodiscard]] bool Empty() const { return bytes_.empty(); }

  private:
    Bytes bytes_;
};

}  // namespace platform
