// -hash and -vhash: the bare hash value of each file in a companion ".hsh".
#include <io.h>

#include <array>
#include <cstdint>
#include <vector>

#include "batch/batch.h"
#include "batch/steps.h"
#include "front/core/ask_size.h"
#include "front/core/commands.h"
#include "messages/files/progress.h"
#include "messages/files/road.h"
#include "selection/providers.h"

namespace kestrel {
namespace {

constexpr char kHashExtension[] = ".hsh";

// What is no number, or none that fits, becomes INT32_MIN (batch-1): the length that -vhash
// gives is 0, and a file may grow while it is read.
int PercentDone(DWORD chunks, LONGLONG length) {
    const double percent = chunks * 100.0 * 65536.0 / static_cast<double>(length);
    return percent < INT32_MAX ? static_cast<int>(percent) : INT32_MIN;
}

// 0, kLastError when the provider failed, or kCannotOpenFile when the file did.
Unreported FeedHash(HCRYPTHASH hash, FILE* source, LONGLONG shownLength) {
    std::array<BYTE, kChunkSize> chunk;
    Progress progress(shownLength, PercentDone);
    for (std::size_t read = kChunkSize; read == kChunkSize;) {
        read = std::fread(chunk.data(), 1, kChunkSize, source);
        if (std::ferror(source) != 0) return Unreported(kCannotOpenFile);
        progress.Show();
        if (read > 0 && !CryptHashData(hash, chunk.data(), static_cast<DWORD>(read), 0)) {
            return Unreported(kLastError);
        }
    }
    return {};
}

bool StartHash(ProviderHolder& provider, HashHolder& hash) {
    return CryptAcquireContextA(provider.Fill(), nullptr, hashProviderName, hashProviderType,
                                CRYPT_VERIFYCONTEXT) &&
           CryptCreateHash(provider.Get(), hashAlgorithm.aiAlgid, 0, 0, hash.Fill());
}

Reported ReadHashValue(HCRYPTHASH hash, std::vector<BYTE>& value) {
    const bool done = FetchValue(value, [hash](BYTE* buffer, DWORD* size) {
        return CryptGetHashParam(hash, HP_HASHVAL, buffer, size, 0);
    });
    if (!done) return ReportError(kLastError);
    return 0;
}

// The provider is asked for each file anew, so that one that fails ends every file's line.
Reported HashSource(InputFile& source, LONGLONG shownLength, std::vector<BYTE>& value) {
    ProviderHolder provider;
    HashHolder hash;
    Unreported failure(StartHash(provider, hash) ? 0 : kLastError);
    Progress::Start();
    if (!failure) failure = FeedHash(hash.Get(), source.file.get(), shownLength);
    source.file.reset();
    if (failure.Code() == kCannotOpenFile) {
        Progress::Back();
        return EndLine(say::kReadingFailed, kCannotOpenFile);
    }
    Progress::Wipe();
    if (failure) return ReportError(failure.Code());
    return ReadHashValue(hash.Get(), value);
}

// A file that is too large leaves its line empty (batch-2).
Reported HashFile(const char* sourceName, const char* companionName, DWORD, const char*,
                  const char*, DWORD) {
    InputFile source;
    if (const Reported failure = OpenSource(sourceName, source)) return failure;
    if (IsTooLarge(source)) return LeaveToClosingLine(Unreported(kFileTooLarge));
    std::vector<BYTE> value;
    if (const Reported failure = HashSource(source, source.size, value)) return failure;
    if (!WriteWholeFile(companionName, value.data(), value.size(), false)) {
        return EndLine(say::kWritingFailed, kCannotOpenFile);
    }
    return EndLine(say::kFileDone, 0);
}

bool HoldsExactly(FILE* file, const std::vector<BYTE>& value) {
    std::vector<BYTE> kept(value.size());
    const std::size_t read = std::fread(kept.data(), 1, kept.size(), file);
    return read == value.size() && _filelengthi64(_fileno(file)) == static_cast<LONGLONG>(read) &&
           kept == value;
}

Reported VerifyHashOfFile(const char* sourceName, const char* companionName, DWORD, const char*,
                          const char*, DWORD) {
    InputFile source;
    if (const Reported failure = OpenSource(sourceName, source)) return failure;
    if (IsTooLarge(source)) return ReportError(kFileTooLarge);
    std::vector<BYTE> value;
    if (const Reported failure = HashSource(source, 0, value)) return failure;
    const FileHolder companion = OpenPlainFile(companionName);
    if (!companion) return EndLine(say::kHashReadingFailed, kCannotOpenFile);
    if (!HoldsExactly(companion.get(), value)) return EndLine(say::kHashDiffers, kHashDiffers);
    return EndLine(say::kFileDone, 0);
}

}  // namespace

DWORD RunHash() { return RunFileBatch({BatchKind::Hash, kHashExtension, HashFile}); }

DWORD RunVerifyHash() { return RunFileBatch({BatchKind::Hash, kHashExtension, VerifyHashOfFile}); }

}  // namespace kestrel
