// The output side of the streaming road: the platform's message object hands its output
// to StreamOutputCallback, which writes it as it stands or as BASE64.
#pragma once

#include <windows.h>

#include <array>
#include <memory>

#include "messages/files/base64.h"
#include "messages/files/output_file.h"

namespace kestrel {

// The argument of the callback. It must outlive the message object. The file is closed
// with the last block or on a failure; without a file the output is dropped.
struct StreamOutput {
    OutputHolder file;
    DWORD base64 = 0;  // not 0: encode before writing
    std::array<BYTE, kBase64LineBytes> pending{};
    DWORD pendingLength = 0;       // bytes received that do not fill a line yet
    std::unique_ptr<char[]> text;  // reused for every piece that is encoded
};

// The lines of the text fall as if all of it had been encoded in one go, however the
// blocks are cut. A failure is reported and answered with FALSE and the last error
//   CRYPT_E_ASN1_MEMORY    no memory
//   CRYPT_E_ASN1_INTERNAL  the encoder refused
//   ERROR_WRITE_FAULT      writing or closing failed
// Two are left to the caller's report: ERROR_SHARING_VIOLATION, another process writes the file,
// and ERROR_UNABLE_TO_MOVE_REPLACEMENT, the whole content stays beside it.
BOOL WINAPI StreamOutputCallback(const void* output, BYTE* block, DWORD blockLength, BOOL isFinal);

// The record that ties `output` to a message object. Called before anything is written.
CMSG_STREAM_INFO MakeStreamInfo(StreamOutput& output, DWORD contentLength);

}  // namespace kestrel
