// The engine behind the commands for many files.
#include "batch/batch.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

#include "batch/masks.h"
#include "batch/paths.h"
#include "batch/steps.h"
#include "front/core/catalogue.h"
#include "front/core/holders.h"
#include "front/core/keys.h"
#include "messages/files/progress.h"
#include "messages/stamp_keys.h"
#include "selection/providers.h"
#include "selection/search.h"

namespace kestrel {

SignatureSettings signatureSettings;

namespace {

constexpr char kDefaultFolder[] = "./";

std::string TakeFolder() {
    const char* value = nullptr;
    const bool given = TakeKey("dir", &value) && *value != '\0';  // empty: batch-5
    return CompanionFolder(given ? value : kDefaultFolder);
}

Reported PrepareHash() {
    const char* type = nullptr;
    if (TakeKey("provtype", &type)) hashProviderType = static_cast<DWORD>(std::atoi(type));
    TakeKey("provname", &hashProviderName);
    if (const Reported failure = RejectLeftoverKeys()) return failure;
    if (ProviderHasHashAlgorithm() == 0) return ReportError(kLastError);
    PrintMessage(say::kHashAlgorithm, 0);
    std::printf("%s\n", hashAlgorithm.szName);
    return 0;
}

// An address that serves both stamps is a signer's business: when verifying, the values
// are ages, each for itself.
StampKeys TakeStampValues(BatchKind kind) {
    if (kind == BatchKind::Sign) return TakeStampKeys();
    StampKeys keys;
    keys.noStampCert = TakeKey("nostampcert");
    keys.contentUrl = TakeStampKey("sd");
    keys.signatureUrl = TakeStampKey("ss");
    return keys;
}

// Keys that are left over are found by the operation, for each file: it takes the password.
Reported PrepareSignatures(BatchKind kind, StampKeys& stamps, StoreVector& stores) {
    const bool signs = kind == BatchKind::Sign;
    if (signs) signatureSettings = {TakeKey("cert"), TakeKey("crl"), TakeKey("der")};
    stamps = TakeStampValues(kind);
    if (const Reported failure = ParseSearchCriterion(!signs)) return failure;
    return SelectCertificates(stores, signs, signs ? Purpose::Signing : Purpose::Any);
}

// Masks are names to every other command (batch-6).
std::vector<std::string> ExpandedFiles() {
    std::vector<std::string> files;
    for (const char* argument : state.positionals) {
        std::vector<std::string> names = ExpandMask(argument);
        if (names.empty()) names.emplace_back(argument);
        std::ranges::move(names, std::back_inserter(files));
    }
    return files;
}

void PrintFolder(const std::string& firstFile) {
    PrintMessage(say::kFolder, 0);
    std::fputs(Escaped(FolderPart(firstFile)).c_str(), stdout);
    std::fputs("':\n", stdout);
}

bool IsFolder(const char* name) {
    const DWORD attributes = GetFileAttributesA(name);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// A failure shows at the companion.
bool MakeFolder(const std::string& folder) {
    return IsFolder(folder.c_str()) || CreateDirectoryA(folder.c_str(), nullptr);
}

Reported RunOnFile(const BatchCommand& command, const std::string& folder, const char* source,
                   const StampKeys& stamps) {
    std::fputs(Escaped(source).c_str(), stdout);
    std::fputs("... ", stdout);
    ShowOnTerminal();
    // Files of one name share it (batch-8).
    const std::string companion = CompanionName(folder, source, command.companionExtension);
    return command.operation(source, companion.c_str(), 0, stamps.contentUrl, stamps.signatureUrl,
                             stamps.noStampCert ? 1 : 0);
}

Reported RunOnFiles(const BatchCommand& command, const std::string& folder,
                    const std::vector<std::string>& files, const StampKeys& stamps) {
    Reported firstFailure;
    bool folderMade = false;
    for (const std::string& source : files) {
        if (IsFolder(source.c_str())) continue;  // batch-7
        if (!folderMade) folderMade = MakeFolder(folder);
        const Reported failure = RunOnFile(command, folder, source.c_str(), stamps);
        if (!firstFailure) firstFailure = failure;
    }
    return firstFailure;
}

}  // namespace

DWORD RunFileBatch(const BatchCommand& command) {
    if (state.positionals.empty()) return ReportError(kNoFileMask);
    const std::string folder = TakeFolder();
    StampKeys stamps;
    SearchStores stores;
    if (const Reported failure = command.kind == BatchKind::Hash
                                     ? PrepareHash()
                                     : PrepareSignatures(command.kind, stamps, stores.open)) {
        return failure;
    }
    const std::vector<std::string> files = ExpandedFiles();
    PrintFolder(files.front());
    return RunOnFiles(command, folder, files, stamps);
}

}  // namespace kestrel
