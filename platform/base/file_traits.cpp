// What a file has besides its content.
#include "platform/base/file_traits.h"

#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <vector>

namespace platform {
namespace {

constexpr char kAccessList[] = "system.posix_acl_access";

// Told of the old content; the system itself drops or renews them when a file is written.
constexpr const char* kOfContent[] = {"security.capability", "security.ima", "security.evm"};

// A value or list of a call that tells its size when asked with no room; the size may grow
// between the two.
template <class Ask>
std::optional<std::string> AskFor(Ask ask) {
    for (;;) {
        const ssize_t size = ask(nullptr, 0);
        if (size < 0) return std::nullopt;
        std::string text(static_cast<std::size_t>(size), '\0');
        const ssize_t got = size == 0 ? 0 : ask(text.data(), text.size());
        if (got < 0 && errno == ERANGE) continue;
        if (got < 0) return std::nullopt;
        text.resize(static_cast<std::size_t>(got));
        return text;
    }
}

std::optional<std::vector<std::string>> NamesOf(const std::string& file) {
    const auto list =
        AskFor([&](char* out, std::size_t size) { return listxattr(file.c_str(), out, size); });
    if (!list && errno != ENOTSUP) return std::nullopt;
    std::vector<std::string> names;
    for (std::size_t at = 0; list && at < list->size(); at += names.back().size() + 1) {
        names.emplace_back(list->c_str() + at);
    }
    return names;
}

bool CarryAttribute(const std::string& from, const char* name, int to) {
    const auto wanted = AskFor(
        [&](char* out, std::size_t size) { return getxattr(from.c_str(), name, out, size); });
    if (!wanted) return false;
    const auto present =
        AskFor([&](char* out, std::size_t size) { return fgetxattr(to, name, out, size); });
    return present == wanted || fsetxattr(to, name, wanted->data(), wanted->size(), 0) == 0;
}

// A new file may have got the access list that its folder gives to new files.
bool DropAccessList(int file) {
    return fgetxattr(file, kAccessList, nullptr, 0) < 0 || fremovexattr(file, kAccessList) == 0;
}

bool IsOfContent(const std::string& name) {
    return std::find(std::begin(kOfContent), std::end(kOfContent), name) != std::end(kOfContent);
}

bool CarryAttributes(const std::string& from, int to) {
    const auto names = NamesOf(from);
    if (!names) return false;
    const bool listed = std::find(names->begin(), names->end(), kAccessList) != names->end();
    return (listed || DropAccessList(to)) &&
           std::all_of(names->begin(), names->end(), [&](const std::string& name) {
               return IsOfContent(name) || CarryAttribute(from, name.c_str(), to);
           });
}

bool CarryOwner(const struct stat& status, int to) {
    struct stat present {};
    if (fstat(to, &present) != 0) return false;
    const bool same = present.st_uid == status.st_uid && present.st_gid == status.st_gid;
    return same || fchown(to, status.st_uid, status.st_gid) == 0;
}

}  // namespace

// The permissions come last: a new owner takes bits away. The set-id bits do not pass to
// other content, as they do not survive a write.
bool CarryTraits(const std::string& from, const struct stat& status, int to) {
    return CarryOwner(status, to) && CarryAttributes(from, to) &&
           fchmod(to, status.st_mode & ~mode_t{S_IFMT | S_ISUID | S_ISGID}) == 0;
}

}  // namespace platform
