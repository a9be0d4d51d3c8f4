// Walking the names that match a mask.
#include <dirent.h>
#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "platform/base/file_entry.h"
#include "platform/base/file_mask.h"
#include "platform/base/file_name.h"
#include "platform/base/handle.h"
#include "platform/base/ticks.h"

namespace platform {
namespace {

FILETIME FileTimeOf(const timespec& time) {
    const auto seconds = static_cast<Ticks>(time.tv_sec) * kTicksPerSecond;
    return platform::FileTimeOf(kUnixEpoch + seconds + static_cast<Ticks>(time.tv_nsec) / 100);
}

// A file may vanish, or a link lead nowhere, while the folder is read: its name counts.
struct stat StatusIn(DIR* folder, const char* name) {
    struct stat status {};
    if (fstatat(dirfd(folder), name, &status, 0) != 0) {
        static_cast<void>(fstatat(dirfd(folder), name, &status, AT_SYMLINK_NOFOLLOW));
    }
    return status;
}

void Describe(const struct stat& status, const char* name, WIN32_FIND_DATAA& found) {
    const std::size_t length = std::strlen(name);
    if (length >= sizeof found.cFileName) throw Error(ERROR_FILENAME_EXCED_RANGE, name);
    found = {};
    std::memcpy(found.cFileName, name, length);
    found.dwFileAttributes = AttributesOf(status);
    found.ftCreationTime = FileTimeOf(status.st_ctim);
    found.ftLastAccessTime = FileTimeOf(status.st_atim);
    found.ftLastWriteTime = FileTimeOf(status.st_mtim);
    found.nFileSizeHigh = static_cast<DWORD>(static_cast<std::uint64_t>(status.st_size) >> 32);
    found.nFileSizeLow = static_cast<DWORD>(status.st_size);
}

class Search : public Object {
  public:
    static constexpr Kind kKind = Kind::Search;

    explicit Search(const std::string& mask)
        : Object(kKind), folder_(FolderOf(mask)), directory_(opendir(folder_.c_str())) {
        if (directory_ == nullptr && errno == ENOENT) throw Error(ERROR_PATH_NOT_FOUND, folder_);
        if (directory_ == nullptr) ThrowFileError(errno, folder_);
        mask_ = mask.substr(mask.rfind('/') + 1);
    }
    ~Search() override {
        if (directory_ != nullptr) closedir(directory_);
    }
    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;

    // False at the end.
    bool Next(WIN32_FIND_DATAA& found) {
        for (;;) {
            errno = 0;
            const dirent* entry = readdir(directory_);
            if (entry == nullptr && errno != 0) ThrowFileError(errno, folder_);
            if (entry == nullptr) return false;
            if (!MatchesMask(mask_, entry->d_name)) continue;
            Describe(StatusIn(directory_, entry->d_name), entry->d_name, found);
            return true;
        }
    }

  private:
    std::string folder_;
    std::string mask_;
    DIR* directory_;
};

}  // namespace
}  // namespace platform

using namespace platform;

HANDLE WINAPI FindFirstFileA(LPCSTR mask, LPWIN32_FIND_DATAA found) {
    return Guarded<HANDLE>(INVALID_HANDLE_VALUE, [&]() -> HANDLE {
        if (found == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        auto search = std::make_shared<Search>(FileArgument(mask));
        if (!search->Next(*found)) throw Error(ERROR_FILE_NOT_FOUND, mask);
        return Publish(std::move(search));
    });
}

BOOL WINAPI FindNextFileA(HANDLE search, LPWIN32_FIND_DATAA found) {
    return GuardedBool([&] {
        if (found == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        if (!Resolve<Search>(search)->Next(*found)) {
            throw Error(ERROR_NO_MORE_FILES);
        }
    });
}

BOOL WINAPI FindClose(HANDLE search) {
    return GuardedBool([&] { ReleaseHandle(search, Kind::Search, ERROR_INVALID_HANDLE); });
}
