// The state of a side's stores as a short text.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <string>

#include "platform/base/bytes.h"
#include "platform/base/descriptor.h"
#include "platform/stores/store.h"

namespace platform {

// SQLite counts every committed change in the header of its file (file format, 1.3.7). The
// file's identity and times tell one file from another of the same name.
std::string StoresGeneration(Side side) {
    constexpr off_t kChangeCounter = 24;
    const std::string file = HomeOf(side) / "stores.db";
    const Descriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    std::array<std::uint8_t, 4> counter{};
    struct stat status {};
    const bool known = fstat(descriptor.Get(), &status) == 0 &&
                       pread(descriptor.Get(), counter.data(), counter.size(), kChangeCounter) >= 0;
    if (!known) return file;
    std::string text = file + '/' + Hex(counter);
    for (const auto number : {std::uint64_t{status.st_dev}, std::uint64_t{status.st_ino},
                              static_cast<std::uint64_t>(status.st_size),
                              static_cast<std::uint64_t>(status.st_mtim.tv_sec),
                              static_cast<std::uint64_t>(status.st_mtim.tv_nsec)}) {
        text += '/' + std::to_string(number);
    }
    return text;
}

}  // namespace platform
