// Opening files, and the whole-file road: a file in one buffer and back.
//
// Buffers of this road are malloc'ed. Every failure has been reported when its code is
// returned.
#pragma once

#include <windows.h>

#include "front/core/holders.h"
#include "front/core/result.h"
#include "messages/files/output_file.h"

namespace kestrel {

// Null on failure, unreported.
FileHolder OpenToRead(const char* name);

// The input of a streaming command. The name is borrowed.
struct InputFile {
    const char* name = nullptr;
    FileHolder file;
    LONGLONG size = 0;
};

// 0 or kCannotOpenFile.
Reported OpenInput(const char* name, InputFile& input);

// For what is made of an open input. Null, unreported, also when the name is
// the input's own file: it would be emptied while it is read.
OutputHolder OpenOutput(const char* name, const InputFile& input);

// The input and output of an encoding command, from the two file arguments. A report
// shows the input's name whichever of the two did not open (files-1).
Reported OpenFilePair(InputFile& input, OutputHolder& output);

// Reads the file; the caller frees `data`. With `isDer` the file is classified by its
// first byte: "M" or "-" is text, which is decoded by DecodeAnyText (*isDer 0), anything
// else is binary (*isDer 1). An empty file gives no data, and is a failure when it was
// to be classified. kCannotOpenFile, kFileTooLarge (2 GiB and more), kNoMemory, or the
// code of DecodeAnyText.
Reported ReadFileWhole(const char* name, BYTE*& data, DWORD& length, int* isDer);

// A file that is written as a whole.
struct WholeFile {
    const char* name;
    // The same file, where the caller has it open for writing so that no other process may
    // change it; borrowed.
    HANDLE held = nullptr;

    WholeFile(const char* fileName, HANDLE file = nullptr) : name(fileName), held(file) {}
};

// 0 or kCannotOpenFile, a write that fell short included; the last error's report when another
// process has changed what the caller holds, and for a disk that was full or faulty, or a whole
// copy that stays beside the file, once everything was written. Frees `data` on failure only.
Reported WriteFileRaw(const WholeFile& file, BYTE* data, DWORD length);

// Puts `data` into the file as a whole: a temporary file beside it takes its place when
// everything is in it, so that a full disk or a killed process leaves the old file or the
// new one. An existing file keeps its permissions, its owner and its links. `durable`
// waits until the disk has it. False with the last error set, unreported.
bool WriteWholeFile(const WholeFile& file, const void* data, std::size_t length, bool durable);

// A file to be read, which must be a file: what blocks or never ends (a FIFO, a socket, a
// device) is refused unopened. Null with the last error set, unreported.
FileHolder OpenPlainFile(const char* name);

// In lines of 64 columns. Frees `data` in every case. As WriteFileRaw, kNoMemory, or
// kBadBase64 for data shorter than any message.
Reported WriteFileBase64(const WholeFile& file, BYTE* data, DWORD length);

}  // namespace kestrel
