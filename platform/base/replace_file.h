// The one way in which a file gets new content: the old one stays whole until the new one is.
#pragma once

#include <filesystem>

#include "platform/base/bytes.h"
#include "platform/base/draft.h"

namespace platform {

enum class IfExists { Replace, Refuse };

// Puts `content` into `file` as a whole; a process killed at any moment leaves the old or the
// new file. Symbolic links are followed to the file that they stand for. What is no file (a
// device, a FIFO, an open file of /dev/fd) is written to and never replaced. The file has
// `mode` afterwards, whatever the mask; an existing one keeps its owner and its links. Throws
// with the file's name: ERROR_FILE_EXISTS when there is a file that is not to be replaced.
void ReplaceFile(const std::filesystem::path& file, ByteView content, unsigned mode,
                 IfExists ifExists = IfExists::Replace);

// Puts the file `replacement` in the place of the file `replaced`, which exists and whose
// traits stay. `durable`: the disk has it on return. After ERROR_UNABLE_TO_MOVE_REPLACEMENT
// the replacement alone is whole.
void ReplaceByFile(const std::string& replaced, const std::string& replacement, bool durable);

// Puts a file that is being made in the place of `replaced`, which exists or does not; else the
// same. The draft is settled, also after ERROR_UNABLE_TO_MOVE_REPLACEMENT, whose detail is its
// name.
void ReplaceByDraft(const std::string& replaced, Draft& draft, bool durable);

// The name that symbolic links end at, whether there is a file of it or not: those that stand for
// an open file are not followed. Throws with the name, for a loop for example.
std::string BehindLinks(const std::string& name);

// True for a link that stands for a file as a process has it open, and not for a name.
bool LeadsToOpenFile(const std::string& name);

}  // namespace platform
