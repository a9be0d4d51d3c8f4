// Messages that are changed in their own file.
#include "messages/message_file.h"

#include <cstdlib>

#include "front/core/catalogue.h"
#include "messages/files/files.h"

namespace kestrel {
namespace {

bool IsPlainFile(const char* name) {
    constexpr DWORD kOthers = FILE_ATTRIBUTE_DEVICE | FILE_ATTRIBUTE_DIRECTORY;
    const DWORD attributes = GetFileAttributesA(name);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & kOthers) == 0;
}

// What another process has is refused at once (base-3). What cannot be held for another reason
// fails where it is read or written. Deleting stays allowed, since the new file takes the
// place of the old.
Reported Hold(MessageFile& file) {
    if (!IsPlainFile(file.name)) return 0;
    file.held = HoldFile(CreateFileA(file.name, GENERIC_READ | GENERIC_WRITE,
                                     FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                     FILE_ATTRIBUTE_NORMAL, nullptr));
    const bool taken = !file.held && GetLastError() == ERROR_SHARING_VIOLATION;
    if (taken) return ReportError(kLastError);
    return 0;
}

}  // namespace

Reported ReadMessageFile(const char* name, MessageFile& file) {
    file.name = name;
    if (const Reported failure = Hold(file)) return failure;
    BYTE* data = nullptr;
    const Reported failure = ReadFileWhole(name, data, file.size, &file.isDer);
    file.data.reset(data);
    return failure;
}

Reported WriteMessageFile(MessageFile& file) {
    BYTE* const data = file.data.release();
    const WholeFile target(file.name, file.held.get());
    if (file.isDer == 0) return WriteFileBase64(target, data, file.size);
    const Reported failure = WriteFileRaw(target, data, file.size);
    if (!failure) std::free(data);  // a failure has freed it
    return failure;
}

}  // namespace kestrel
