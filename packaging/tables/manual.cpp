// Parts of the manual pages, in the macros of man(7).
#include <cstdint>
#include <cstdio>
#include <map>
#include <sstream>

#include "kestrelctl/command_table.h"
#include "kestrelctl/policy_rules.h"
#include "packaging/tables/tables.h"

namespace tables {
namespace {

constexpr const char* kEmphasis = "\\fB";
constexpr const char* kPlaceholder = "\\fI";
constexpr const char* kPlain = "\\fR";

// The bytes behind the first one of a UTF-8 character, and the value bits of that.
constexpr struct {
    unsigned char lead;
    unsigned char mask;
    int more;
} kLeads[] = {{0xF0, 0x07, 3}, {0xE0, 0x0F, 2}, {0xC0, 0x1F, 1}};

// Our own texts are whole UTF-8.
std::string TakeBeyondAscii(std::string_view& text) {
    for (const auto& row : kLeads) {
        const auto first = static_cast<unsigned char>(text[0]);
        if (first < row.lead) continue;
        std::uint32_t value = first & row.mask;
        for (int i = 1; i <= row.more; ++i) {
            value = value << 6 |
                    (static_cast<unsigned char>(text[static_cast<std::size_t>(i)]) & 0x3FU);
        }
        text.remove_prefix(static_cast<std::size_t>(row.more) + 1);
        char escape[16];
        std::snprintf(escape, sizeof escape, "\\[u%04X]", static_cast<unsigned>(value));
        return escape;
    }
    text.remove_prefix(1);
    return {};
}

// Text as a page takes it: nothing in it acts.
std::string Roff(std::string_view text) {
    std::string page;
    while (!text.empty()) {
        const char c = text[0];
        if (static_cast<unsigned char>(c) >= 0x80) {
            page += TakeBeyondAscii(text);
            continue;
        }
        const bool begins = page.empty() || page.back() == '\n';
        if (begins && (c == '.' || c == '\'')) page += "\\&";
        if (c == '\\') {
            page += "\\e";
        } else if (c == '-') {
            page += "\\-";
        } else {
            page += c;
        }
        text.remove_prefix(1);
    }
    return page;
}

// The same broken into lines as the sources of pages have them.
std::string Prose(const std::string& text) {
    constexpr std::size_t kWidth = 66;
    std::istringstream words(text);
    std::string page;
    std::string line;
    for (std::string word; words >> word;) {
        if (!line.empty() && line.size() + 1 + word.size() > kWidth) {
            page += Roff(line) + "\n";
            line.clear();
        }
        line += (line.empty() ? "" : " ") + word;
    }
    return page + Roff(line) + "\n";
}

std::string Line(const char* font, const std::string& text) {
    return font + Roff(text) + kPlain + "\n";
}

std::string Tagged(const std::string& tag, const std::string& text) {
    const bool key = tag.starts_with('-');
    return ".TP\n" + Line(key ? kEmphasis : kPlaceholder, tag) + Prose(text);
}

std::string Verbatim(const std::string& text) { return ".nf\n" + Roff(text) + "\n.fi\n"; }

// ---- kestrel ---------------------------------------------------------------------

// What the program cannot tell of itself: on other systems kestrelctl is not there.
constexpr struct {
    const char* word;
    const char* note;
} kNotes[] = {
    {"-verify",
     "It tells by its end whether the signatures hold, not whose they are. For scripts, and for "
     "the reasons, there is kestrelctl message verify, which says who signed, when, and whether "
     "each part of that is proven."},
    {"-vsignf",
     "Any certificate that a signature brings along will do. Whether it is the one of a given "
     "signer, and trusted, is told by kestrelctl message verify, which takes the same files and "
     "--dir. Without it, a signature beside a file comes before one in the current folder."},
};

std::string NotesOn(const std::string& word) {
    std::string page;
    for (const auto& row : kNotes) {
        if (word == row.word) page += ".PP\n" + Prose(row.note);
    }
    return page;
}

std::string OfCommand(const ProgramCommand& command) {
    std::string page = ".SS \"" + Roff(command.word) + "\"\n" + Prose(command.sentence) + ".PP\n" +
                       Verbatim("kestrel" + command.synopsis);
    for (const Word& word : command.words) page += Tagged(word.word, word.sentence);
    if (command.withSearch) {
        page += ".PP\nCSC and CSC1 stand for the keys under\n.B Search criterion\nbelow.\n";
    }
    return page + NotesOn(command.word);
}

std::string Commands() {
    std::string page;
    for (const ProgramCommand& command : ProgramCommands()) page += OfCommand(command);
    return page;
}

std::string Search() {
    std::string page = Verbatim(SearchSynopsis());
    for (const Word& word : SearchWords()) page += Tagged(word.word, word.sentence);
    return page;
}

// ---- kestrelctl ------------------------------------------------------------------

// Paragraphs are parted by empty lines.
std::string Paragraphs(const std::string& text) {
    std::istringstream lines(text);
    std::string page;
    bool parted = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty()) {
            parted = true;
            continue;
        }
        if (parted) page += ".IP\n";
        parted = false;
        page += Prose(line);
    }
    return page;
}

std::string OfVerb(const kestrelctl::Command& command) {
    std::string page = ".TP\n" + Line(kEmphasis, Synopsis(command)) + Paragraphs(command.help);
    if (command.moreHelp != nullptr) {
        page += ".IP\n.BR kestrel\\-settings (5)\nhas the names.\n";
    }
    if (command.options.size() == 0) return page;
    page += ".RS\n";
    for (const kestrelctl::Option& option : command.options) {
        const std::string value = option.value == nullptr ? "" : std::string(" ") + option.value;
        page += Tagged("--" + std::string(option.name) + value, option.help);
    }
    return page + ".RE\n";
}

// Commands of one word stand together behind the groups.
std::string Verbs() {
    std::map<std::string, std::string> groups;
    std::string single;
    for (const kestrelctl::Command& command : kestrelctl::Commands()) {
        (*command.verb == '\0' ? single : groups[command.group]) += OfVerb(command);
    }
    std::string page;
    for (const auto& [name, verbs] : groups) {
        page += ".SS \"" + name + "\"\n" + Prose(kestrelctl::PurposeOf(name)) + verbs;
    }
    return page + ".SS \"Commands of one word\"\n" + single;
}

// ---- settings --------------------------------------------------------------------

std::string OfSetting(const kestrelctl::Setting& setting) {
    return ".TP\n" + Line(kEmphasis, std::string(setting.name)) +
           Prose(std::string(kestrelctl::KindName(setting.kind)) + ", default " +
                 kestrelctl::InitialText(setting) + ": " + std::string(setting.effect));
}

std::string Policy() {
    std::string page;
    for (const auto& setting : Ferroline::PKI::kSettings) page += OfSetting(setting);
    return page;
}

std::string OthersUnder(std::string_view key) {
    std::string page;
    for (const auto& setting : Ferroline::PKI::kOtherSettings) {
        if (setting.key == key) page += OfSetting(setting);
    }
    return page;
}

}  // namespace

std::string ManualPart(const std::string& name) {
    if (name == "COMMANDS") return Commands();
    if (name == "SEARCH") return Search();
    if (name == "VERBS") return Verbs();
    if (name == "POLICY") return Policy();
    if (name == "PLATFORM") return OthersUnder(Ferroline::PKI::kPlatformKey);
    if (name == "PROXIES") return OthersUnder(Ferroline::PKI::kProxyKey);
    return {};
}

}  // namespace tables
