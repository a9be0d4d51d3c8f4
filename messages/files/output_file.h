// Where a streaming command puts what it makes.
//
// A file that holds something keeps it until the stream has ended: what is made goes into a
// temporary file beside it, which then takes its place. A stream that fails leaves what it has
// made so far; only where that could not be written, the old content stays. Files that are new
// or empty, devices, pipes, and files in folders that take no other are written to as they
// stand. No two processes write one file at once.
#pragma once

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

#include "front/core/holders.h"
#include "messages/files/file_handle.h"
#include "messages/files/temporary_file.h"

namespace kestrel {

// Failures answer false with the last error set, unreported.
class OutputFile {
  public:
    // Makes an empty file where there is none. Null on failure.
    static std::unique_ptr<OutputFile> Open(const char* name);
    // What was written to an output that was not closed is what its stream has made.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // The first call, be it of no bytes, is when an existing file begins to go.
    // ERROR_SHARING_VIOLATION when another process writes it.
    bool Write(const void* data, std::size_t length);
    bool Close();

  private:
    OutputFile(const char* name, FileHolder file) : name_(name), opened_(std::move(file)) {}

    bool Begin();
    bool BeginPlainFile();
    bool Put(const void* data, std::size_t length);
    bool Flush();
    bool Finish();

    enum class Step { Opened, Writing, Failed, Closed };

    std::string name_;
    Step step_ = Step::Opened;
    FileHolder opened_;  // not a plain file: what is written to
    FileHandle held_;    // a plain file: against other writers, and without a temporary
                         // file what is written to
    std::unique_ptr<TemporaryFile> temporary_;
    std::vector<BYTE> buffer_;
};

using OutputHolder = std::unique_ptr<OutputFile>;

}  // namespace kestrel
