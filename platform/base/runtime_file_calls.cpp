// The exported file calls of the C runtime. They set errno as well as the last error.
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/base/draft.h"
#include "platform/base/errno_map.h"
#include "platform/base/error.h"
#include "platform/base/file_name.h"

namespace platform {
namespace {

[[noreturn]] void Fail(int error,
                       const std::source_location& where = std::source_location::current()) {
    errno = error;
    throw Error(ErrnoToCode(error), {}, where);
}

// fopen takes a folder for reading; then the first read fails, which is too late.
void RefuseFolder(std::FILE* file) {
    struct stat status {};
    if (fstat(fileno(file), &status) != 0 || !S_ISDIR(status.st_mode)) return;
    std::fclose(file);
    Fail(EACCES);
}

// "t" is the runtime's word for what fopen does without it.
std::string ModeOf(const char* mode) {
    std::string wanted;
    for (; *mode != '\0'; ++mode) {
        if (*mode != 't') wanted += *mode;
    }
    return wanted + 'e';
}

std::FILE* OpenUninterrupted(const std::string& name, const std::string& mode) {
    for (;;) {
        std::FILE* const file = std::fopen(name.c_str(), mode.c_str());
        if (file != nullptr || errno != EINTR) return file;
    }
}

std::FILE* Open(const char* name, const char* mode) {
    if (name == nullptr || mode == nullptr || *name == '\0') Fail(EINVAL);
    const std::string systemName = SystemFileName(name);
    NameDraft(systemName);
    std::FILE* const file = OpenUninterrupted(systemName, ModeOf(mode));
    if (file == nullptr) Fail(errno);
    RefuseFolder(file);
    return file;
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
Result Checked(Result result, const std::source_location& call = std::source_location::current()) {
    if (result < 0) SetFailure(ErrnoToCode(errno), call);
    return result;
}

}  // namespace
}  // namespace platform

using namespace platform;

// A file that was opened clears the last error (base-1).
FILE* _fsopen(const char* name, const char* mode, int) {
    return Guarded<FILE*>(nullptr, [&] {
        FILE* const file = Open(name, mode);
        PutLastError(ERROR_SUCCESS);
        return file;
    });
}

int _fileno(FILE* file) {
    if (file != nullptr) return fileno(file);
    errno = EINVAL;
    return -1;
}

int64_t _filelengthi64(int descriptor) { return Checked(LengthOf(descriptor)); }

int _chsize_s(int descriptor, int64_t length) {
    return ftruncate(descriptor, length) == 0 ? 0 : errno;
}

int _fseeki64(FILE* file, int64_t offset, int origin) {
    return Checked(fseeko(file, offset, origin));
}

int64_t _ftelli64(FILE* file) { return Checked(ftello(file)); }
