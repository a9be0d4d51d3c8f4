// Parsing a command line, help on every level, and the exit status.
#include "kestrelctl/cli.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <numeric>

#include "kestrelctl/help_text.h"
#include "kestrelctl/output.h"
#include "platform/base/bytes.h"
#include "platform/base/error.h"
#include "platform/base/text.h"
#include "version/version.h"

namespace kestrelctl {
namespace {

constexpr const char* kProgram = "kestrelctl";
constexpr std::size_t kLongestWord = 64;  // of those that are held against the known ones

constexpr std::size_t kOptionColumn = 25;    // where the help of an option begins
constexpr std::size_t kSentenceColumn = 21;  // and the sentence of a command

constexpr const char* kPurpose =
    "Administers the identities, stores, trust and policy that kestrel uses. A command that has\n"
    "--machine works on the user's side without it, and on the one of all users with it.";

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
    {"request",
     "A request asks an authority for a certificate. It waits here, with its key in a container,\n"
     "until the answer is installed."},
    {"cache",
     "What was fetched from the network for certificate chains: lists, OCSP answers, issuers.\n"
     "It may be deleted at any time."},
    {"message",
     "A message is a signed, encrypted or time-stamped file (CMS). What is said of it can be\n"
     "relied on, and read by programs."},
    {"policy",
     "The policy says which time stamps kestrel asks for and accepts. Both sides have one."},
};

std::string WordsOf(const Command& command) {
    const bool oneWord = *command.verb == '\0';
    return oneWord ? command.group : std::string(command.group) + " " + command.verb;
}

// ---- a word that is meant for another ----------------------------------------------

// How many letters have to be put in, taken out or exchanged to get one word from the other.
std::size_t Distance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t exchanged = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({exchanged, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

// "; did you mean '...'?" with the nearest one, when about half of it is alike.
std::string Suggestion(std::string_view word, const std::vector<std::string>& known,
                       const std::string& before = {}) {
    if (known.empty() || word.size() > kLongestWord) return {};
    const auto distance = [&](const std::string& one) { return Distance(word, one); };
    const auto nearest = std::ranges::min_element(known, {}, distance);
    if (distance(*nearest) * 2 > nearest->size() + 1) return {};
    return "; did you mean '" + before + *nearest + "'?";
}

// ---- help --------------------------------------------------------------------------

// What a line of the synopsis is not broken in.
std::vector<std::string> SynopsisParts(const Command& command) {
    std::vector<std::string> parts = {std::string(kProgram) + " " + WordsOf(command)};
    if (*command.positionals != '\0') parts.emplace_back(command.positionals);
    for (const Option& option : command.options) {
        std::string part = std::string("[--") + option.name;
        if (option.value != nullptr) part += std::string(" ") + option.value;
        parts.push_back(part + (option.repeats ? "]..." : "]"));
    }
    return parts;
}

void PrintCommandHelp(const Command& command) {
    std::vector<std::string> parts = SynopsisParts(command);
    const std::string begin = "Usage: " + parts.front();
    parts.erase(parts.begin());
    std::printf("%s %s\n\n%s\n", begin.c_str(), Folded(parts, begin.size() + 1).c_str(),
                FoldedText(command.help).c_str());
    if (command.moreHelp != nullptr) std::printf("\n%s\n", command.moreHelp().c_str());
    if (command.options.size() == 0) return;
    std::printf("\nOptions:\n");
    for (const Option& option : command.options) {
        std::string left = std::string("--") + option.name;
        if (option.value != nullptr) left += std::string(" ") + option.value;
        std::printf("%s\n", HelpRow(left, kOptionColumn, option.help).c_str());
    }
}

// One line for each command of a group, or of all.
void PrintList(std::span<const Command> commands, std::string_view group) {
    const std::string words = group.empty() ? "COMMAND" : std::string(group) + " COMMAND";
    std::printf("Usage: %s %s [ARGUMENTS]\n\n", kProgram, words.c_str());
    std::printf("%s\n\nCommands:\n", FoldedText(PurposeOf(group)).c_str());
    for (const Command& command : commands) {
        if (!group.empty() && group != command.group) continue;
        const std::string_view help = command.help;
        std::printf(
            "%s\n",
            HelpRow(WordsOf(command), kSentenceColumn, help.substr(0, help.find('\n'))).c_str());
    }
    std::printf("\n'%s COMMAND --help' tells more of one.\n", kProgram);
}

const Option* FindOption(const Command& command, std::string_view name) {
    const auto* const found =
        std::ranges::find_if(command.options, [&](const Option& o) { return name == o.name; });
    return found == command.options.end() ? nullptr : found;
}

[[noreturn]] void RefuseOption(const Command& command, const std::string& word) {
    std::vector<std::string> known = {"--help"};
    for (const Option& option : command.options) known.push_back(std::string("--") + option.name);
    throw UsageError("unknown option '" + word + "'" + Suggestion(word, known));
}

// Takes the option at words[i] and, when it has one, its value.
void TakeOption(const Command& command, int count, char** words, int& i, Arguments& arguments) {
    const std::string_view word = words[i];
    const std::size_t equals = word.find('=');
    const std::string name(word.substr(2, equals == word.npos ? word.npos : equals - 2));
    const Option* option = FindOption(command, name);
    if (option == nullptr) RefuseOption(command, "--" + name);
    const bool before = arguments.Has(name);
    std::string& taken = arguments.options[name];
    if (option->value == nullptr) {
        if (equals != word.npos) throw UsageError("option '--" + name + "' takes no value");
        return;
    }
    if (equals == word.npos && ++i >= count) {
        throw UsageError("option '--" + name + "' needs a value");
    }
    if (before && !option->repeats) throw UsageError("option '--" + name + "' is given twice");
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
            RefuseOption(command, std::string(word));
        } else {
            arguments.positionals.emplace_back(word);
        }
    }
    if (arguments.positionals.size() < command.least) throw UsageError("too few arguments");
    if (arguments.positionals.size() > command.most) {
        throw UsageError("unexpected argument '" + arguments.positionals[command.most] + "'");
    }
}

bool IsHelp(std::string_view word) { return word == "--help" || word == "-h"; }

bool AsksForHelp(int count, char** words, int first) {
    for (int i = first; i < count && std::string_view(words[i]) != "--"; ++i) {
        if (IsHelp(words[i])) return true;
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

void RunCommand(const Command& command, int count, char** words) {
    const int first = *command.verb == '\0' ? 2 : 3;
    if (AsksForHelp(count, words, first)) return PrintCommandHelp(command);
    Arguments arguments;
    const ValueWiper wiper(arguments);
    Parse(command, count, words, first, arguments);
    command.run(arguments);
}

// The words of no command. With a first word that is known, the second one is the wrong one.
[[noreturn]] void RefuseWords(std::span<const Command> commands, const std::string& group,
                              const std::string& verb) {
    std::vector<std::string> groups;
    std::vector<std::string> verbs;
    for (const Command& command : commands) {
        groups.emplace_back(command.group);
        if (group == command.group) verbs.emplace_back(command.verb);
    }
    if (verbs.empty()) {
        throw UsageError("unknown command '" + group + "'" + Suggestion(group, groups));
    }
    if (verb.empty()) throw UsageError("'" + group + "' needs a second word");
    throw UsageError("unknown command '" + group + " " + verb + "'" +
                     Suggestion(verb, verbs, group + " "));
}

bool IsGroup(std::span<const Command> commands, std::string_view word) {
    return std::ranges::any_of(commands, [&](const Command& c) { return word == c.group; });
}

int Dispatch(std::span<const Command> commands, int count, char** words) {
    const std::string_view group = count > 1 ? words[1] : "";
    const std::string_view verb = count > 2 ? words[2] : "";
    for (const Command& command : commands) {
        if (group != command.group || (*command.verb != '\0' && verb != command.verb)) continue;
        RunCommand(command, count, words);
        return 0;
    }
    if (group == "--version" && count > 2) {
        throw UsageError("unexpected argument '" + std::string(verb) + "'");
    }
    if (group == "--version") {
        std::printf("%s %s (commit %s, %s)\n", kProgram, KESTREL_VERSION, kestrel::kCommit,
                    kestrel::kBuildKind);
    } else if (count < 2 || IsHelp(group) || group == "help") {
        PrintList(commands, {});
    } else if (IsHelp(verb) && IsGroup(commands, group)) {
        PrintList(commands, group);
    } else {
        RefuseWords(commands, std::string(group), std::string(verb));
    }
    return count < 2 ? 2 : 0;
}

}  // namespace

const char* PurposeOf(std::string_view group) {
    for (const Group& row : kGroups) {
        if (group == row.name) return row.purpose;
    }
    return kPurpose;
}

std::string Synopsis(const Command& command) {
    std::string text;
    for (const std::string& part : SynopsisParts(command)) {
        text += (text.empty() ? "" : " ") + part;
    }
    return text;
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

int Run(std::span<const Command> commands, int count, char** words) {
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
