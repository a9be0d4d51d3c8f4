// A file beside another, whose place it takes when it is whole.
#pragma once

#include <windows.h>

#include <cstddef>
#include <string>

#include "messages/files/file_handle.h"

namespace kestrel {

// Failures answer false with the last error set, unreported.

bool WriteAll(HANDLE file, const void* data, std::size_t length);

// Deletes its file, unless that has taken another's place or is the only whole copy.
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::string& target);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    // False, with the last error, when it could not be made.
    [[nodiscard]] bool IsMade() const { return made_; }
    [[nodiscard]] HANDLE Get() const { return file_.get(); }
    // What is written goes into the target itself when this one could not be made because of
    // the folder.
    [[nodiscard]] static bool MaySkip();

    // Closes it: a close that fails is a write that failed. `durable`: the disk has it.
    bool Finish(bool durable);
    // Under a name that is free or proves to be taken.
    bool MoveTo(const char* target, bool durable);
    bool Replace(const char* target, bool durable);

  private:
    std::string name_;
    FileHandle file_;
    bool made_ = false;
};

}  // namespace kestrel
