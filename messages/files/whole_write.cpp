// Writing a file as a whole: everything goes into a temporary file beside it, which then
// takes its place.
#include "messages/files/file_handle.h"
#include "messages/files/files.h"
#include "messages/files/temporary_file.h"

namespace kestrel {
namespace {

// Nobody else may have what is written open meanwhile.
FileHandle OpenExisting(const char* name) {
    return HoldFile(CreateFileA(name, GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
}

bool Close(FileHandle file) { return CloseHandle(file.release()); }

// Callers tell a write that fell short from what fails behind it by the last error.
bool WriteOut(HANDLE file, const void* data, std::size_t length) {
    if (WriteAll(file, data, length)) return true;
    SetLastError(ERROR_WRITE_FAULT);
    return false;
}

bool WriteToDevice(const char* name, const void* data, std::size_t length) {
    FileHandle file = OpenExisting(name);
    return file && WriteOut(file.get(), data, length) && Close(std::move(file));
}

bool WriteAndCut(HANDLE file, const void* data, std::size_t length, bool durable) {
    return WriteOut(file, data, length) && SetEndOfFile(file) &&
           (!durable || FlushFileBuffers(file));
}

// Where no file may be made beside it. There is no call that would reserve the room, so a
// full disk leaves a part of the old content and a part of the new.
bool WriteInPlace(const WholeFile& target, const void* data, std::size_t length, bool durable) {
    if (target.held != nullptr) return WriteAndCut(target.held, data, length, durable);
    FileHandle file = OpenExisting(target.name);
    return file && WriteAndCut(file.get(), data, length, durable) && Close(std::move(file));
}

bool Fill(TemporaryFile& temporary, const void* data, std::size_t length, bool durable) {
    return WriteOut(temporary.Get(), data, length) && temporary.Finish(durable);
}

bool WriteExisting(const WholeFile& target, const void* data, std::size_t length, bool durable) {
    TemporaryFile temporary(target.name);
    if (!temporary.IsMade()) {
        return TemporaryFile::MaySkip() && WriteInPlace(target, data, length, durable);
    }
    return Fill(temporary, data, length, durable) && temporary.Replace(target.name, durable);
}

bool WriteNew(const char* name, const void* data, std::size_t length, bool durable) {
    TemporaryFile temporary(name);
    return temporary.IsMade() && Fill(temporary, data, length, durable) &&
           temporary.MoveTo(name, durable);
}

}  // namespace

bool WriteWholeFile(const WholeFile& target, const void* data, std::size_t length, bool durable) {
    const DWORD attributes = GetFileAttributesA(target.name);
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        return GetLastError() == ERROR_FILE_NOT_FOUND &&
               WriteNew(target.name, data, length, durable);
    }
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        SetLastError(ERROR_ACCESS_DENIED);
        return false;
    }
    if ((attributes & FILE_ATTRIBUTE_DEVICE) != 0) return WriteToDevice(target.name, data, length);
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        return WriteInPlace(target, data, length, durable);
    }
    return WriteExisting(target, data, length, durable);
}

}  // namespace kestrel
