// Waiting requests as files: the number is the name, the first line the authority, the rest the
// request in BASE64.
#include "platform/enroll/waiting_requests.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <map>
#include <optional>

#include "platform/base/error.h"
#include "platform/base/home.h"
#include "platform/enroll/request.h"
#include "platform/stores/bundle_text.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

constexpr unsigned kFileMode = 0600;
constexpr mode_t kFolderMode = 0700;

fs::path WaitingFolder() { return HomeOf(Side::User) / "waiting"; }

fs::path FileOf(LONG number) { return WaitingFolder() / std::to_string(number); }

// No value for a name that is no number as it is written here. One more always fits.
std::optional<LONG> NumberOf(const std::string& name) {
    constexpr LONG kMost = 999'999'999;
    LONG number = 0;
    std::from_chars(name.data(), name.data() + name.size(), number);
    if (number <= 0 || number > kMost || std::to_string(number) != name) return std::nullopt;
    return number;
}

std::map<LONG, fs::path> Files() {
    std::map<LONG, fs::path> files;
    std::error_code error;
    for (fs::directory_iterator at(WaitingFolder(), error); !error && at != fs::end(at);
         at.increment(error)) {
        if (const auto number = NumberOf(at->path().filename())) files[*number] = at->path();
    }
    const bool none = error == std::errc::no_such_file_or_directory;
    if (error && !none) ThrowErrno(error.value(), WaitingFolder());
    return files;
}

std::string Written(const WaitingRequest& waiting) {
    return waiting.authority + "\r\n" + Base64Lines(waiting.request);
}

WaitingRequest Parsed(const Bytes& content, const fs::path& file) {
    const std::string_view text(reinterpret_cast<const char*>(content.data()), content.size());
    const std::size_t end = text.find("\r\n");
    try {
        WaitingRequest waiting{std::string(text.substr(0, end)),
                               DecodeBase64(ViewOf(text.substr(std::min(end, text.size()))))};
        PublicKeyOfRequest(waiting.request);
        return waiting;
    } catch (const Error&) {
        throw Error(ERROR_FILE_CORRUPT, file);
    }
}

WaitingRequest Read(const fs::path& file) { return Parsed(ReadOwnFile(file), file); }

// One that is damaged, or went meanwhile, is nobody's.
std::optional<WaitingRequest> ReadIfWhole(const fs::path& file) {
    try {
        return Read(file);
    } catch (const Error&) {
        return std::nullopt;
    }
}

bool IsFor(const WaitingRequest& waiting, const AnyKey& key) {
    try {
        return PublicKeyOfRequest(waiting.request).Matches(key);
    } catch (const Error&) {
        return false;
    }
}

void EnsureFolder() {
    EnsureHome(Side::User);
    if (mkdir(WaitingFolder().c_str(), kFolderMode) != 0 && errno != EEXIST) {
        ThrowErrno(errno, WaitingFolder());
    }
}

// False when another process was faster.
bool Take(LONG number, const std::string& content) {
    try {
        ReplaceFile(FileOf(number), ViewOf(content), kFileMode, IfExists::Refuse);
        return true;
    } catch (const Error& error) {
        if (error.Code() != ERROR_FILE_EXISTS) throw;
        return false;
    }
}

}  // namespace

LONG KeepWaiting(const WaitingRequest& waiting) {
    EnsureFolder();
    LONG number = 1;
    for (const auto& [taken, file] : Files()) {
        if (ReadIfWhole(file) == waiting) return taken;
        number = taken + 1;
    }
    const std::string content = Written(waiting);
    while (!Take(number, content)) ++number;
    return number;
}

WaitingRequest FindWaiting(LONG number) {
    try {
        return Read(FileOf(number));
    } catch (const Error& error) {
        if (error.Code() != ERROR_FILE_NOT_FOUND) throw;
        throw Error(CRYPT_E_NOT_FOUND,
                    "no request waits under the number " + std::to_string(number));
    }
}

std::vector<fs::path> DamagedWaiting() {
    std::vector<fs::path> damaged;
    for (const auto& [number, file] : Files()) {
        try {
            static_cast<void>(Read(file));
        } catch (const Error& error) {
            if (error.Code() == ERROR_FILE_CORRUPT) damaged.push_back(file);
        }
    }
    return damaged;
}

void ForgetWaiting(const AnyKey& key) {
    for (const auto& [number, file] : Files()) {
        const auto waiting = ReadIfWhole(file);
        std::error_code ignored;  // it may be kept once more than is of use
        if (waiting && IsFor(*waiting, key)) fs::remove(file, ignored);
    }
}

}  // namespace platform
