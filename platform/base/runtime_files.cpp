// File calls of the C runtime.
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/base/errno_map.h"
#include "platform/base/error.h"
#include "platform/base/file_name.h"

namespace platform {
namespace {

// The runtime sets both error values, and clears the last error when it has opened a
// file: callers that take a length next look at it.
std::FILE* Fail(int error) {
    SetLastError(ErrnoToCode(error));
    errno = error;
    return nullptr;
}

// fopen takes a folder for reading; then the first read fails, which is too late.
std::FILE* RefuseFolder(std::FILE* file) {
    struct stat status {};
    if (fstat(fileno(file), &status) == 0 && S_ISDIR(status.st_mode)) {
        std::fclose(file);
        return Fail(EACCES);
    }
    SetLastError(ERROR_SUCCESS);
    return file;
}

// "t" is the runtime's word for what fopen does without it.
std::string ModeOf(const char* mode) {
    std::string wanted;
    for (; *mode != '\0'; ++mode) {
        if (*mode != 't') wanted += *mode;
    }
    return wanted + 'e';
}

std::FILE* Open(const char* name, const char* mode) {
    if (name == nullptr || mode == nullptr || *name == '\0') return Fail(EINVAL);
    std::FILE* file = std::fopen(SystemFileName(name).c_str(), ModeOf(mode).c_str());
    return file == nullptr ? Fail(errno) : RefuseFolder(file);
}

std::int64_t LengthOf(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) return -1;
    if (S_ISREG(status.st_mode)) return status.st_size;
    const off_t position = lseek(descriptor, 0, SEEK_CUR);
    if (position < 0) return -1;
    const off_t end = lseek(descriptor, 0, SEEK_END);
    return lseek(descriptor, position, SEEK_SET) < 0 ? -1 : end;
}

template <class Result>
Result WithLastError(Result result) {
    if (result < 0) SetLastError(ErrnoToCode(errno));
    return result;
}

}  // namespace
}  // namespace platform

FILE* _fsopen(const char* name, const char* mode, int) {
    try {
        return platform::Open(name, mode);
    } catch (...) {
        return platform::Fail(ENOMEM);
    }
}

int _fileno(FILE* file) {
    if (file != nullptr) return fileno(file);
    errno = EINVAL;
    return -1;
}

int64_t _filelengthi64(int descriptor) {
    return platform::WithLastError(platform::LengthOf(descriptor));
}

int _chsize_s(int descriptor, int64_t length) {
    return ftruncate(descriptor, length) == 0 ? 0 : errno;
}

int _fseeki64(FILE* file, int64_t offset, int origin) {
    return platform::WithLastError(fseeko(file, offset, origin));
}

int64_t _ftelli64(FILE* file) { return platform::WithLastError(ftello(file)); }
