// Open files of the system, as the platform's units hold them.
#pragma once

#include <sys/types.h>

#include <string>
#include <utility>

#include "platform/base/bytes.h"

namespace platform {

// An open file, closed with its holder.
class Descriptor {
  public:
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    ~Descriptor() { static_cast<void>(Close()); }
    Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int Get() const { return descriptor_; }
    // False with errno: a file system on the network may only now say that it is full.
    [[nodiscard]] bool Close();

  private:
    int descriptor_;
};

// All leave errno on failure, and go on when a signal interrupts them.
[[nodiscard]] int OpenUninterrupted(const std::string& name, int flags, mode_t mode = 0);
[[nodiscard]] bool WriteAll(int file, ByteView content);
// Copies from the start of one file to the current place in another.
[[nodiscard]] bool CopyContent(int from, int to);
[[nodiscard]] bool SyncFile(int file);
// What closing the file would tell, without the wait for a disk.
[[nodiscard]] bool WritesArrived(int file);
[[nodiscard]] bool SetLength(int file, off_t length);

// A rename is on the disk once its folder is.
void SyncFolder(const std::string& folder);

}  // namespace platform
