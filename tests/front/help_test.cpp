// The help, against texts written by hand.
#include "front/help.h"

#include <algorithm>

#include "front/core/catalogue.h"
#include "tests/front/support.h"

namespace kestrel {
namespace {

using HelpTest = FrontTest;

const std::string kList = R"(Supported commands:
 -encr        Create encrypted message.
 -decr        Decrypt message.
 -sign        Create signed message.
 -addsign     Add signature to a message.
 -delsign     Delete signature from a message.
 -verify      Verify message signature.
 -hash        Calculate file hashes into 'source_file.hsh'.
 -vhash       Verify file hashes, created with '-hash' command.
 -singf       Create file signatures into 'source_file.sgn'.
 -vsignf      Verify file signatures, created with '-signf' command.
 -copycert    Copy certificates into a specified store.
 -CSPcert     Copy certificate from key container to specified store.
 -delcert     Delete certificate from a specified store.
 -creatrqst   Create certificate request and save it into PKCS #10 file.
 -instcert    Install certificate from PKCS #7 file or certificate file.
 -creatcert   Create certificate request, send it to CA,
              get and install issued certificate.
 -pendcert    Check pending certificate request,
              get and install issued certificate.
 -addattr     Add an unauthenticated attribute to signature.
 -creatuser   Register new Ferroline CA user.
 -listDN      Show Ferroline CA name policy.
 -checkreg    Check user registration status.
 -help        Print help.
)";

std::string Usage(int number, bool russian = false) {
    state.russian = russian;
    state.command = static_cast<CommandNumber>(number);
    return Printed(PrintCommandUsage);
}

TEST_F(HelpTest, CommandList) {
    EXPECT_EQ(Printed(PrintCommandList), kList + Printed(PrintSearchUsage));
}

TEST_F(HelpTest, RussianCommandListHasTheSameLayout) {
    const std::string english = Printed(PrintCommandList);
    state.russian = true;
    const std::string printed = Printed(PrintCommandList);
    EXPECT_NE(printed.find("\n -signf       "), std::string::npos) << "spelled right here";
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'),
              std::count(english.begin(), english.end(), '\n'));
}

// ---- the frame of every usage ------------------------------------------------

// From number 9 on the description is that of the next command.
const struct {
    int number;
    bool search;
    const char* described;  // the entry of the list that stands first
    std::string word;
} kUsages[] = {
    {2, true, "encr", "encr"},
    {3, true, "decr", "decr"},
    {4, true, "sign", "sign"},
    {5, true, "addsign", "addsign"},
    {6, true, "delsign", "delsign"},
    {7, true, "verify", "verify"},
    {9, true, "vhash", "hash"},
    {10, true, "singf", "vhash"},
    {11, true, "vsignf", "signf"},
    {12, true, "copycert", "vsignf"},
    {13, true, "CSPcert", "copycert"},
    {14, true, "delcert", "CSPcert"},
    {15, true, "creatrqst", "delcert"},
    {16, false, "instcert", "creatrqst"},
    {17, false, "creatcert", "instcert"},
    {18, false, "pendcert", "creatcert"},
    {19, false, "", "pendcert"},
    {21, true, "creatuser", "addattr"},
    {22, false, "listDN", "creatuser"},
    {23, false, "checkreg", "listDN"},
    {24, false, "help", "checkreg"},
};

// The explanatory lines: what stands between the synopsis and the closing blank line.
std::string Explanation(const std::string& printed, std::size_t begin) {
    return printed.substr(begin, printed.find("\n\n", begin) + 1 - begin);
}

std::string EntryOf(const std::string& word) {
    if (word.empty()) return "";
    const std::size_t begin = kList.find("\n -" + word + " ") + 1;
    return kList.substr(begin, kList.find("\n -", begin) + 1 - begin);
}

TEST_F(HelpTest, EveryUsageHasItsFrame) {
    for (const auto& row : kUsages) {
        std::string expected = EntryOf(row.described);
        expected.append("Command usage:\n [path]kestrel -").append(row.word).append(" ");
        const std::string printed = Usage(row.number);
        EXPECT_EQ(printed.substr(0, expected.size()), expected);
        const std::string end = row.search ? "\n\n" + Printed(PrintSearchUsage) : "\n\n";
        EXPECT_TRUE(printed.ends_with(end)) << row.number;
        EXPECT_EQ(printed.find("Criterion (CSC") != std::string::npos, row.search) << row.number;
    }
}

// Takes what stands before `end` off `text`, and `end` with it.
std::string Take(std::string& text, char end) {
    const std::size_t length = std::min(text.find(end), text.size());
    std::string taken = text.substr(0, length);
    text.erase(0, length + 1);
    return taken;
}

// The keys and the names in angle brackets of a synopsis, the command's own word left out.
std::vector<std::string> WordsOf(std::string synopsis) {
    std::vector<std::string> words;
    Take(synopsis, '-');
    Take(synopsis, ' ');
    while (!synopsis.empty()) {
        const char mark = synopsis.front();
        synopsis.erase(0, 1);
        if (mark == '<') words.push_back(Take(synopsis, '>'));
        if (mark != '-') continue;
        if (synopsis.front() == '{') {
            std::string choices = Take(synopsis, '}').substr(1);
            while (!choices.empty()) words.push_back("-" + Take(choices, '|'));
        } else {
            const std::size_t length = synopsis.find_first_of("[]|> ");
            words.push_back("-" + synopsis.substr(0, length));
            synopsis.erase(0, length);
        }
    }
    return words;
}

bool Explains(const std::string& lines, const std::string& word) {
    for (const char* end : {" ", "* "}) {
        std::string start = "\n ";
        start.append(word).append(end);
        if (("\n" + lines).find(start) != std::string::npos) return true;
    }
    return false;
}

TEST_F(HelpTest, EveryWordIsExplained) {
    std::size_t words = 0;
    for (const auto& row : kUsages) {
        for (const bool russian : {false, true}) {
            const std::string printed = Usage(row.number, russian);
            const std::size_t synopsis = printed.find("]kestrel ") + 8;
            const std::size_t end = printed.find("\n\n", synopsis);
            const std::string lines = Explanation(printed, end + 2);
            for (std::string word : WordsOf(printed.substr(synopsis, end - synopsis))) {
                // The English usage of this command has the Cyrillic word.
                if (row.number == 15 && word == "CSC") word = "КПС";
                EXPECT_TRUE(Explains(lines, word)) << row.number << " " << word << "\n" << lines;
                ++words;
            }
        }
    }
    EXPECT_GT(words, 300u);
}

// ---- whole texts ------------------------------------------------------------

TEST_F(HelpTest, OddWordsStay) {
    for (const int number : {3, 4, 5, 11, 16, 17, 18, 19}) {
        const std::string line = "\n -askpin       querry key container password from console\n";
        EXPECT_NE(Usage(number).find(line), std::string::npos) << number;
    }
    EXPECT_NE(Usage(18).find("\n -tpassword    speciry marker password\n"), std::string::npos);
}

}  // namespace
}  // namespace kestrel
