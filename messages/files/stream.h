// The output side of the streaming road: the platform's message object hands its output
// to StreamOutputCallback, which writes it as it stands or as BASE64.
#pragma once

#include <windows.h>

#include <array>
#include <memory>

#include "front/core/holders.h"
#include "messages/files/base64.h"

namespace kestrel {

// The argument of the callback. It must outlive the message object. The file is emptied
// when the first block arrives and closed with the last one or on a failure; without a file
// the output is dropped.
struct StreamOutput {
    FileHolder file;
    DWORD base64 = 0;    // not 0: encode before writing
    bool begun = false;  // the first block has emptied the file
    std::array<BYTE, kBase64LineBytes> pending{};
    DWORD pendingLength = 0;       // bytes received that do not fill a line yet
    std::unique_ptr<char[]> text;  // reused for every piece that is encoded
};

// The lines of the text fall as if all of it had been encoded in one go, however the
// blocks are cut. A failure is reported and answered with FALSE and the last error
//   CRYPT_E_ASN1_MEMORY    no memory
//   CRYPT_E_ASN1_INTERNAL  the encoder refused
//   ERROR_WRITE_FAULT      writing or closing failed
BOOL WINAPI StreamOutputCallback(const void* output, BYTE* block, DWORD blockLength, BOOL isFinal);

// The record that ties `output` to a message object. Called before anything is written.
CMSG_STREAM_INFO MakeStreamInfo(StreamOutput& output, DWORD contentLength);

}  // namespace kestrel
