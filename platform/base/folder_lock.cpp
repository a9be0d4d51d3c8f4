// One writer at a time in a folder.
#include "platform/base/folder_lock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>

#include "platform/base/home.h"

namespace platform {

// The folder itself is locked: files in it are replaced, and a lock would go with the old one.
FolderLock::FolderLock(const std::filesystem::path& folder)
    : folder_(OpenUninterrupted(folder, O_RDONLY | O_DIRECTORY)) {
    if (folder_.Get() < 0) ThrowErrno(errno, folder);
    while (flock(folder_.Get(), LOCK_EX) != 0) {
        if (errno != EINTR) return;
    }
}

}  // namespace platform
