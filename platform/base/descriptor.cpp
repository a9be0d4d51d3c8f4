// Open files of the system.
#include "platform/base/descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace platform {

bool Descriptor::Close() {
    const int descriptor = std::exchange(descriptor_, -1);
    return descriptor < 0 || close(descriptor) == 0;
}

int OpenUninterrupted(const std::string& name, int flags, mode_t mode) {
    for (;;) {
        const int file = open(name.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode);
        if (file >= 0 || errno != EINTR) return file;
    }
}

bool WriteAll(int file, ByteView content) {
    while (!content.empty()) {
        const ssize_t done = write(file, content.data(), content.size());
        if (done < 0 && errno == EINTR) continue;
        if (done < 0) return false;
        content = content.subspan(static_cast<std::size_t>(done));
    }
    return true;
}

bool CopyContent(int from, int to) {
    Bytes buffer(256 * 1024);
    for (off_t position = 0;;) {
        const ssize_t got = pread(from, buffer.data(), buffer.size(), position);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return got == 0;
        if (!WriteAll(to, ByteView(buffer).first(static_cast<std::size_t>(got)))) return false;
        position += got;
    }
}

bool SyncFile(int file) {
    while (fsync(file) != 0) {
        if (errno != EINTR) return false;
    }
    return true;
}

// Any descriptor's end makes a file system on the network send what it holds.
bool WritesArrived(int file) {
    Descriptor other(fcntl(file, F_DUPFD_CLOEXEC, 0));
    return other.Get() >= 0 && other.Close();
}

bool SetLength(int file, off_t length) {
    while (ftruncate(file, length) != 0) {
        if (errno != EINTR) return false;
    }
    return true;
}

void SyncFolder(const std::string& folder) {
    const Descriptor opened(OpenUninterrupted(folder, O_RDONLY | O_DIRECTORY));
    if (opened.Get() >= 0) static_cast<void>(SyncFile(opened.Get()));
}

}  // namespace platform
