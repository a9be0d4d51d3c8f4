// Entries of the cache: a few lines of text, an empty line, the answer as it came.
#include "platform/chain/answer_cache.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

#include "platform/base/error.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/crypto.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kFirstLine = "kestrel-answer 1";
constexpr std::string_view kFailed = "failed ";
constexpr std::uintmax_t kMostInAll = 256ULL * 1024 * 1024;
// A body at its greatest and the lines before it.
constexpr std::uintmax_t kMostOfOne = 64ULL * 1024 * 1024 + 64 * 1024;
constexpr std::size_t kKeyLength = 64;
constexpr std::array kKinds = {"crl", "ocsp", "certificates"};

std::string Sha256Of(ByteView part, ByteView more = {}) {
    Digest digest(oid::kSha256);
    digest.Update(part);
    digest.Update(more);
    return Hex(digest.Value());
}

bool IsKey(std::string_view name) {
    return name.size() == kKeyLength &&
           name.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

Bytes Encode(const Answer& answer) {
    std::string head(kFirstLine);
    head += '\n';
    if (answer.failed) head += kFailed;
    head += NameOf(answer.kind);
    head += '\n' + answer.address + '\n' + std::to_string(answer.fetched) + '\n' +
            std::to_string(answer.until) + '\n' + Sha256Of(answer.body) + "\n\n";
    Bytes file(head.begin(), head.end());
    file.insert(file.end(), answer.body.begin(), answer.body.end());
    return file;
}

std::string_view TakeLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    if (end == text.npos) throw Error(ERROR_FILE_CORRUPT);
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end + 1);
    return line;
}

Ticks TakeTicks(std::string_view& text) {
    const std::string_view line = TakeLine(text);
    Ticks ticks = 0;
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), ticks);
    if (error != std::errc{} || end != line.data() + line.size()) throw Error(ERROR_FILE_CORRUPT);
    return ticks;
}

void TakeKind(std::string_view& text, Answer& answer) {
    std::string_view line = TakeLine(text);
    answer.failed = line.starts_with(kFailed);
    if (answer.failed) line.remove_prefix(kFailed.size());
    const auto found = std::find(kKinds.begin(), kKinds.end(), line);
    if (found == kKinds.end()) throw Error(ERROR_FILE_CORRUPT);
    answer.kind = static_cast<AnswerKind>(found - kKinds.begin());
}

// The digest tells an answer that was cut or altered from a whole one.
Answer Decode(Bytes file) {
    std::string_view text(reinterpret_cast<const char*>(file.data()), file.size());
    Answer answer;
    if (TakeLine(text) != kFirstLine) throw Error(ERROR_FILE_CORRUPT);
    TakeKind(text, answer);
    answer.address = TakeLine(text);
    answer.fetched = TakeTicks(text);
    answer.until = TakeTicks(text);
    const std::string digest(TakeLine(text));
    if (!TakeLine(text).empty() || Sha256Of(ViewOf(text)) != digest) {
        throw Error(ERROR_FILE_CORRUPT);
    }
    file.erase(file.begin(), file.end() - static_cast<std::ptrdiff_t>(text.size()));
    answer.body = std::move(file);
    return answer;
}

std::optional<Answer> Read(const fs::path& file) {
    std::error_code error;
    if (!fs::is_regular_file(file, error) || fs::file_size(file, error) > kMostOfOne) return {};
    try {
        return Decode(ReadOwnFile(file));
    } catch (const Error&) {
        return std::nullopt;  // as good as absent: the network has it again
    }
}

// Files of ours alone; another process may take one away at any moment.
std::vector<fs::directory_entry> EntriesIn(const fs::path& folder) {
    std::vector<fs::directory_entry> entries;
    std::error_code error;
    for (fs::directory_iterator file(folder, error), end; !error && file != end;
         file.increment(error)) {
        std::error_code gone;
        const bool regular = file->is_regular_file(gone);
        if (regular && !gone && IsKey(file->path().filename().string())) entries.push_back(*file);
    }
    return entries;
}

void RemoveOldest(const fs::path& folder, const std::string& spared) {
    struct Aged {
        fs::file_time_type time;
        std::uintmax_t size;
        fs::path path;
    };
    std::vector<Aged> files;
    std::uintmax_t sum = 0;
    for (const auto& entry : EntriesIn(folder)) {
        std::error_code gone;
        const std::uintmax_t size = entry.file_size(gone);
        const auto time = gone ? fs::file_time_type() : entry.last_write_time(gone);
        if (gone) continue;
        sum += size;
        if (entry.path().filename() != spared) files.push_back({time, size, entry.path()});
    }
    std::sort(files.begin(), files.end(),
              [](const Aged& one, const Aged& other) { return one.time < other.time; });
    for (const Aged& file : files) {
        if (sum <= kMostInAll) return;
        std::error_code gone;
        fs::remove(file.path, gone);
        sum -= file.size;
    }
}

fs::path FolderOfSide(Side side) { return HomeOf(side) / "cache"; }

}  // namespace

const char* NameOf(AnswerKind kind) { return kKinds[static_cast<std::size_t>(kind)]; }

std::string Inquiry::Key() const {
    const std::string head = std::string(NameOf(kind)) + '\n' + address + '\n';
    return Sha256Of(ViewOf(head), request.empty() ? issuer : request);
}

std::optional<Answer> AnswerCache::Find(const std::string& key, Ticks now) const {
    for (const Side side : sides_) {
        auto answer = Read(FolderOfSide(side) / key);
        if (answer && now < answer->until && now >= answer->fetched) return answer;
    }
    return std::nullopt;
}

bool AnswerCache::Keep(const std::string& key, const Answer& answer) const {
    constexpr unsigned kMode = 0644;
    const fs::path folder = FolderOfSide(sides_.front());
    try {
        EnsureHome(sides_.front());
        std::error_code error;
        fs::create_directory(folder, error);
        // Writing into a pipe would wait for a reader.
        if (!fs::is_regular_file(folder / key, error)) fs::remove(folder / key, error);
        ReplaceFile(folder / key, Encode(answer), kMode);
    } catch (const Error&) {
        return false;
    }
    RemoveOldest(folder, key);
    return true;
}

std::vector<KeptAnswer> KeptAnswers(Side side) {
    std::vector<KeptAnswer> kept;
    for (const auto& entry : EntriesIn(FolderOfSide(side))) {
        auto answer = Read(entry.path());
        if (!answer) continue;
        const std::uintmax_t size = answer->body.size();
        if (!answer->failed) answer->body.clear();
        kept.push_back({std::move(*answer), size});
    }
    std::sort(kept.begin(), kept.end(), [](const KeptAnswer& one, const KeptAnswer& other) {
        return one.answer.address < other.answer.address;
    });
    return kept;
}

std::vector<fs::path> DamagedAnswers(Side side) {
    std::vector<fs::path> damaged;
    for (const auto& entry : EntriesIn(FolderOfSide(side))) {
        if (!Read(entry.path())) damaged.push_back(entry.path());
    }
    std::sort(damaged.begin(), damaged.end());
    return damaged;
}

std::size_t ClearAnswers(Side side) {
    const auto entries = EntriesIn(FolderOfSide(side));
    for (const auto& entry : entries) {
        std::error_code error;
        if (!fs::remove(entry.path(), error) && error) ThrowErrno(error.value(), entry.path());
    }
    return entries.size();
}

}  // namespace platform
