// What the manual pages and the shells' completion are made of: the programs' own tables.
#pragma once

#include <string>
#include <vector>

namespace tables {

// A word of a usage and the sentence about it.
struct Word {
    std::string word;  // "-der", "-q[N]", "input file"
    std::string sentence;
};

struct ProgramCommand {
    std::string word;  // "-encr"
    std::string sentence;
    std::string synopsis;  // of several lines
    std::vector<Word> words;
    bool withSearch;
};

std::vector<ProgramCommand> ProgramCommands();
std::string SearchSynopsis();
std::vector<Word> SearchWords();

// The key of a usage's word without what marks it: "-q" for "-q[N]", "-du" for "-du*". Empty for
// what is no key.
std::string KeyOf(const Word& word);

// Whether the parser takes it: a usage may have more.
bool IsKnown(const std::string& key);

// Keys of one kind, as the parser's table spells them, with the minus sign.
enum class KeyKind { WithValue, WithSecret, Attached };
std::vector<std::string> KeysOf(KeyKind kind);

// Parts of a page, a script or the settings file; empty for a name that there is not.
std::string ManualPart(const std::string& name);
std::string CompletionPart(const std::string& name);
std::string SettingsPart(const std::string& name);

}  // namespace tables
