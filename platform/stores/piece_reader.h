// A file in pieces, for messages that are larger than anybody wants to hold.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "platform/base/bytes.h"
#include "platform/base/freer.h"

namespace platform {

class PieceReader {
  public:
    // Both throw the system's reason with the file's name.
    explicit PieceReader(std::string name);
    // Up to 64 KiB; empty at the end. The view lives until the next call.
    ByteView Next();
    // Octets so far.
    [[nodiscard]] std::uint64_t Taken() const { return taken_; }

  private:
    std::string name_;
    std::unique_ptr<std::FILE, Freer<std::fclose>> file_;
    std::unique_ptr<std::uint8_t[]> buffer_;
    std::uint64_t taken_ = 0;
};

}  // namespace platform
