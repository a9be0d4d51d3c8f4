// Four bytes in a file, or a number on the console.
#include "enroll/request_id.h"

#include <windows.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "front/core/catalogue.h"
#include "messages/files/files.h"
#include "selection/console.h"

namespace kestrel {

namespace {

using IdBytes = std::array<BYTE, 4>;  // the lowest first

void ShowId(int id) {
    PrintMessage(say::kRequestIdShown, 0);
    PrintText(std::to_string(id), 1);
}

Reported WriteId(const char* file, int id) {
    BytesHolder bytes(static_cast<BYTE*>(std::malloc(sizeof(IdBytes))));
    if (!bytes) return ReportError(kNoMemory);
    const auto number = static_cast<DWORD>(id);
    for (std::size_t at = 0; at < sizeof(IdBytes); ++at) {
        bytes.get()[at] = static_cast<BYTE>(number >> (8 * at));
    }
    if (const Reported failure = WriteFileRaw(file, bytes.get(), sizeof(IdBytes))) {
        bytes.release();  // it was freed
        ShowId(id);       // the authority has the request: its number must not get lost
        return failure;
    }
    PrintMessage(say::kRequestIdWritten, 1);
    return 0;
}

Reported ReadId(const char* file, int& id) {
    BYTE* data = nullptr;
    DWORD length = 0;
    if (const Reported failure = ReadFileWhole(file, data, length, nullptr)) return failure;
    const BytesHolder held(data);
    if (length != sizeof(IdBytes)) return ReportError(kNoRequestIdInFile, file);
    DWORD number = 0;
    for (std::size_t at = sizeof(IdBytes); at-- > 0;) number = number << 8 | data[at];
    id = static_cast<int>(number);
    return 0;
}

}  // namespace

Reported TellRequestId(const char* file, int id) {
    if (file != nullptr) return WriteId(file, id);
    ShowId(id);
    return 0;
}

Reported AskRequestId(const char* file, int& id) {
    if (file != nullptr) return ReadId(file, id);
    PrintMessage(say::kEnterRequestId, 0);
    DWORD number = 0;
    const Reported failure = ReadCertificateNumber(std::numeric_limits<int>::max(), number);
    id = static_cast<int>(number);
    return failure;
}

}  // namespace kestrel
