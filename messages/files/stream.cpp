// The output side of the streaming road.
#include "messages/files/stream.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "front/core/catalogue.h"

namespace kestrel {
namespace {

// What is encoded and written at a time: enough lines for a chunk with its headers.
constexpr DWORD kPieceLines = 2048;
constexpr DWORD kPieceBytes = kPieceLines * kBase64LineBytes;
constexpr DWORD kPieceText = (kPieceLines + 1) * 66;  // and a line that was pending

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
        if (!output.file->Write(output.text.get(), std::exchange(used, 0))) {
            return Unreported(kCannotOpenFile);
        }
        block += piece;
        whole -= piece;
    }
    FillPending(output, block, rest);
    return {};
}

// A block of no bytes is the first or the last of its stream: it begins the file, too.
Unreported WriteBlock(StreamOutput& output, const BYTE* block, DWORD length, bool isFinal) {
    if (output.base64 == 0 || (length == 0 && output.pendingLength == 0)) {
        return Unreported(output.file->Write(block, length) ? 0 : kCannotOpenFile);
    }
    return EncodeBlock(output, block, length, isFinal);
}

DWORD PlatformErrorFor(DWORD code) {
    if (code == kNoMemory) return static_cast<DWORD>(CRYPT_E_ASN1_MEMORY);
    return code == kCannotOpenFile ? ERROR_WRITE_FAULT : static_cast<DWORD>(CRYPT_E_ASN1_INTERNAL);
}

// That another process has the file, and where the whole content is when it could not reach the
// file, is the caller's to tell: the last error says it.
BOOL Fail(StreamOutput& output, DWORD code) {
    const DWORD error = GetLastError();
    if (code == kCannotOpenFile &&
        (error == ERROR_SHARING_VIOLATION || error == ERROR_UNABLE_TO_MOVE_REPLACEMENT)) {
        output.file.reset();
        return FALSE;
    }
    static_cast<void>(ReportError(code, code == kCannotOpenFile ? "" : nullptr));
    output.file.reset();
    SetLastError(PlatformErrorFor(code));
    return FALSE;
}

}  // namespace

BOOL WINAPI StreamOutputCallback(const void* argument, BYTE* block, DWORD blockLength,
                                 BOOL isFinal) {
    auto& output = *static_cast<StreamOutput*>(const_cast<void*>(argument));
    if (!output.file || (blockLength == 0 && isFinal == FALSE)) return TRUE;
    Unreported failure = WriteBlock(output, block, blockLength, isFinal != FALSE);
    if (!failure && isFinal != FALSE && !output.file->Close())
        failure = Unreported(kCannotOpenFile);
    if (failure) return Fail(output, failure.Code());
    if (isFinal != FALSE) output.file.reset();
    return TRUE;
}

CMSG_STREAM_INFO MakeStreamInfo(StreamOutput& output, DWORD contentLength) {
    CMSG_STREAM_INFO info{};
    info.cbContent = contentLength;
    info.pfnStreamOutput = StreamOutputCallback;
    info.pvArg = &output;
    return info;
}

}  // namespace kestrel
