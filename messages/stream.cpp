#include "messages/stream.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "front/catalogue.h"

namespace kestrel {
namespace {

// What is encoded at a time: 1024 lines, and their text with CR LF.
constexpr DWORD kPieceBytes = 1024 * kBase64LineBytes;
constexpr DWORD kPieceText = 1024 * 66;

// A failure shows in the error flag of the file.
void Write(StreamOutput& output, const void* data, DWORD length) {
    if (length > 0) std::fwrite(data, 1, length, output.file.get());
}

// All but the last call bring whole lines.
DWORD WriteAsText(StreamOutput& output, const BYTE* data, DWORD length) {
    if (!output.text) output.text.reset(new (std::nothrow) char[kPieceText]);
    if (!output.text) return kNoMemory;
    while (length > 0) {
        const DWORD piece = std::min(length, kPieceBytes);
        DWORD textLength = kPieceText;
        if (!EncodeBase64Lines64(data, piece, output.text.get(), &textLength)) return kBadBase64;
        Write(output, output.text.get(), textLength);
        data += piece;
        length -= piece;
    }
    return 0;
}

// Fills the pending line up from the block. Returns the bytes that went there.
DWORD FillPending(StreamOutput& output, const BYTE* block, DWORD length) {
    const DWORD taken = std::min(length, kBase64LineBytes - output.pendingLength);
    if (taken > 0) std::memcpy(&output.pending[output.pendingLength], block, taken);
    output.pendingLength += taken;
    return taken;
}

DWORD WritePending(StreamOutput& output) {
    const DWORD length = output.pendingLength;
    output.pendingLength = 0;
    return WriteAsText(output, output.pending.data(), length);
}

// Whole lines go to the encoder straight from the block; only what is left of a line
// is copied.
DWORD EncodeBlock(StreamOutput& output, const BYTE* block, DWORD length, bool isFinal) {
    if (output.pendingLength > 0) {
        const DWORD taken = FillPending(output, block, length);
        block += taken;
        length -= taken;
        if (output.pendingLength == kBase64LineBytes || isFinal) {
            if (const DWORD code = WritePending(output); code != 0) return code;
        }
    }
    const DWORD whole = isFinal ? length : length - length % kBase64LineBytes;
    const DWORD code = whole > 0 ? WriteAsText(output, block, whole) : 0;
    FillPending(output, block + whole, length - whole);
    return code;
}

bool CloseFile(StreamOutput& output) { return std::fclose(output.file.release()) == 0; }

BOOL Fail(StreamOutput& output, DWORD code, HRESULT platformError) {
    ReportError(code, code == kCannotOpenFile ? "" : nullptr);
    output.file.reset();
    SetLastError(static_cast<DWORD>(platformError));
    return FALSE;
}

}  // namespace

BOOL WINAPI StreamOutputCallback(const void* argument, BYTE* block, DWORD blockLength,
                                 BOOL isFinal) {
    auto& output = *static_cast<StreamOutput*>(const_cast<void*>(argument));
    if (!output.file) return TRUE;
    if (output.base64 != 0) {
        const DWORD code = EncodeBlock(output, block, blockLength, isFinal != FALSE);
        if (code == kNoMemory) return Fail(output, code, CRYPT_E_ASN1_MEMORY);
        if (code != 0) return Fail(output, code, CRYPT_E_ASN1_INTERNAL);
    } else {
        Write(output, block, blockLength);
    }
    bool good = std::ferror(output.file.get()) == 0;
    if (isFinal != FALSE) good = CloseFile(output) && good;
    return good ? TRUE : Fail(output, kCannotOpenFile, ERROR_WRITE_FAULT);
}

CMSG_STREAM_INFO MakeStreamInfo(StreamOutput& output, DWORD contentLength) {
    CMSG_STREAM_INFO info{};
    info.cbContent = contentLength;
    info.pfnStreamOutput = StreamOutputCallback;
    info.pvArg = &output;
    return info;
}

}  // namespace kestrel
