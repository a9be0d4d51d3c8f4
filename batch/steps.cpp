// Steps that the operations of a batch have in common.
#include "batch/steps.h"

#include <io.h>

#include <algorithm>
#include <cstdint>

namespace kestrel {
namespace {

// Some files of the system tell no length and hold something all the same.
bool HoldsNothing(FILE* file) { return std::fgetc(file) == EOF && std::ferror(file) == 0; }

}  // namespace

Reported EndLine(MessageId message, DWORD code) {
    PrintMessage(message, 1);
    return LeaveToClosingLine(Unreported(code));
}

Reported OpenSource(const char* name, InputFile& source) {
    source.name = name;
    source.file = OpenPlainFile(name);
    if (!source.file) return EndLine(say::kReadingFailed, kCannotOpenFile);
    // Reads are large; a buffer of the stream would only be one copy more.
    static_cast<void>(std::setvbuf(source.file.get(), nullptr, _IONBF, 0));
    source.size = std::max<LONGLONG>(_filelengthi64(_fileno(source.file.get())), 0);
    return 0;
}

bool IsTooLarge(const InputFile& source) { return source.size > INT32_MAX; }

Reported ReadSource(const char* name, Block& block) {
    InputFile source;
    if (const Reported failure = OpenSource(name, source)) return failure;
    if (IsTooLarge(source)) return ReportError(kFileTooLarge);
    const auto size = static_cast<std::size_t>(source.size);
    block.data.reset(static_cast<BYTE*>(std::malloc(std::max<std::size_t>(size, 1))));
    if (!block.data) return ReportError(kNoMemory);
    const bool whole = size == 0 ? HoldsNothing(source.file.get())
                                 : std::fread(block.data.get(), 1, size, source.file.get()) == size;
    if (!whole) return EndLine(say::kReadingFailed, kCannotOpenFile);
    block.size = static_cast<DWORD>(size);
    return 0;
}

}  // namespace kestrel
