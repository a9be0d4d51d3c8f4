// Writing a file as a whole: everything goes into a temporary file beside it, which then
// takes its place.
#include <algorithm>
#include <string>

#include "messages/files/file_handle.h"
#include "messages/files/files.h"

namespace kestrel {
namespace {

// Nobody else may have what is written open meanwhile.
FileHandle Create(const char* name, DWORD disposition, DWORD attributes) {
    return HoldFile(CreateFileA(name, GENERIC_WRITE, 0, nullptr, disposition, attributes, nullptr));
}

bool WriteAll(HANDLE file, const BYTE* data, std::size_t length) {
    constexpr std::size_t kMost = 0x40000000;
    while (length > 0) {
        DWORD written = 0;
        const DWORD piece = static_cast<DWORD>(std::min(length, kMost));
        if (!WriteFile(file, data, piece, &written, nullptr)) return false;
        data += written;
        length -= written;
    }
    return true;
}

// A close that fails is a write that failed.
bool Finish(FileHandle file, bool durable) {
    if (durable && !FlushFileBuffers(file.get())) return false;
    return CloseHandle(file.release());
}

bool WriteToDevice(const char* name, const BYTE* data, std::size_t length) {
    FileHandle file = Create(name, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL);
    return file && WriteAll(file.get(), data, length) && Finish(std::move(file), false);
}

bool WriteAndCut(HANDLE file, const BYTE* data, std::size_t length, bool durable) {
    return WriteAll(file, data, length) && SetEndOfFile(file) &&
           (!durable || FlushFileBuffers(file));
}

// Where no file may be made beside it. There is no call that would reserve the room, so a
// full disk leaves a part of the old content and a part of the new.
bool WriteInPlace(const WholeFile& target, const BYTE* data, std::size_t length, bool durable) {
    if (target.held != nullptr) return WriteAndCut(target.held, data, length, durable);
    FileHandle file = Create(target.name, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL);
    return file && WriteAndCut(file.get(), data, length, durable) && Finish(std::move(file), false);
}

// Deletes its file, unless that has taken another's place or is the only whole copy.
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::string& target);
    ~TemporaryFile() {
        const LastErrorKeeper keeper;
        file_.reset();
        if (made_) DeleteFileA(name_.c_str());
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    bool IsMade() const { return made_; }
    bool Fill(const BYTE* data, std::size_t length, bool durable) {
        return WriteAll(file_.get(), data, length) && Finish(std::move(file_), durable);
    }
    bool MoveTo(const char* target, bool durable);
    bool Replace(const char* target, bool durable);

  private:
    std::string name_;
    FileHandle file_;
    bool made_ = false;
};

// Others may run in the same folder, and a killed process has left its file there.
TemporaryFile::TemporaryFile(const std::string& target) {
    constexpr unsigned kMostTries = 10000;
    const std::string folder = target.substr(0, target.find_last_of("/\\") + 1);
    const std::string stem = folder + "kestrel-" + std::to_string(GetCurrentProcessId()) + "-";
    for (unsigned number = 0; number < kMostTries; ++number) {
        name_ = stem + std::to_string(number) + ".tmp";
        file_ = Create(name_.c_str(), CREATE_NEW, FILE_ATTRIBUTE_TEMPORARY);
        made_ = file_ != nullptr;
        if (made_ || GetLastError() != ERROR_FILE_EXISTS) return;
    }
}

// A name that proves to be taken is a link to a file that is not there, or a file that was
// made in the meantime: neither may be lost.
bool TemporaryFile::MoveTo(const char* target, bool durable) {
    made_ = !MoveFileExA(name_.c_str(), target, durable ? MOVEFILE_WRITE_THROUGH : 0);
    if (made_) return GetLastError() == ERROR_ALREADY_EXISTS && Replace(target, durable);
    // A file that is called temporary is left out of backups.
    const LastErrorKeeper keeper;
    SetFileAttributesA(target, FILE_ATTRIBUTE_NORMAL);
    return true;
}

bool TemporaryFile::Replace(const char* target, bool durable) {
    const DWORD flags = durable ? REPLACEFILE_WRITE_THROUGH : 0;
    const BOOL replaced = ReplaceFileA(target, name_.c_str(), nullptr, flags, nullptr, nullptr);
    made_ = !replaced && GetLastError() != ERROR_UNABLE_TO_MOVE_REPLACEMENT;
    return replaced;
}

bool MaySkipTemporaryFile() {
    const DWORD error = GetLastError();
    return error == ERROR_ACCESS_DENIED || error == ERROR_WRITE_PROTECT ||
           error == ERROR_PATH_NOT_FOUND;
}

bool WriteExisting(const WholeFile& target, const BYTE* data, std::size_t length, bool durable) {
    TemporaryFile temporary(target.name);
    if (!temporary.IsMade()) {
        return MaySkipTemporaryFile() && WriteInPlace(target, data, length, durable);
    }
    return temporary.Fill(data, length, durable) && temporary.Replace(target.name, durable);
}

bool WriteNew(const char* name, const BYTE* data, std::size_t length, bool durable) {
    TemporaryFile temporary(name);
    return temporary.IsMade() && temporary.Fill(data, length, durable) &&
           temporary.MoveTo(name, durable);
}

}  // namespace

bool WriteWholeFile(const WholeFile& target, const void* data, std::size_t length, bool durable) {
    const auto* const bytes = static_cast<const BYTE*>(data);
    const DWORD attributes = GetFileAttributesA(target.name);
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        return GetLastError() == ERROR_FILE_NOT_FOUND &&
               WriteNew(target.name, bytes, length, durable);
    }
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        SetLastError(ERROR_ACCESS_DENIED);
        return false;
    }
    if ((attributes & FILE_ATTRIBUTE_DEVICE) != 0) return WriteToDevice(target.name, bytes, length);
    return WriteExisting(target, bytes, length, durable);
}

}  // namespace kestrel
