// Reads the command line: its command, the keys with their values, the files.
#include <cstring>

#include "front/core/catalogue.h"
#include "front/core/keys.h"

namespace kestrel {

namespace {

constexpr char kHelpWord[] = "help";

bool IsPositional(const char* argument) { return argument[0] != '-'; }

void TakePositional(const char* argument) {
    if (state.firstFile == nullptr) {
        state.firstFile = argument;
    } else if (state.secondFile == nullptr) {
        state.secondFile = argument;
    }
    state.positionals.push_back(argument);
}

const KeyDefinition* FindDefinition(const char* word) {
    const auto found = state.keyTable->find({word, kFlag});
    if (found == state.keyTable->end()) return nullptr;
    // The order also calls the beginning of an attached word equal to it ("s" to "sd").
    const bool beginningOnly =
        found->keyClass == kAttached && std::strlen(word) < std::strlen(found->word);
    return beginningOnly ? nullptr : &*found;
}

Reported TakeCommand(const char* argument, KeyClass keyClass) {
    if (state.command != 0) return ReportError(kTooManyCommands, argument);
    state.command = static_cast<CommandNumber>(-keyClass);
    return 0;
}

void TakeAttached(const char* argument, const char* word) {
    const char* value = argument + 1 + std::strlen(word);
    state.givenKeys->insert({word, *value != '\0' ? value : nullptr});
}

// Reads the word at `index`, and moves `index` on when the next argument is its value.
Reported TakeWord(int& index, int argumentCount, const char* const* arguments) {
    const char* argument = arguments[index];
    const KeyDefinition* definition = FindDefinition(argument + 1);
    if (definition == nullptr) return ReportError(kUnknownKey, argument);

    switch (definition->keyClass) {
        case kFlag:
            state.givenKeys->insert({definition->word, nullptr});
            return 0;
        case kArgument:
            if (index + 1 >= argumentCount) return ReportError(kNoKeyArgument, argument);
            ++index;
            if (definition->valueKind == ValueKind::Secret) state.secretPositions.push_back(index);
            state.givenKeys->insert({definition->word, arguments[index], definition->valueKind});
            return 0;
        case kAttached:
            TakeAttached(argument, definition->word);
            return 0;
        default:
            return TakeCommand(argument, definition->keyClass);
    }
}

// Help stands alone beside its command.
Reported CheckHelp() {
    if (!TakeKey(kHelpWord)) return 0;
    if (!state.givenKeys->empty() || state.firstFile != nullptr || state.secondFile != nullptr) {
        return ReportError(kHelpNotAlone);
    }
    return LeaveToClosingLine(Unreported(kHelpAsked));
}

}  // namespace

Reported ParseCommandLine(int argumentCount, const char* const* arguments) {
    BuildKeyTable();
    for (int index = 1; index < argumentCount; ++index) {
        if (IsPositional(arguments[index])) {
            TakePositional(arguments[index]);
        } else if (const Reported failure = TakeWord(index, argumentCount, arguments)) {
            return failure;
        }
    }
    if (state.command == 0) return ReportError(kNoCommand);
    return CheckHelp();
}

const GivenKey* FindKey(const char* word) {
    const auto found = state.givenKeys->find({word, kWildcardValue});
    return found != state.givenKeys->end() ? &*found : nullptr;
}

bool TakeKey(const char* word, const char** value) {
    const auto found = state.givenKeys->find({word, kWildcardValue});
    if (found == state.givenKeys->end()) return false;
    if (value != nullptr) *value = found->value;
    state.givenKeys->erase(found);
    return true;
}

Reported RejectLeftoverKeys() {
    if (state.givenKeys->empty()) return 0;
    return ReportError(kWrongKey, state.givenKeys->begin()->word);
}

}  // namespace kestrel
