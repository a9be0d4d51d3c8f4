// What a file has besides its content.
#pragma once

#include <sys/stat.h>

#include <string>

namespace platform {

// Gives the open file `to` the owner, the group, the extended attributes (access lists
// among them) and the permissions of the file `from`, whose status is `status`. False when
// some of it cannot be given; `to` may have a part of it then.
[[nodiscard]] bool CarryTraits(const std::string& from, const struct stat& status, int to);

}  // namespace platform
