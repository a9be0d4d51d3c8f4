// The output side of the streaming road.
#include "messages/files/stream.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "front/core/catalogue.h"
#include "messages/files/files.h"

namespace kestrel {
namespace {

// What is encoded and written at a time: enough lines for a chunk with its headers.
constexpr DWORD kPieceLines = 2048;
constexpr DWORD kPieceBytes = kPieceLines * kBase64LineBytes;
constexpr DWORD kPieceText = (kPieceLines + 1) * 66;  // and a line that was pending

// A failure shows in the error flag of the file.
void Write(StreamOutput& output, const void* data, DWORD length) {
    if (length > 0) std::fwrite(data, 1, length, output.file.get());
}

// Encodes behind the text that is there already, of which `used` tells the length.
bool Encode(StreamOutput& output, const BYTE* data, DWORD length, DWORD& used) {
    DWORD room = kPieceText - used;
    if (!EncodeBase64Lines64(data, length, output.text.get() + used, &room)) return false;
    used += room;
    return true;
}

// Fills the pending line up from the block. Returns the bytes that went there.
DWORD FillPending(StreamOutput& output, const BYTE* block, DWORD length) {
    const DWORD taken = std::min(length, kBase64LineBytes - output.pendingLength);
    if (taken > 0) std::memcpy(&output.pending[output.pendingLength], block, taken);
    output.pendingLength += taken;
    return taken;
}

// Whole lines go to the encoder straight from the block, and behind the line that was
// pending to the file in one call; only what is left of a line is copied.
Unreported EncodeBlock(StreamOutput& output, const BYTE* block, DWORD length, bool isFinal) {
    if (!output.text) output.text.reset(new (std::nothrow) char[kPieceText]);
    if (!output.text) return Unreported(kNoMemory);
    DWORD used = 0;
    if (output.pendingLength > 0) {
        const DWORD taken = FillPending(output, block, length);
        block += taken;
        length -= taken;
        if (output.pendingLength < kBase64LineBytes && !isFinal) return {};
        const DWORD line = std::exchange(output.pendingLength, 0);
        if (!Encode(output, output.pending.data(), line, used)) return Unreported(kBadBase64);
    }
    DWORD whole = isFinal ? length : length - length % kBase64LineBytes;
    const DWORD rest = length - whole;
    while (used > 0 || whole > 0) {
        const DWORD piece = std::min(whole, kPieceBytes);
        if (!Encode(output, block, piece, used)) return Unreported(kBadBase64);
        Write(output, output.text.get(), std::exchange(used, 0));
        block += piece;
        whole -= piece;
    }
    FillPending(output, block, rest);
    return {};
}

// What stood in the file goes when there is something to put in its place, be it the end of
// an empty content.
bool Begin(StreamOutput& output) {
    return std::exchange(output.begun, true) || EmptyFile(output.file.get());
}

bool CloseFile(StreamOutput& output) { return std::fclose(output.file.release()) == 0; }

BOOL Fail(StreamOutput& output, DWORD code, HRESULT platformError) {
    static_cast<void>(ReportError(code, code == kCannotOpenFile ? "" : nullptr));
    output.file.reset();
    SetLastError(static_cast<DWORD>(platformError));
    return FALSE;
}

}  // namespace

BOOL WINAPI StreamOutputCallback(const void* argument, BYTE* block, DWORD blockLength,
                                 BOOL isFinal) {
    auto& output = *static_cast<StreamOutput*>(const_cast<void*>(argument));
    if (!output.file || (blockLength == 0 && isFinal == FALSE)) return TRUE;
    if (!Begin(output)) return Fail(output, kCannotOpenFile, ERROR_WRITE_FAULT);
    if (output.base64 != 0) {
        const Unreported failure = EncodeBlock(output, block, blockLength, isFinal != FALSE);
        if (failure) {
            const bool memory = failure.Code() == kNoMemory;
            return Fail(output, failure.Code(),
                        memory ? CRYPT_E_ASN1_MEMORY : CRYPT_E_ASN1_INTERNAL);
        }
    } else {
        Write(output, block, blockLength);
    }
    bool good = std::ferror(output.file.get()) == 0;
    if (isFinal != FALSE) good = CloseFile(output) && good;
    return good ? TRUE : Fail(output, kCannotOpenFile, ERROR_WRITE_FAULT);
}

CMSG_STREAM_INFO MakeStreamInfo(StreamOutput& output, DWORD contentLength) {
    // Text leaves in large pieces; a buffer of the stream would only cut them.
    if (output.file && output.base64 != 0) {
        static_cast<void>(std::setvbuf(output.file.get(), nullptr, _IONBF, 0));
    }
    CMSG_STREAM_INFO info{};
    info.cbContent = contentLength;
    info.pfnStreamOutput = StreamOutputCallback;
    info.pvArg = &output;
    return info;
}

}  // namespace kestrel
