#include "batch/batch.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "batch/paths.h"
#include "batch/steps.h"
#include "front/core/catalogue.h"
#include "front/core/holders.h"
#include "front/core/keys.h"
#include "messages/stamp_keys.h"
#include "selection/providers.h"
#include "selection/search.h"

namespace kestrel {

SignatureSettings signatureSettings;

namespace {

constexpr MessageId kFolder = 140;
constexpr MessageId kHashAlgorithm = 170;
constexpr char kDefaultFolder[] = "./";

std::string TakeFolder() {
    const char* value = kDefaultFolder;
    TakeKey("dir", &value);
    return CompanionFolder(value);
}

DWORD PrepareHash() {
    const char* type = nullptr;
    if (TakeKey("provtype", &type)) hashProviderType = static_cast<DWORD>(std::atoi(type));
    TakeKey("provname", &hashProviderName);
    if (const DWORD code = RejectLeftoverKeys(); code != 0) return code;
    if (ProviderHasHashAlgorithm() == 0) return ReportError(kLastError);
    PrintMessage(kHashAlgorithm, 0);
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
DWORD PrepareSignatures(BatchKind kind, StampKeys& stamps, StoreVector& stores) {
    const bool signs = kind == BatchKind::Sign;
    if (signs) signatureSettings = {TakeKey("cert"), TakeKey("crl"), TakeKey("der")};
    stamps = TakeStampValues(kind);
    if (const DWORD code = ParseSearchCriterion(!signs); code != 0) return code;
    return SelectCertificates(stores, signs, signs ? Purpose::Signing : Purpose::Any);
}

// Names are printed as they are, whatever bytes they hold.
void PrintFolder() {
    PrintMessage(kFolder, 0);
    std::fputs(FolderPart(state.positionals.front()).c_str(), stdout);
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

DWORD RunOnFile(const BatchCommand& command, const std::string& folder, const char* source,
                const StampKeys& stamps) {
    std::fputs(source, stdout);
    std::fputs("... ", stdout);
    ShowOnTerminal();
    const std::string companion = CompanionName(folder, source, command.companionExtension);
    return command.operation(source, companion.c_str(), 0, stamps.contentUrl, stamps.signatureUrl,
                             stamps.noStampCert ? 1 : 0);
}

DWORD RunOnFiles(const BatchCommand& command, const std::string& folder, const StampKeys& stamps) {
    DWORD firstFailure = 0;
    bool folderMade = false;
    for (const char* source : state.positionals) {
        if (IsFolder(source)) continue;
        if (!folderMade) folderMade = MakeFolder(folder);
        const DWORD code = RunOnFile(command, folder, source, stamps);
        if (firstFailure == 0) firstFailure = code;
    }
    return firstFailure;
}

}  // namespace

DWORD RunFileBatch(const BatchCommand& command) {
    if (state.positionals.empty()) return ReportError(kNoFileMask);
    const std::string folder = TakeFolder();
    StampKeys stamps;
    SearchStores stores;
    const DWORD code = command.kind == BatchKind::Hash
                           ? PrepareHash()
                           : PrepareSignatures(command.kind, stamps, stores.open);
    if (code != 0) return code;
    PrintFolder();
    return RunOnFiles(command, folder, stamps);
}

}  // namespace kestrel
