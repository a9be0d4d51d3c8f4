#include "kestrelctl/cli.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

#include "platform/base/error.h"
#include "platform/base/process.h"
#include "platform/base/text.h"

namespace kestrelctl {
namespace {

constexpr const char* kProgram = "kestrelctl";

std::string Synopsis(const Command& command) {
    std::string text = std::string(kProgram) + " " + command.group;
    if (*command.verb != '\0') text += std::string(" ") + command.verb;
    if (*command.positionals != '\0') text += std::string(" ") + command.positionals;
    for (const Option& option : command.options) {
        text += std::string(" [--") + option.name;
        if (option.value != nullptr) text += std::string(" ") + option.value;
        text += "]";
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

void PrintList(const std::vector<Command>& commands, std::string_view group) {
    std::printf("Usage: %s COMMAND [ARGUMENTS]\n\n", kProgram);
    std::printf("Administers the identities, stores, trust and policy that kestrel uses.\n\n");
    std::printf("Commands:\n");
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
void TakeOption(const Command& command, int count, const char* const* words, int& i,
                Arguments& arguments) {
    const std::string_view word = words[i];
    const std::size_t equals = word.find('=');
    const std::string name(word.substr(2, equals == word.npos ? word.npos : equals - 2));
    const Option* option = FindOption(command, name);
    if (option == nullptr) throw UsageError("unknown option '--" + name + "'");
    if (option->value == nullptr) {
        if (equals != word.npos) throw UsageError("option '--" + name + "' takes no value");
        arguments.options[name];
    } else if (equals != word.npos) {
        arguments.options[name] = word.substr(equals + 1);
    } else {
        if (++i >= count) throw UsageError("option '--" + name + "' needs a value");
        arguments.options[name] = words[i];
    }
}

Arguments Parse(const Command& command, int count, const char* const* words, int first) {
    Arguments arguments;
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
    return arguments;
}

bool AsksForHelp(int count, const char* const* words, int first) {
    for (int i = first; i < count && std::string_view(words[i]) != "--"; ++i) {
        if (std::string_view(words[i]) == "--help") return true;
    }
    return false;
}

int Dispatch(const std::vector<Command>& commands, int count, const char* const* words) {
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
            command.run(Parse(command, count, words, first));
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

// Columns on a terminal: code points, which is near enough for names.
std::size_t Width(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

}  // namespace

std::string Arguments::Get(std::string_view option, const std::string& fallback) const {
    const auto found = options.find(option);
    return found == options.end() ? fallback : found->second;
}

std::optional<std::string> Arguments::Find(std::string_view option) const {
    const auto found = options.find(option);
    if (found == options.end()) return std::nullopt;
    return found->second;
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

int Run(const std::vector<Command>& commands, int count, const char* const* words) {
    try {
        const int status = Dispatch(commands, count, words);
        if (!platform::OutputArrived()) throw Failure("cannot write the output");
        return status;
    } catch (const UsageError& error) {
        std::fprintf(stderr, "%s: %s\nTry '%s --help'.\n", kProgram, error.what(), kProgram);
        return 2;
    } catch (const platform::Error& error) {
        std::fprintf(stderr, "%s: %s\n", kProgram, Describe(error).c_str());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", kProgram, error.what());
    }
    return 1;
}

std::string JsonText(std::string_view text) {
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
            out += escape;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

void Listing::Print(bool json) const {
    if (json) {
        std::printf("[");
        for (std::size_t row = 0; row < rows_.size(); ++row) {
            std::printf(row == 0 ? "\n  {" : ",\n  {");
            for (std::size_t i = 0; i < columns_.size(); ++i) {
                std::printf("%s%s: %s", i == 0 ? "" : ", ", JsonText(columns_[i]).c_str(),
                            JsonText(rows_[row][i]).c_str());
            }
            std::printf("}");
        }
        std::printf(rows_.empty() ? "]\n" : "\n]\n");
        return;
    }
    std::vector<std::size_t> widths;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        widths.push_back(Width(columns_[i]));
        for (const auto& row : rows_) widths[i] = std::max(widths[i], Width(row[i]));
    }
    const auto print = [&](const std::vector<std::string>& row) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            const bool last = i + 1 == row.size();
            const std::size_t pad = last ? 0 : widths[i] - Width(row[i]) + 2;
            std::printf("%s%*s", row[i].c_str(), static_cast<int>(pad), "");
        }
        std::printf("\n");
    };
    print(columns_);
    for (const auto& row : rows_) print(row);
}

}  // namespace kestrelctl
