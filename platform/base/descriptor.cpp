#include "platform/base/descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace platform {

bool Descriptor::Close() {
    const int descriptor = std::exchange(descriptor_, -1);
    return descriptor < 0 || close(descriptor) == 0;
}

TemporaryFile::TemporaryFile(std::string pattern)
    : name_(std::move(pattern)), file_(mkostemp(name_.data(), O_CLOEXEC)) {}

TemporaryFile::~TemporaryFile() {
    if (file_.Get() >= 0 && !kept_) unlink(name_.c_str());
}

bool TemporaryFile::RenameTo(const std::string& target) {
    kept_ = rename(name_.c_str(), target.c_str()) == 0;
    return kept_;
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

void SyncFolder(const std::string& folder) {
    const Descriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened.Get() >= 0) fsync(opened.Get());
}

}  // namespace platform
