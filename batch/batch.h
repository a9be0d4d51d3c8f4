// One thing done to each of many files, with the result kept in a companion file: the
// engine behind -hash, -vhash, -signf and -vsignf.
#pragma once

#include <windows.h>

#include "front/core/result.h"

namespace kestrel {

// The work on one file. It stands behind "<source>... " and ends that line. 0, or the
// file's code.
//   sizeHint              0: the operation measures the file
//   contentStampValue     -sd, and
//   signatureStampValue   -ss: null without the key
//   noStampCertificate    not 0: -nostampcert was given
using FileOperation = Reported (*)(const char* sourceName, const char* companionName,
                                   DWORD sizeHint, const char* contentStampValue,
                                   const char* signatureStampValue, DWORD noStampCertificate);

// What a command asks of the engine before the files: a hash provider, the one certificate
// that signs, or any number of certificates that may have signed.
enum class BatchKind { Hash, Sign, Verify };

struct BatchCommand {
    BatchKind kind;
    const char* companionExtension;
    FileOperation operation;
};

// What -signf writes beside a file and -vsignf looks for.
inline constexpr char kSignatureExtension[] = ".sgn";

// Settings of -signf.
struct SignatureSettings {
    bool cert = false;
    bool crl = false;
    bool der = false;
};
extern SignatureSettings signatureSettings;

// Reads the keys that the commands share and calls the operation for each file argument.
// A file that fails does not stop the others. The code of the first failure, or 0; what
// fails before the first file ends the command with its reported code.
DWORD RunFileBatch(const BatchCommand& command);

}  // namespace kestrel
