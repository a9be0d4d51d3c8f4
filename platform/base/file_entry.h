// Files by name, in the platform's terms. Failures are thrown with the name.
#pragma once

#include <sys/stat.h>

#include "platform/base/ground.h"

#include <string>

namespace platform {

// FILE_ATTRIBUTE_ values.
DWORD AttributesOf(const struct stat& status);

// Without any write permission, or with the owner's when there is none.
mode_t WithReadOnly(mode_t permissions, bool readOnly);
// The same for a file, which may be a draft that waits.
void SetReadOnly(const std::string& name, bool readOnly);
void MakeFolder(const std::string& name);
// `flags`: those of MoveFileExA.
void Move(const std::string& from, const std::string& to, DWORD flags);
void DeleteNamed(const std::string& name);

// False with errno, EEXIST when the name is taken.
[[nodiscard]] bool RenameToFree(const std::string& from, const std::string& to);

}  // namespace platform
