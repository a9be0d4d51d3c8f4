// -hash and -vhash: the bare hash value of each file in a companion ".hsh".
#include <io.h>

#include <array>
#include <cstdint>
#include <vector>

#include "batch/batch.h"
#include "batch/steps.h"
#include "front/core/commands.h"
#include "messages/files/progress.h"
#include "messages/files/road.h"
#include "selection/providers.h"

namespace kestrel {
namespace {

constexpr MessageId kHashReadingFailed = 141;
constexpr MessageId kDiffers = 169;
constexpr char kHashExtension[] = ".hsh";
constexpr char kBackOverPercent[] = "\b\b\b\b";
constexpr char kWipePercent[] = "\b\b\b\b    \b\b\b\b";

// What is no number, or none that fits, becomes the one that users of -vhash know: there
// the length is 0, and a file may grow while it is read.
int PercentDone(DWORD chunks, LONGLONG length) {
    const double percent = chunks * 100.0 * 65536.0 / static_cast<double>(length);
    return percent < INT32_MAX ? static_cast<int>(percent) : INT32_MIN;
}

class PercentShown {
  public:
    explicit PercentShown(LONGLONG length) : length_(length) {}
    void Show() {
        const int percent = PercentDone(chunks_++, length_);
        std::printf(kProgressFormat, percent);
        if (percent != shown_) ShowOnTerminal();
        shown_ = percent;
    }

  private:
    LONGLONG length_;
    DWORD chunks_ = 0;
    int shown_ = -1;
};

// 0, kLastError when the provider failed, or kCannotOpenFile when the file did.
DWORD FeedHash(HCRYPTHASH hash, FILE* source, LONGLONG shownLength) {
    std::array<BYTE, kChunkSize> chunk;
    PercentShown percent(shownLength);
    for (size_t read = kChunkSize; read == kChunkSize;) {
        read = std::fread(chunk.data(), 1, kChunkSize, source);
        if (std::ferror(source) != 0) return kCannotOpenFile;
        percent.Show();
        if (read > 0 && !CryptHashData(hash, chunk.data(), static_cast<DWORD>(read), 0)) {
            return kLastError;
        }
    }
    return 0;
}

bool StartHash(ProviderHolder& provider, HashHolder& hash) {
    return CryptAcquireContextA(provider.Fill(), nullptr, hashProviderName, hashProviderType,
                                CRYPT_VERIFYCONTEXT) &&
           CryptCreateHash(provider.Get(), hashAlgorithm.aiAlgid, 0, 0, hash.Fill());
}

DWORD ReadHashValue(HCRYPTHASH hash, std::vector<BYTE>& value) {
    DWORD size = 0;
    if (!CryptGetHashParam(hash, HP_HASHVAL, nullptr, &size, 0)) return ReportError(kLastError);
    value.resize(size);
    if (!CryptGetHashParam(hash, HP_HASHVAL, value.data(), &size, 0)) {
        return ReportError(kLastError);
    }
    return 0;
}

// The provider is asked for each file anew, so that one that fails ends every file's line.
DWORD HashSource(InputFile& source, LONGLONG shownLength, std::vector<BYTE>& value) {
    ProviderHolder provider;
    HashHolder hash;
    DWORD code = StartHash(provider, hash) ? 0 : kLastError;
    std::fputs(kProgressStart, stdout);
    if (code == 0) code = FeedHash(hash.Get(), source.file.get(), shownLength);
    source.file.reset();
    if (code == kCannotOpenFile) {
        std::fputs(kBackOverPercent, stdout);
        return EndLine(kReadingFailed, code);
    }
    std::fputs(kWipePercent, stdout);
    return code != 0 ? ReportError(code) : ReadHashValue(hash.Get(), value);
}

// A file that is too large leaves its line empty: the code alone tells.
DWORD HashFile(const char* sourceName, const char* companionName, DWORD, const char*, const char*,
               DWORD) {
    InputFile source;
    if (const DWORD code = OpenSource(sourceName, source); code != 0) return code;
    if (IsTooLarge(source)) return kFileTooLarge;
    std::vector<BYTE> value;
    if (const DWORD code = HashSource(source, source.size, value); code != 0) return code;
    if (!WriteWholeFile(companionName, value.data(), value.size(), false)) {
        return EndLine(kWritingFailed, kCannotOpenFile);
    }
    return EndLine(kFileDone, 0);
}

bool HoldsExactly(FILE* file, const std::vector<BYTE>& value) {
    std::vector<BYTE> kept(value.size());
    const size_t read = std::fread(kept.data(), 1, kept.size(), file);
    return read == value.size() && _filelengthi64(_fileno(file)) == static_cast<LONGLONG>(read) &&
           kept == value;
}

DWORD VerifyHashOfFile(const char* sourceName, const char* companionName, DWORD, const char*,
                       const char*, DWORD) {
    InputFile source;
    if (const DWORD code = OpenSource(sourceName, source); code != 0) return code;
    if (IsTooLarge(source)) return ReportError(kFileTooLarge);
    std::vector<BYTE> value;
    if (const DWORD code = HashSource(source, 0, value); code != 0) return code;
    const FileHolder companion = OpenPlainFile(companionName);
    if (!companion) return EndLine(kHashReadingFailed, kCannotOpenFile);
    if (!HoldsExactly(companion.get(), value)) return EndLine(kDiffers, kHashDiffers);
    return EndLine(kFileDone, 0);
}

}  // namespace

DWORD RunHash() { return RunFileBatch({BatchKind::Hash, kHashExtension, HashFile}); }

DWORD RunVerifyHash() { return RunFileBatch({BatchKind::Hash, kHashExtension, VerifyHashOfFile}); }

}  // namespace kestrel
