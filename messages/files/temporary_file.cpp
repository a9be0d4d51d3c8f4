// A file beside another, whose place it takes when it is whole.
#include "messages/files/temporary_file.h"

#include <algorithm>

namespace kestrel {

bool WriteAll(HANDLE file, const void* data, std::size_t length) {
    constexpr std::size_t kMost = 0x40000000;
    const auto* bytes = static_cast<const BYTE*>(data);
    while (length > 0) {
        DWORD written = 0;
        const DWORD piece = static_cast<DWORD>(std::min(length, kMost));
        if (!WriteFile(file, bytes, piece, &written, nullptr)) return false;
        bytes += written;
        length -= written;
    }
    return true;
}

// Others may run in the same folder, and a killed process has left its file there. Nobody
// else may have it open meanwhile.
TemporaryFile::TemporaryFile(const std::string& target) {
    constexpr unsigned kMostTries = 10000;
    const std::string folder = target.substr(0, target.find_last_of("/\\") + 1);
    const std::string stem = folder + "kestrel-" + std::to_string(GetCurrentProcessId()) + "-";
    for (unsigned number = 0; number < kMostTries; ++number) {
        name_ = stem + std::to_string(number) + ".tmp";
        file_ = HoldFile(CreateFileA(name_.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                     FILE_ATTRIBUTE_TEMPORARY, nullptr));
        made_ = file_ != nullptr;
        if (made_ || GetLastError() != ERROR_FILE_EXISTS) return;
    }
}

TemporaryFile::~TemporaryFile() {
    const LastErrorKeeper keeper;
    file_.reset();
    if (made_) DeleteFileA(name_.c_str());
}

bool TemporaryFile::MaySkip() {
    const DWORD error = GetLastError();
    return error == ERROR_ACCESS_DENIED || error == ERROR_WRITE_PROTECT ||
           error == ERROR_PATH_NOT_FOUND;
}

bool TemporaryFile::Finish(bool durable) {
    if (durable && !FlushFileBuffers(file_.get())) return false;
    return CloseHandle(file_.release());
}

// A name that proves to be taken is a link to a file that is not there, or a file that was
// made in the meantime: neither may be lost.
bool TemporaryFile::MoveTo(const char* target, bool durable) {
    // A file that is called temporary is left out of backups.
    SetFileAttributesA(name_.c_str(), FILE_ATTRIBUTE_NORMAL);
    made_ = !MoveFileExA(name_.c_str(), target, durable ? MOVEFILE_WRITE_THROUGH : 0);
    return !made_ || (GetLastError() == ERROR_ALREADY_EXISTS && Replace(target, durable));
}

bool TemporaryFile::Replace(const char* target, bool durable) {
    const DWORD flags = durable ? REPLACEFILE_WRITE_THROUGH : 0;
    const BOOL replaced = ReplaceFileA(target, name_.c_str(), nullptr, flags, nullptr, nullptr);
    made_ = !replaced && GetLastError() != ERROR_UNABLE_TO_MOVE_REPLACEMENT;
    return replaced;
}

}  // namespace kestrel
