#include "messages/message_file.h"

#include <cstdlib>

#include "messages/files/files.h"

namespace kestrel {

Reported ReadMessageFile(const char* name, MessageFile& file) {
    BYTE* data = nullptr;
    file.name = name;
    const Reported failure = ReadFileWhole(name, data, file.size, &file.isDer);
    file.data.reset(data);
    return failure;
}

Reported WriteMessageFile(MessageFile& file) {
    BYTE* const data = file.data.release();
    if (file.isDer == 0) return WriteFileBase64(file.name, data, file.size);
    const Reported failure = WriteFileRaw(file.name, data, file.size);
    if (!failure) std::free(data);  // a failure has freed it
    return failure;
}

}  // namespace kestrel
