// One writer at a time in a folder.
#pragma once

#include <filesystem>

#include "platform/base/descriptor.h"

namespace platform {

// Waits until no other process holds the folder, and holds it while it lives: for those who
// read a file there, change what they read and put it back. Throws when the folder cannot be
// opened; a file system without locks is gone on with.
class FolderLock {
  public:
    explicit FolderLock(const std::filesystem::path& folder);

  private:
    Descriptor folder_;
};

}  // namespace platform
