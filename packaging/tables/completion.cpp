// Parts of the completion scripts, in words that bash and zsh share: branches of a case, and lists.
#include <algorithm>
#include <sstream>

#include "kestrelctl/command_table.h"
#include "packaging/tables/tables.h"
#include "stamps/settings/settings.h"

namespace tables {
namespace {

using kestrelctl::Command;

std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

std::string Blanked(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
    return Quoted(text);
}

// ---- kestrel ---------------------------------------------------------------------

std::vector<std::string> KeysOfCommand(const ProgramCommand& command) {
    std::vector<Word> words = command.words;
    if (command.withSearch) {
        for (const Word& word : SearchWords()) words.push_back(word);
    }
    std::vector<std::string> keys = {"-help"};
    for (const Word& word : words) {
        const std::string key = KeyOf(word);
        const bool fresh = std::ranges::find(keys, key) == keys.end();
        if (!key.empty() && fresh && IsKnown(key)) keys.push_back(key);
    }
    return keys;
}

std::string ProgramWords() {
    std::vector<std::string> words;
    for (const ProgramCommand& command : ProgramCommands()) words.push_back(command.word);
    words.insert(words.end(), {"--help", "-h", "help", "--version"});
    return Blanked(words);
}

// The parser folds case, and so does the script before it asks.
std::string ProgramKeys() {
    std::string branches;
    for (const ProgramCommand& command : ProgramCommands()) {
        std::string folded = command.word;
        std::ranges::transform(folded, folded.begin(),
                               [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        branches += "    " + folded + ") keys=" + Blanked(KeysOfCommand(command)) + " ;;\n";
    }
    return branches;
}

// ---- kestrelctl ------------------------------------------------------------------

// What can stand in a place, as the scripts call it.
std::string PlaceKind(const std::string& group, const std::string& place) {
    const bool name = place.starts_with("NAME") || place.starts_with("[NAME");
    if (group == "store" && name) return "store";
    const bool ofContainer = group == "identity" || group == "request";
    if (ofContainer && (name || place == "CONTAINER")) return "container";
    if (group == "policy" && (name || place == "LIST")) return name ? "setting" : "list";
    return place == "SUBJECT" || place == "DATA" || place.starts_with("ENTRY") ||
                   place == "THUMBPRINT"
               ? "none"
               : "file";
}

std::vector<std::string> PlaceKinds(const Command& command) {
    std::vector<std::string> kinds;
    std::istringstream places(command.positionals);
    for (std::string place; places >> place;) kinds.push_back(PlaceKind(command.group, place));
    return kinds;
}

std::string ToolLines() {
    std::string branches;
    for (const Command& command : kestrelctl::Commands()) {
        std::vector<std::string> options = {"--help"};
        std::vector<std::string> valued;
        for (const kestrelctl::Option& option : command.options) {
            options.push_back(std::string("--") + option.name);
            if (option.value != nullptr) valued.push_back(options.back());
        }
        const std::string words = std::string(command.group) +
                                  (*command.verb == '\0' ? "" : std::string(" ") + command.verb);
        branches += "    " + Quoted(words) + ") options=" + Blanked(options) +
                    " valued=" + Blanked(valued) + " places=" + Blanked(PlaceKinds(command)) +
                    " ;;\n";
    }
    return branches;
}

void AddOnce(std::vector<std::string>& words, const std::string& word) {
    if (std::ranges::find(words, word) == words.end()) words.push_back(word);
}

std::string ToolGroups() {
    std::vector<std::string> groups;
    for (const Command& command : kestrelctl::Commands()) AddOnce(groups, command.group);
    groups.insert(groups.end(), {"--help", "-h", "help", "--version"});
    return Blanked(groups);
}

std::string ToolVerbs() {
    std::vector<std::string> groups;
    for (const Command& command : kestrelctl::Commands()) {
        if (*command.verb != '\0') AddOnce(groups, command.group);
    }
    std::string branches;
    for (const std::string& group : groups) {
        std::vector<std::string> verbs;
        for (const Command& command : kestrelctl::Commands()) {
            if (group == command.group) verbs.emplace_back(command.verb);
        }
        verbs.emplace_back("--help");
        branches += "    " + group + ") verbs=" + Blanked(verbs) + " ;;\n";
    }
    return branches;
}

std::string Settings(bool lists) {
    std::vector<std::string> names;
    for (const Ferroline::PKI::Setting& setting : Ferroline::PKI::kSettings) {
        if ((setting.kind == Ferroline::PKI::SettingKind::List) == lists) {
            names.emplace_back(setting.name);
        }
    }
    return Blanked(names);
}

}  // namespace

std::string CompletionPart(const std::string& name) {
    if (name == "PROGRAM_COMMANDS") return ProgramWords();
    if (name == "PROGRAM_KEYS") return ProgramKeys();
    if (name == "KEYS_WITH_VALUE") return Blanked(KeysOf(KeyKind::WithValue));
    if (name == "KEYS_WITH_SECRET") return Blanked(KeysOf(KeyKind::WithSecret));
    if (name == "TOOL_GROUPS") return ToolGroups();
    if (name == "TOOL_VERBS") return ToolVerbs();
    if (name == "TOOL_LINES") return ToolLines();
    if (name == "SETTINGS") return Settings(false);
    if (name == "LISTS") return Settings(true);
    return {};
}

}  // namespace tables
