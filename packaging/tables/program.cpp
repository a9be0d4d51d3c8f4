// The tables of kestrel: its commands, their usage, its keys.
#include <sstream>

#include "front/core/keys.h"
#include "front/help.h"
#include "front/usage_texts.h"
#include "packaging/tables/tables.h"

namespace tables {
namespace {

// Where the sentence begins, in the list of commands and in a usage.
constexpr std::size_t kListColumn = 14;
constexpr std::size_t kUsageColumn = 14;

struct CommandRow {
    const char* word;
    const kestrel::Usage* usage;
    bool withSearch;
    const char* line;
};

constexpr CommandRow kCommandRows[] = {
#define TABLE_ROW(number, word, routine, usage, withSearch, russian, english) \
    {word, &kestrel::usage, withSearch, english},
    KESTREL_COMMAND_ROWS(TABLE_ROW)
#undef TABLE_ROW
};

// The words of a text with one blank between them.
std::string Joined(const std::string& text) {
    std::istringstream words(text);
    std::string joined;
    for (std::string word; words >> word;) joined += (joined.empty() ? "" : " ") + word;
    return joined;
}

Word WordOf(const std::string& text) {
    // A word that is longer than its column ends at its first blank.
    const bool fits = text.size() > kUsageColumn && text[kUsageColumn] == ' ';
    const std::size_t end = fits ? kUsageColumn : text.find(' ', 1);
    return {Joined(text.substr(0, end)), Joined(text.substr(end))};
}

std::vector<Word> WordsOf(const kestrel::Usage& usage) {
    std::vector<Word> words;
    for (const kestrel::TextPair* line : usage.lines) {
        words.push_back(WordOf(line->english));
        // One English help has the Russian word (front-1), which a page may lack the letters for.
        if (words.back().word == "КПС") words.back().word = "CSC";
    }
    return words;
}

// Some usages show the criterion although their command takes none.
bool TakesSearch(const CommandRow& row) {
    return row.withSearch &&
           std::string_view(row.usage->synopsis.english).find("<CSC") != std::string_view::npos;
}

bool IsOf(KeyKind kind, const kestrel::KeyDefinition& key) {
    const bool secret = key.valueKind == kestrel::ValueKind::Secret;
    switch (kind) {
        case KeyKind::WithValue:
            return key.keyClass == kestrel::kArgument;
        case KeyKind::WithSecret:
            return key.keyClass == kestrel::kArgument && secret;
        case KeyKind::Attached:
            return key.keyClass == kestrel::kAttached;
    }
    return false;
}

// The lines of the criterion: its title, the synopsis, an empty one, the words.
std::vector<std::string> SearchLines() {
    std::istringstream text(kestrel::SearchCriterion().english);
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    return lines;
}

}  // namespace

std::vector<ProgramCommand> ProgramCommands() {
    std::vector<ProgramCommand> commands;
    for (const CommandRow& row : kCommandRows) {
        commands.push_back({std::string("-") + row.word,
                            Joined(std::string(row.line).substr(kListColumn)),
                            row.usage->synopsis.english, WordsOf(*row.usage), TakesSearch(row)});
    }
    return commands;
}

std::string SearchSynopsis() {
    std::string synopsis;
    const auto lines = SearchLines();
    for (std::size_t i = 1; i < lines.size() && !lines[i].empty(); ++i) {
        synopsis += (synopsis.empty() ? "" : "\n") + lines[i];
    }
    return synopsis;
}

std::vector<Word> SearchWords() {
    std::vector<std::string> texts;
    bool words = false;
    for (const std::string& line : SearchLines()) {
        const bool begins = line.size() > 1 && line[1] != ' ';
        if (words && begins) texts.push_back(line);
        if (words && !begins && !texts.empty()) texts.back() += line;
        words = words || line.empty();
    }
    std::vector<Word> found;
    for (const std::string& text : texts) found.push_back(WordOf(text));
    return found;
}

std::string KeyOf(const Word& word) {
    return word.word.starts_with('-') ? word.word.substr(0, word.word.find_first_of("*[")) : "";
}

bool IsKnown(const std::string& key) {
    kestrel::BuildKeyTable();
    const auto found = kestrel::state.keyTable->find({key.c_str() + 1, kestrel::kFlag});
    return found != kestrel::state.keyTable->end();
}

std::vector<std::string> KeysOf(KeyKind kind) {
    kestrel::BuildKeyTable();
    std::vector<std::string> keys;
    for (const kestrel::KeyDefinition& key : *kestrel::state.keyTable) {
        if (IsOf(kind, key)) keys.push_back(std::string("-") + key.word);
    }
    return keys;
}

}  // namespace tables
