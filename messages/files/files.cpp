// Opening files, and the whole-file road.
#include "messages/files/files.h"

#include <io.h>
#include <share.h>

#include <cstdint>
#include <filesystem>

#include "front/core/catalogue.h"
#include "front/core/state.h"
#include "messages/files/any_text.h"
#include "messages/files/base64.h"

namespace kestrel {
namespace {

bool IsSameFile(const char* first, const char* second) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(first, ignored) &&
           std::filesystem::equivalent(first, second, ignored);
}

// What does not seek counts as empty, and the last error tells the two apart.
LONGLONG TakeLength(FILE* file) {
    SetLastError(NO_ERROR);
    LONGLONG length = -1;
    if (_fseeki64(file, 0, SEEK_END) == 0) length = _ftelli64(file);
    if (length < 0 || _fseeki64(file, 0, SEEK_SET) != 0) {
        SetLastError(ERROR_SEEK_ON_DEVICE);
        return 0;
    }
    SetLastError(NO_ERROR);
    return length;
}

Reported ReadBytes(const char* name, BytesHolder& data, DWORD& length, bool emptyFails) {
    const FileHolder file = OpenPlainFile(name);
    if (!file) return ReportError(kCannotOpenFile, name);
    const LONGLONG size = TakeLength(file.get());
    if (size == 0) {
        if (GetLastError() == NO_ERROR && !emptyFails) return 0;
        return ReportError(kCannotOpenFile, name);
    }
    if (size > INT32_MAX) return ReportError(kFileTooLarge);
    data.reset(static_cast<BYTE*>(std::malloc(static_cast<std::size_t>(size))));
    if (!data) return ReportError(kNoMemory);
    length = static_cast<DWORD>(size);
    if (std::fread(data.get(), 1, length, file.get()) != length) {
        return ReportError(kCannotOpenFile, name);
    }
    return 0;
}

// In place: a message may be half of what memory holds.
Reported DecodeFile(const BytesHolder& data, DWORD& length) {
    DWORD decodedLength = length;
    const HRESULT result = DecodeAnyText(data.get(), length, data.get(), &decodedLength);
    if (result != S_OK) {
        SetLastError(static_cast<DWORD>(result));
        return ReportError(kLastError);
    }
    length = decodedLength;
    return 0;
}

// What is no fault of opening or writing has a name of its own.
bool HasOwnName(DWORD error, bool held) {
    return error == ERROR_DISK_FULL || error == ERROR_IO_DEVICE ||
           error == ERROR_UNABLE_TO_MOVE_REPLACEMENT || (held && error == ERROR_SHARING_VIOLATION);
}

Reported ReportUnwritten(const WholeFile& file) {
    const bool named = HasOwnName(GetLastError(), file.held != nullptr);
    return named ? ReportError(kLastError) : ReportError(kCannotOpenFile, file.name);
}

}  // namespace

FileHolder OpenToRead(const char* name) { return FileHolder(_fsopen(name, "rb", _SH_DENYNO)); }

// Opening a FIFO or some device would wait for its other end.
FileHolder OpenPlainFile(const char* name) {
    const DWORD attributes = GetFileAttributesA(name);
    if (attributes == INVALID_FILE_ATTRIBUTES) return nullptr;
    if ((attributes & (FILE_ATTRIBUTE_DEVICE | FILE_ATTRIBUTE_DIRECTORY)) != 0) {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    return OpenToRead(name);
}

Reported OpenInput(const char* name, InputFile& input) {
    input.name = name;
    input.file = OpenToRead(name);
    if (!input.file) return ReportError(kCannotOpenFile, name);
    input.size = _filelengthi64(_fileno(input.file.get()));
    return 0;
}

OutputHolder OpenOutput(const char* name, const InputFile& input) {
    return IsSameFile(name, input.name) ? nullptr : OutputFile::Open(name);
}

Reported OpenFilePair(InputFile& input, OutputHolder& output) {
    if (const Reported failure = OpenInput(state.firstFile, input)) return failure;
    output = OpenOutput(state.secondFile, input);
    if (!output) return ReportError(kCannotOpenFile, input.name);
    return 0;
}

Reported ReadFileWhole(const char* name, BYTE*& data, DWORD& length, int* isDer) {
    data = nullptr;
    length = 0;
    BytesHolder bytes;
    DWORD size = 0;
    if (const Reported failure = ReadBytes(name, bytes, size, isDer != nullptr)) return failure;
    if (isDer != nullptr) {
        *isDer = *bytes != 'M' && *bytes != '-' ? 1 : 0;
        if (*isDer == 0) {
            if (const Reported failure = DecodeFile(bytes, size)) return failure;
        }
    }
    data = bytes.release();
    length = size;
    return 0;
}

Reported WriteFileRaw(const WholeFile& file, BYTE* data, DWORD length) {
    BytesHolder bytes(data);
    if (!WriteWholeFile(file, data, length, true)) return ReportUnwritten(file);
    static_cast<void>(bytes.release());
    return 0;
}

Reported WriteFileBase64(const WholeFile& file, BYTE* data, DWORD length) {
    const BytesHolder bytes(data);
    const std::size_t capacity = std::size_t{length} * 2;
    const std::unique_ptr<char[]> text(new (std::nothrow) char[capacity]);
    if (!text || capacity > UINT32_MAX) return ReportError(kNoMemory);
    DWORD textLength = static_cast<DWORD>(capacity);
    if (!EncodeBase64Lines64(data, length, text.get(), &textLength) || textLength >= capacity) {
        return ReportError(kBadBase64);
    }
    if (!WriteWholeFile(file, text.get(), textLength, true)) return ReportUnwritten(file);
    return 0;
}

}  // namespace kestrel
