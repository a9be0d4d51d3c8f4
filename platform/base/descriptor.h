// Open files of the system, as the platform's units hold them.
#pragma once

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
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int Get() const { return descriptor_; }
    // False with errno: a file system on the network may only now say that it is full.
    [[nodiscard]] bool Close();

  private:
    int descriptor_;
};

// A file under a fresh name, for its owner alone, removed unless it is renamed into place.
class TemporaryFile {
  public:
    // `pattern` ends in "XXXXXX". Get() is negative, with errno, on failure.
    explicit TemporaryFile(std::string pattern);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    [[nodiscard]] int Get() const { return file_.Get(); }
    [[nodiscard]] bool RenameTo(const std::string& target);

  private:
    std::string name_;
    Descriptor file_;
    bool kept_ = false;
};

// Both leave errno on failure.
[[nodiscard]] bool WriteAll(int file, ByteView content);
// Copies from the start of one file to the current place in another.
[[nodiscard]] bool CopyContent(int from, int to);

// A rename is on the disk once its folder is.
void SyncFolder(const std::string& folder);

}  // namespace platform
