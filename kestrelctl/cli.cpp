// Parsing a command line, help on every level, and the exit status.
#include "kestrelctl/cli.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

#include "kestrelctl/output.h"
#include "platform/base/bytes.h"
#include "platform/base/error.h"
#include "platform/base/text.h"

namespace kestrelctl {
namespace {

constexpr const char* kProgram = "kestrelctl";

constexpr const char* kPurpose =
    "Administers the identities, stores, trust and policy that kestrel uses. Each command works\n"
    "on the user's side; --machine takes the one of all users.";

struct Group {
    const char* name;
    const char* purpose;
};
constexpr Group kGroups[] = {
    {"identity",
     "An identity is a private key in a container and the certificate that belongs to it. The\n"
     "certificate stands in the store \"My\", where kestrel finds it by -dn, and leads to the "
     "key."},
    {"store",
     "Stores keep certificates and CRLs by name: \"My\" those with a key of yours, \"Root\" the "
     "ones\n"
     "that are trusted, \"CA\" those between; any other name is a store of your own."},
    {"cache",
     "What was fetched from the network for certificate chains: lists, OCSP answers, issuers.\n"
     "It may be deleted at any time."},
    {"message",
     "A message is a signed, encrypted or time-stamped file (CMS). What is said of it can be\n"
     "relied on, and read by programs."},
    {"policy",
     "The policy says which time stamps kestrel asks for and accepts. Both sides have one."},
};

const char* PurposeOf(std::string_view group) {
    for (const Group& row : kGroups) {
        if (group == row.name) return row.purpose;
    }
    return kPurpose;
}

std::string Synopsis(const Command& command) {
    std::string text = std::string(kProgram) + " " + command.group;
    if (*command.verb != '\0') text += std::string(" ") + command.verb;
    if (*command.positionals != '\0') text += std::string(" ") + command.positionals;
    for (const Option& option : command.options) {
        text += std::string(" [--") + option.name;
        if (option.value != nullptr) text += std::string(" ") + option.value;
        text += option.repeats ? "]..." : "]";
    }
    return text;
}

void PrintCommandHelp(const Command& command) {
    std::printf("Usage: %s\n\n%s\n", Synopsis(command).c_str(), command.help);
    if (command.options.empty()) return;
    std::printf("\nOptions:\n");
    for (const Option& option : command.options) {
        std::string left = std::string("--") + option.name;
        if (option.value != nullptr) left += std::string(" ") + option.value;
        std::printf("  %-22s %s\n", left.c_str(), option.help);
    }
}

// One line for each command of a group, or of all.
void PrintList(const std::vector<Command>& commands, std::string_view group) {
    const std::string words = group.empty() ? "COMMAND" : std::string(group) + " COMMAND";
    std::printf("Usage: %s %s [ARGUMENTS]\n\n", kProgram, words.c_str());
    std::printf("%s\n\nCommands:\n", group.empty() ? kPurpose : PurposeOf(group));
    for (const Command& command : commands) {
        if (!group.empty() && group != command.group) continue;
        std::string left = command.group;
        if (*command.verb != '\0') left += std::string(" ") + command.verb;
        const std::string_view help = command.help;
        std::printf("  %-18s %.*s\n", left.c_str(), static_cast<int>(help.find('\n')), help.data());
    }
    std::printf("\n'%s COMMAND --help' tells more of one.\n", kProgram);
}

const Option* FindOption(const Command& command, std::string_view name) {
    const auto found = std::find_if(command.options.begin(), command.options.end(),
                                    [&](const Option& o) { return name == o.name; });
    return found == command.options.end() ? nullptr : &*found;
}

// Takes the option at words[i] and, when it has one, its value.
void TakeOption(const Command& command, int count, char** words, int& i, Arguments& arguments) {
    const std::string_view word = words[i];
    const std::size_t equals = word.find('=');
    const std::string name(word.substr(2, equals == word.npos ? word.npos : equals - 2));
    const Option* option = FindOption(command, name);
    if (option == nullptr) throw UsageError("unknown option '--" + name + "'");
    std::string& taken = arguments.options[name];
    if (option->value == nullptr) {
        if (equals != word.npos) throw UsageError("option '--" + name + "' takes no value");
        return;
    }
    if (equals == word.npos && ++i >= count) {
        throw UsageError("option '--" + name + "' needs a value");
    }
    char* value = equals == word.npos ? words[i] : words[i] + equals + 1;
    if (option->repeats) arguments.lists[name].emplace_back(value);
    platform::Wipe(taken);
    taken = value;
    // Everybody may read the arguments of a running process.
    if (option->secret) platform::Wipe(value, taken.size());
}

void Parse(const Command& command, int count, char** words, int first, Arguments& arguments) {
    bool optionsEnded = false;
    for (int i = first; i < count; ++i) {
        const std::string_view word = words[i];
        if (!optionsEnded && word == "--") {
            optionsEnded = true;
        } else if (!optionsEnded && word.starts_with("--")) {
            TakeOption(command, count, words, i, arguments);
        } else if (!optionsEnded && word.size() > 1 && word[0] == '-') {
            throw UsageError("unknown option '" + std::string(word) + "'");
        } else {
            arguments.positionals.emplace_back(word);
        }
    }
    if (arguments.positionals.size() < command.least) throw UsageError("too few arguments");
    if (arguments.positionals.size() > command.most) {
        throw UsageError("unexpected argument '" + arguments.positionals[command.most] + "'");
    }
}

bool AsksForHelp(int count, char** words, int first) {
    for (int i = first; i < count && std::string_view(words[i]) != "--"; ++i) {
        if (std::string_view(words[i]) == "--help") return true;
    }
    return false;
}

// Option values may be passwords; their copies go with the command.
class ValueWiper {
  public:
    explicit ValueWiper(Arguments& arguments) : arguments_(arguments) {}
    ~ValueWiper() {
        for (auto& [name, value] : arguments_.options) platform::Wipe(value);
    }
    ValueWiper(const ValueWiper&) = delete;
    ValueWiper& operator=(const ValueWiper&) = delete;

  private:
    Arguments& arguments_;
};

int Dispatch(const std::vector<Command>& commands, int count, char** words) {
    if (count < 2) {
        PrintList(commands, {});
        return 2;
    }
    const std::string_view group = words[1];
    if (group == "--help" || group == "help") {
        PrintList(commands, {});
        return 0;
    }
    const std::string_view verb = count > 2 ? words[2] : "";
    bool knownGroup = false;
    for (const Command& command : commands) {
        if (group != command.group) continue;
        knownGroup = true;
        const bool oneWord = *command.verb == '\0';
        if (!oneWord && verb != command.verb) continue;
        const int first = oneWord ? 2 : 3;
        if (AsksForHelp(count, words, first)) {
            PrintCommandHelp(command);
        } else {
            Arguments arguments;
            const ValueWiper wiper(arguments);
            Parse(command, count, words, first, arguments);
            command.run(arguments);
        }
        return 0;
    }
    if (!knownGroup) throw UsageError("unknown command '" + std::string(group) + "'");
    if (verb == "--help") {
        PrintList(commands, group);
        return 0;
    }
    throw UsageError(verb.empty() ? "'" + std::string(group) + "' needs a second word"
                                  : "unknown command '" + std::string(group) + " " +
                                        std::string(verb) + "'");
}

std::string Describe(const platform::Error& error) {
    const char* text = platform::SystemText(error.Code(), false);
    std::string message = text != nullptr ? text : "unknown error";
    if (!error.Detail().empty()) {
        if (message.ends_with('.')) message.pop_back();
        message += ": " + error.Detail();
    }
    char code[16];
    std::snprintf(code, sizeof code, " (0x%X)", static_cast<unsigned>(error.Code()));
    return message + code;
}

}  // namespace

std::string Arguments::Get(std::string_view option, const std::string& fallback) const {
    const auto found = options.find(option);
    return found == options.end() ? fallback : found->second;
}

const std::string* Arguments::Find(std::string_view option) const {
    const auto found = options.find(option);
    return found == options.end() ? nullptr : &found->second;
}

std::vector<std::string> Arguments::List(std::string_view option) const {
    const auto found = lists.find(option);
    return found == lists.end() ? std::vector<std::string>() : found->second;
}

unsigned long Arguments::Number(std::string_view option, unsigned long fallback,
                                unsigned long least) const {
    const auto found = options.find(option);
    if (found == options.end()) return fallback;
    const std::string& text = found->second;
    unsigned long value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || value < least) {
        throw UsageError("'--" + std::string(option) + "' needs a number of at least " +
                         std::to_string(least) + ", not '" + text + "'");
    }
    return value;
}

int Run(const std::vector<Command>& commands, int count, char** words) {
    try {
        const int status = Dispatch(commands, count, words);
        FinishOutput();
        return status;
    } catch (const ExitStatus& status) {
        return status.Value();
    } catch (const UsageError& error) {
        Complain(std::string(kProgram) + ": " + error.what());
        Complain(std::string("Try '") + kProgram + " --help'.");
        return 2;
    } catch (const platform::Error& error) {
        Complain(std::string(kProgram) + ": " + Describe(error));
    } catch (const std::exception& error) {
        Complain(std::string(kProgram) + ": " + error.what());
    }
    return 1;
}

}  // namespace kestrelctl
