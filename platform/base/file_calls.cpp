// The exported calls on files.
#include <unistd.h>

#include <cerrno>

#include "platform/base/draft.h"
#include "platform/base/errno_map.h"
#include "platform/base/file_entry.h"
#include "platform/base/file_name.h"
#include "platform/base/open_file.h"
#include "platform/base/replace_file.h"

namespace platform {
namespace {

void CheckDone(bool done) {
    if (!done) throw Error(ErrnoToCode(errno));
}

// A file whose name is asked for has one.
std::string NamedFile(const char* name) {
    std::string file = FileArgument(name);
    NameDraft(file);
    return file;
}

int DescriptorOf(HANDLE file) { return Resolve<OpenFile>(file)->Get(); }

// What stands behind the name, and whether that is a link: most names are none, and asked once.
// False with errno.
bool Look(const std::string& name, struct stat& status, bool& isLink) {
    if (lstat(name.c_str(), &status) != 0) return false;
    isLink = S_ISLNK(status.st_mode);
    return !isLink || stat(name.c_str(), &status) == 0;
}

DWORD AttributesBehind(const std::string& name, const struct stat& status, bool isLink) {
    const DWORD attributes = AttributesOf(status);
    if (!isLink || !S_ISREG(status.st_mode) || !LeadsToOpenFile(name)) return attributes;
    return (attributes & ~DWORD{FILE_ATTRIBUTE_NORMAL}) | FILE_ATTRIBUTE_REPARSE_POINT;
}

void Replace(LPCSTR replaced, LPCSTR replacement, DWORD flags) {
    if ((flags & ~DWORD{REPLACEFILE_WRITE_THROUGH}) != 0) throw Error(ERROR_INVALID_PARAMETER);
    const std::string target = FileArgument(replaced);
    const std::string source = FileArgument(replacement);
    const bool durable = (flags & REPLACEFILE_WRITE_THROUGH) != 0;
    CheckHeld(target);
    const auto draft = FindDraft(source);
    if (!draft) return ReplaceByFile(target, source, durable);
    struct stat status {};
    if (lstat(target.c_str(), &status) != 0) ThrowFileError(errno, target);
    ReplaceByDraft(target, *draft, durable);
    ForgetDraft(source);
}

}  // namespace
}  // namespace platform

using namespace platform;

// "No such file" is an answer that callers want for each of many names, so it is not thrown.
DWORD WINAPI GetFileAttributesA(LPCSTR name) {
    return Guarded<DWORD>(INVALID_FILE_ATTRIBUTES, [&] {
        const std::string file = NamedFile(name);
        struct stat status {};
        bool isLink = false;
        if (Look(file, status, isLink)) return AttributesBehind(file, status, isLink);
        SetFailure(FileErrorCode(errno, file));
        return INVALID_FILE_ATTRIBUTES;
    });
}

BOOL WINAPI SetFileAttributesA(LPCSTR name, DWORD attributes) {
    return GuardedBool(
        [&] { SetReadOnly(FileArgument(name), (attributes & FILE_ATTRIBUTE_READONLY) != 0); });
}

BOOL WINAPI CreateDirectoryA(LPCSTR name, LPSECURITY_ATTRIBUTES) {
    return GuardedBool([&] { MakeFolder(FileArgument(name)); });
}

HANDLE WINAPI CreateFileA(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES,
                          DWORD disposition, DWORD flags, HANDLE) {
    return Guarded<HANDLE>(INVALID_HANDLE_VALUE, [&]() -> HANDLE {
        return Publish(Open({NamedFile(name), access, share, disposition, flags}));
    });
}

BOOL WINAPI FlushFileBuffers(HANDLE file) {
    return GuardedBool([&] { CheckDone(SyncFile(DescriptorOf(file))); });
}

BOOL WINAPI SetEndOfFile(HANDLE file) {
    return GuardedBool([&] {
        const int descriptor = DescriptorOf(file);
        const off_t position = lseek(descriptor, 0, SEEK_CUR);
        CheckDone(position >= 0 && SetLength(descriptor, position));
    });
}

BOOL WINAPI CloseHandle(HANDLE object) {
    return GuardedBool([&] {
        const auto file = Resolve<OpenFile>(object);
        ReleaseHandle(object, Kind::File, ERROR_INVALID_HANDLE);
        file->Close();
    });
}

BOOL WINAPI DeleteFileA(LPCSTR name) {
    return GuardedBool([&] { DeleteNamed(FileArgument(name)); });
}

BOOL WINAPI MoveFileExA(LPCSTR from, LPCSTR to, DWORD flags) {
    return GuardedBool([&] { Move(FileArgument(from), FileArgument(to), flags); });
}

BOOL WINAPI ReplaceFileA(LPCSTR replaced, LPCSTR replacement, LPCSTR backup, DWORD flags,
                         LPVOID exclude, LPVOID reserved) {
    return GuardedBool([&] {
        if (backup != nullptr || exclude != nullptr || reserved != nullptr) {
            throw Error(ERROR_INVALID_PARAMETER);
        }
        Replace(replaced, replacement, flags);
    });
}
