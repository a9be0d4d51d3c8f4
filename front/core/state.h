// The one process-wide record through which the parser hands its findings to the
// commands, and the ordered sets in it.
#pragma once

#include <windows.h>

#include <list>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace kestrel {

using CommandNumber = signed char;

// How a word of the command line is read. A command's class is its number, negated.
using KeyClass = int;
inline constexpr KeyClass kAttached = -1;  // -word or -wordvalue
inline constexpr KeyClass kFlag = 0;       // -word
inline constexpr KeyClass kArgument = 1;   // -word value

// Values that name files differ when any byte does (front-4); a secret one is overwritten
// on the line as soon as it was read.
enum class ValueKind { Text, File, Secret };

struct KeyDefinition {
    const char* word;  // without the leading minus sign
    KeyClass keyClass;
    ValueKind valueKind = ValueKind::Text;
};

// Whole words are compared with case folded, but only the length of the shorter one
// when either is attached: that recognises -q5 or -mAddressBook by their table rows.
struct KeyDefinitionOrder {
    bool operator()(const KeyDefinition& first, const KeyDefinition& second) const;
};
using KeyTable = std::set<KeyDefinition, KeyDefinitionOrder>;

struct GivenKey {
    const char* word;   // the table's own spelling
    const char* value;  // into argumentCopies; null when there is none
    ValueKind valueKind = ValueKind::Text;
};

// A value that compares equal to every value: the look-up form of a key.
inline constexpr char kWildcardValue[] = "\x01";

struct GivenKeyOrder {
    bool operator()(const GivenKey& first, const GivenKey& second) const;
};
using GivenKeys = std::set<GivenKey, GivenKeyOrder>;

using ArgumentCopies = std::vector<std::unique_ptr<char[]>>;
using DnStrings = std::list<char*>;
using FoundCertificates = std::list<PCCERT_CONTEXT>;

using StoreKind = int;
inline constexpr StoreKind kMachineStore = 1;
inline constexpr StoreKind kUserStore = 0;
inline constexpr StoreKind kFileStore = -1;

struct StoreSpec {
    StoreKind kind;
    const char* name;
    HCERTSTORE handle;
};

// -1 exactly one, 0 all, N: ask when fewer than N were found.
using CountPolicy = int;

struct ProgramState {
    bool russian = false;
    CommandNumber command = 0;
    std::unique_ptr<KeyTable> keyTable;
    std::unique_ptr<GivenKeys> givenKeys;
    std::unique_ptr<ArgumentCopies> argumentCopies;
    std::vector<int> secretPositions;  // of secret values among the arguments
    const char* firstFile = nullptr;
    const char* secondFile = nullptr;
    std::vector<const char*> positionals;
    std::unique_ptr<DnStrings> dnStrings;
    std::unique_ptr<std::list<StoreSpec>> storeSpecs;
    std::unique_ptr<FoundCertificates> foundCertificates;
    CountPolicy countPolicy = -1;
    DWORD chainChecking = 1;
    DWORD chainErrorsFatal = 0;
    DWORD revocationOff = 0;
};

extern ProgramState state;

}  // namespace kestrel
