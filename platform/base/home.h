// Where the platform keeps things, and safe writing there.
#pragma once

#include <filesystem>
#include <source_location>

#include "platform/base/bytes.h"
#include "platform/base/ground.h"
#include "platform/base/replace_file.h"

namespace platform {

enum class Side { User, Machine };

// KESTREL_HOME (default ${XDG_DATA_HOME:-~/.local/share}/kestrel) and
// KESTREL_MACHINE_HOME (default /var/lib/kestrel). The folder need not exist.
std::filesystem::path HomeOf(Side side);

// Creates the folder with mode 0700 (user) or 0755 (machine) when it is missing.
std::filesystem::path EnsureHome(Side side);

// A file's bytes, 1 GiB at most. Throws
// ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED or ERROR_FILE_TOO_LARGE with the file's name as detail.
Bytes ReadWholeFile(const std::filesystem::path& file);

// The same for files of our own. What is none (a pipe would wait for who writes into it) throws
// `otherwise`.
Bytes ReadOwnFile(const std::filesystem::path& file, DWORD otherwise = ERROR_FILE_CORRUPT);

// Maps an errno to the platform's code and throws it with the file's name.
[[noreturn]] void ThrowErrno(int error, const std::filesystem::path& file,
                             const std::source_location& where = std::source_location::current());

}  // namespace platform
