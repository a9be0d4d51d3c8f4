#include "messages/message_file.h"

#include <cstdlib>

#include "messages/files/files.h"

namespace kestrel {

DWORD ReadMessageFile(const char* name, MessageFile& file) {
    BYTE* data = nullptr;
    file.name = name;
    const DWORD code = ReadFileWhole(name, data, file.size, &file.isDer);
    file.data.reset(data);
    return code;
}

DWORD WriteMessageFile(MessageFile& file) {
    BYTE* const data = file.data.release();
    if (file.isDer == 0) return WriteFileBase64(file.name, data, file.size);
    const DWORD code = WriteFileRaw(file.name, data, file.size);
    if (code == 0) std::free(data);  // a failure has freed it
    return code;
}

}  // namespace kestrel
