// What stands around every command, from the banner to the line that closes.
#include "front/main_frame.h"

#include <clocale>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string_view>

#include "front/core/keys.h"
#include "front/core/secret.h"
#include "front/core/state.h"
#include "front/dispatch.h"
#include "front/help.h"
#include "version/version.h"

namespace kestrel {

namespace {

constexpr DWORD kBareStart = 1;

void PrintClosingError(DWORD code) {
    // Lower case and eight digits, unlike the error line (front-2).
    std::printf("[ErrorCode: 0x%08lx]\n", static_cast<unsigned long>(code));
    std::fflush(stdout);
}

void PrintClosingLine(DWORD result) {
    if (result != 0) return PrintClosingError(result);
    std::printf("[ReturnCode: 0]\n");
    std::fflush(stdout);
}

std::vector<const char*> CopiedArguments() {
    std::vector<const char*> arguments;
    for (const auto& copy : *state.argumentCopies) arguments.push_back(copy.get());
    return arguments;
}

// The system shows the line of a running process to others.
void HideSecrets(char** arguments) {
    for (const int position : state.secretPositions) {
        WipeText(arguments[position]);
    }
}

void PrintCommit() {
    static constexpr TextPair kCommitTitle = {"Коммит: ", "Commit: "};
    PrintPair(kCommitTitle, 0);
    PrintText(kCommit, 1);
}

// What people try first at a program that they do not know (front-6). False for any other line.
bool AnsweredFirstQuestion(std::string_view word) {
    if (word == "--version") {
        PrintCommit();
        return true;
    }
    if (word != "--help" && word != "-h" && word != "help") return false;
    PrintCommandList();
    return true;
}

DWORD ParseAndRun(char** originals) {
    const std::vector<const char*> arguments = CopiedArguments();
    const DWORD parsed = ParseCommandLine(static_cast<int>(arguments.size()), arguments.data());
    HideSecrets(originals);
    if (parsed == kNoCommand) PrintCommandList();
    if (parsed == kHelpAsked) PrintCommandUsage();
    if (parsed != 0) return parsed;

    const CommandRoutine routine = FindRoutine(state.command);
    return routine != nullptr ? routine() : 0;
}

DWORD RunProcess(int argumentCount, char** arguments) {
    CopyArguments(argumentCount, arguments);
    PrintPair(Banner(), 0);
    PrintMessage(say::kBannerContinuation, 1);

    DWORD result = kBareStart;
    if (argumentCount == 1) {
        PrintCommandList();
    } else if (argumentCount == 2 && AnsweredFirstQuestion(arguments[1])) {
        result = 0;
    } else {
        result = ParseAndRun(arguments);
    }
    ReleaseState();
    PrintClosingLine(result);
    return result;
}

// A command whose words did not arrive has not told what it did (front-5).
bool OutputArrived() { return std::fflush(stdout) == 0 && std::ferror(stdout) == 0; }

void CloseStore(const StoreSpec& store) {
    if (store.handle == nullptr) return;
    if (CertCloseStore(store.handle, CERT_CLOSE_STORE_FORCE_FLAG)) return;
    std::printf("Error in CertCloseStore: %u", static_cast<unsigned>(GetLastError()));
    std::fflush(stdout);
}

}  // namespace

void CopyArguments(int argumentCount, const char* const* arguments) {
    state.argumentCopies = std::make_unique<ArgumentCopies>();
    for (int i = 0; i < argumentCount; ++i) {
        const std::size_t size = std::strlen(arguments[i]) + 1;
        auto copy = std::make_unique<char[]>(size);
        std::memcpy(copy.get(), arguments[i], size);
        state.argumentCopies->push_back(std::move(copy));
    }
}

void ReleaseState() {
    state.givenKeys.reset();
    state.keyTable.reset();
    state.dnStrings.reset();
    if (state.storeSpecs != nullptr) {
        for (const StoreSpec& store : *state.storeSpecs) CloseStore(store);
    }
    state.storeSpecs.reset();
    state.foundCertificates.reset();
    for (const int position : state.secretPositions) {
        WipeText((*state.argumentCopies)[static_cast<std::size_t>(position)].get());
    }
    state.secretPositions.clear();
}

DWORD RunGuarded(ProcessSteps steps, int argumentCount, char** arguments) {
    try {
        return steps(argumentCount, arguments);
    } catch (const std::exception& exception) {
        std::printf("Exception:%s\n", exception.what());
    } catch (...) {
        std::printf("Unknown exception.\n");
    }
    std::fflush(stdout);
    const DWORD error = GetLastError();
    PrintClosingError(error);
    return error;
}

DWORD RunMain(int argumentCount, char** arguments) {
    std::setlocale(LC_ALL, "");
    ChooseLanguage();
    const DWORD result = RunGuarded(RunProcess, argumentCount, arguments);
    return result == 0 && !OutputArrived() ? ERROR_WRITE_FAULT : result;
}

}  // namespace kestrel
