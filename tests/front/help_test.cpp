// The help, against texts written by hand.
#include "front/help.h"

#include <algorithm>

#include "front/catalogue.h"
#include "support.h"

namespace kestrel {
namespace {

using HelpTest = FrontTest;

const std::string kSearch = R"(Certificate Search Criterion (CSC/CSC1):
 [-dn <RDN>]n [-{m|u}[<name>]|-f <file>]k [-all|-1|-q[N]]
   [{-nochain|-errchain [-norev]}]

 -dn           search string in RDN (otherwise search does not depend on RDN)
 RDN           string list for certificate search (comma-separated)
               All these strings must exist in certificate subject
 -m            search in machine certificate store (LOCAL_MACHINE)
 -u*           search in user certificate store (CURRENT_USER)
 name          store name (defaults: "My" for sign and decrypt
               and "My+Addressbook" for others)
 -f            use message or certificate file as store
 file          file name
 -all*         use all found certificates (* for CSC)
 -1*           only one certificate shall be found,
               otherwise return error (* for CSC1)
 -q[N]         if less than N certificates found prompt select
               desired certificate dialog (by default N=10)
 -nochain      do not verify certificate chains
 -norev        do not check certificates for revocation
 -errchain     terminate with error if at least one certificate
               is not verified

)";

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

TEST_F(HelpTest, CommandList) { EXPECT_EQ(Printed(PrintCommandList), kList + kSearch); }

TEST_F(HelpTest, RussianCommandListHasTheSameLayout) {
    state.russian = true;
    const std::string printed = Printed(PrintCommandList);
    EXPECT_TRUE(printed.starts_with("Поддерживаемые команды:\n -encr        ")) << printed;
    EXPECT_NE(printed.find("\n -signf       "), std::string::npos) << "spelled right here";
    EXPECT_EQ(printed.find("singf"), std::string::npos);
    EXPECT_NE(printed.find("\nКритерий поиска сертификатов (КПС/КПС1):\n"), std::string::npos);
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'),
              std::count(kList.begin(), kList.end(), '\n') +
                  std::count(kSearch.begin(), kSearch.end(), '\n'));
}

// ---- the frame of every usage ------------------------------------------------

struct UsageRow {
    int number;
    bool search;
    const char* description;
    const char* synopsis;
};

// From number 9 on the description is that of the next command.
const UsageRow kUsages[] = {
    {2, true, " -encr        Create encrypted message.\n",
     " -encr <CSC> [-der] <input file> <message>"},
    {3, true, " -decr        Decrypt message.\n",
     " -decr <CSC1> [-start] [-pin <pass>|-askpin] <message> <output file>"},
    {4, true, " -sign        Create signed message.\n",
     " -sign <CSC1> [-nocert] [-crl] [-der] [-authattr <attribute>]n times\n"
     "   [-attr <attribute>]k times [-sd[<URL>]] [-ss[<URL>]]\n"
     "   [-pin <password>|-askpin] <input file> <message>"},
    {5, true, " -addsign     Add signature to a message.\n",
     " -addsign <CSC1> [-nocert] [-crl] [-sd[<URL>]] [-ss[<URL>]]\n"
     "   [-pin <password>|-askpin] [-authattr <attribute>]n count\n"
     "   [-attr <attribute>]k times <message>"},
    {6, true, " -delsign     Delete signature from a message.\n", " -delsign <CSC1> <message>"},
    {7, true, " -verify      Verify message signature.\n",
     " -verify [<CSC> [-verall]] [-start] [-sd[<time>]] [-ss[<time>]]\n"
     "   <message> [<output file>]"},
    {9, true, " -vhash       Verify file hashes, created with '-hash' command.\n",
     " -hash [-dir <folder>] [-provtype <N>] [-provname <CSP>] <file mask>"},
    {10, true, " -singf       Create file signatures into 'source_file.sgn'.\n",
     " -vhash [-dir <folder>] [-provtype <N>] [-provname <CSP>]\n   <file mask>"},
    {11, true, " -vsignf      Verify file signatures, created with '-signf' command.\n",
     " -signf [-dir <folder>] <CSC1> <file mask> [-cert] [-crl] [-der]\n"
     "   [-sd[<URL>]] [-ss[<URL>]] [-nostampcert] [-pin <password>|-askpin]"},
    {12, true, " -copycert    Copy certificates into a specified store.\n",
     " -vsignf [-dir <folder>] [-sd[<time>]] [-ss[<time>]] <CSC> <file mask>"},
    {13, true, " -CSPcert     Copy certificate from key container to specified store.\n",
     " -copycert <CSC> [-{dm|du}[<name>]|-df <file> [-der]]"},
    {14, true, " -delcert     Delete certificate from a specified store.\n",
     " -CSPcert [-provtype <N>] [-provname <CSP>] [-cont <container>]\n"
     "   [-ku|-km] [-ex|-sg] [-{dm|du}[<name>]|-df <file> [-der]]"},
    {15, true, " -creatrqst   Create certificate request and save it into PKCS #10 file.\n",
     " -delcert <CSC> [-yes]"},
    {16, false, " -instcert    Install certificate from PKCS #7 file or certificate file.\n",
     " -creatrqst -dn <RDN> [-provtype <N>] [-provname <CSP>] [-SMIME]\n"
     "   [-nokeygen|-exprt] [-ex|-sg|-both] [-ku|-km] [-cont <name>]\n"
     "   [-silent] [-pin <password>|-askpin] [-certusage <OIDs>] [-der]\n"
     "   [-ext <extension>]n times <file name>"},
    {17, false,
     " -creatcert   Create certificate request, send it to CA,\n"
     "              get and install issued certificate.\n",
     " -instcert [-provtype <N>] [-provname <CSP>] [-cont <name>] [-ku|-km]\n"
     "   [-{dm|du}[<name>]] [-noCSP] [-pin <password>|-askpin] [-enable-install-root]\n"
     "   <file name>"},
    {18, false,
     " -pendcert    Check pending certificate request,\n"
     "              get and install issued certificate.\n",
     " -creatcert -dn <RDN> [-provtype <N>] [-provname <CSP>] [-SMIME]\n"
     "   [-nokeygen|-exprt] [-{ex|sg|both}] [-cont <name>] [-ku|-km]\n"
     "   [-certusage <OIDs>] [-CA <URL CA>] [-FLCA <URL CA>]\n"
     "   [-token <token ID>] [-tpassword <password>] [-thumbprint <thumbprint>]\n"
     "   [-{dm|du}[<name>]] [-noCSP] [-silent] [-pin <password>|-askpin] \n"
     "   [-FileID <file name>] [-ext <extention>]n times [-enable-install-root]"},
    {19, false, "",
     " -pendcert [-provtype <N>] [-provname <CSP>] [-cont <name>] [-ku|-km]\n"
     "   [-CA <URL CA>] [-FLCA <URL CA>][-token <token ID>] [-tpassword <password>]\n"
     "   [-thumbprint <thumbprint>] [-{dm|du}[<name>]] [-noCSP] [-FileID <file name>]\n"
     "   [-pin <password>|-askpin] [-enable-install-root]"},
    {21, true, " -creatuser   Register new Ferroline CA user.\n",
     " -addattr <CSC1> [-attr <attribute>]n times <message>"},
    {22, false, " -listDN      Show Ferroline CA name policy.\n",
     " -creatuser [-FLCA <URL CA>] [-field <field ID = value>] times"},
    {23, false, " -checkreg    Check user registration status.\n", " -listDN [-FLCA <URL CA>]"},
    {24, false, " -help        Print help.\n",
     " -checkreg -token <token ID> -tpassword <password> [-FLCA <URL CA>]"},
};

// The explanatory lines: what stands between the synopsis and the closing blank line.
std::string Explanation(const std::string& printed, size_t begin) {
    return printed.substr(begin, printed.find("\n\n", begin) + 1 - begin);
}

TEST_F(HelpTest, EveryUsageHasItsFrame) {
    ASSERT_EQ(std::size(kUsages), 21u);
    for (const UsageRow& row : kUsages) {
        std::string expected = row.description;
        expected.append("Command usage:\n [path]kestrel").append(row.synopsis).append("\n\n");
        const std::string printed = Usage(row.number);
        expected.append(Explanation(printed, expected.size())).append("\n");
        if (row.search) expected.append(kSearch);
        EXPECT_EQ(printed, expected) << row.number;
    }
}

// Takes what stands before `end` off `text`, and `end` with it.
std::string Take(std::string& text, char end) {
    const size_t length = std::min(text.find(end), text.size());
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
            const size_t length = synopsis.find_first_of("[]|> ");
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
    size_t words = 0;
    for (const UsageRow& row : kUsages) {
        for (const bool russian : {false, true}) {
            const std::string printed = Usage(row.number, russian);
            const size_t synopsis = printed.find("]kestrel ") + 8;
            const size_t end = printed.find("\n\n", synopsis);
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

// One character for each, so that columns can be counted.
std::string Columns(const std::string& text) {
    std::string columns;
    for (const char byte : text) {
        if ((static_cast<unsigned char>(byte) & 0xC0) != 0x80) columns += byte;
    }
    return columns;
}

// A word of up to 13 columns and its sentence in column 15, or a sentence going on there.
bool StandsInColumns(const std::string& line) {
    if (line.size() < 16 || line[0] != ' ' || line[14] != ' ' || line[15] == ' ') return false;
    return line[1] != ' ' || line.find_first_not_of(' ') == 15;
}

bool HasWideWord(const std::string& line) {
    for (const char* word : {"-enable-install-root", "field ID = value", "ID поля = значение"}) {
        const std::string start = Columns(std::string(" ").append(word).append(" "));
        if (line.starts_with(start) && line[start.size()] != ' ') return true;
    }
    return false;
}

TEST_F(HelpTest, ExplanationsStandInTheirColumns) {
    for (const UsageRow& row : kUsages) {
        for (const bool russian : {false, true}) {
            const std::string printed = Usage(row.number, russian);
            const size_t synopsis = printed.find("]kestrel ");
            std::string lines = Columns(Explanation(printed, printed.find("\n\n", synopsis) + 2));
            while (!lines.empty()) {
                const std::string line = Take(lines, '\n');
                EXPECT_TRUE(StandsInColumns(line) || HasWideWord(line)) << row.number << line;
            }
        }
    }
}

// ---- whole usages ------------------------------------------------------------

TEST_F(HelpTest, DeleteCertificate) {
    EXPECT_EQ(Usage(15), R"( -creatrqst   Create certificate request and save it into PKCS #10 file.
Command usage:
 [path]kestrel -delcert <CSC> [-yes]

 КПС           CSC to remove from message
 -yes          confirm all questions

)" + kSearch);
}

TEST_F(HelpTest, SelectFromContainer) {
    EXPECT_EQ(Usage(14), R"( -delcert     Delete certificate from a specified store.
Command usage:
 [path]kestrel -CSPcert [-provtype <N>] [-provname <CSP>] [-cont <container>]
   [-ku|-km] [-ex|-sg] [-{dm|du}[<name>]|-df <file> [-der]]

 -provtype     provider type (default: 75)
 N             provider type number
 -provname     provider name (default: selected by type)
 CSP           cryptographic service provider name
 -cont         key container name (default: select from list)
 container     container name
 -ku*          user key container (CURRENT_USER)
 -km           machine key container (LOCAL_MACHINE)
 -ex*          use exchange key
 -sg           use signature key
 -dm           destination machine store (LOCAL_MACHINE)
 -du*          destination user store (CURRENT_USER)
 name          destination store name (default: "My")
 -df           destination file used as certificate store
 file          file name
 -der          DER output instead of BASE64

)" + kSearch);
}

TEST_F(HelpTest, RussianEncrypt) {
    const std::string printed = Usage(2, true);
    const std::string start = R"( -encr        Создать зашифрованное сообщение.
Формат команды:
 [путь]kestrel -encr <КПС> [-der] <входной файл> <сообщение>

 КПС           КПС сертификатов получателей
 -der          выходные данные в DER вместо BASE64
 входной файл  файл, который нужно зашифровать
 сообщение     файл для зашифрованного сообщения

Критерий поиска сертификатов (КПС/КПС1):
)";
    EXPECT_EQ(printed.substr(0, start.size()), start);
}

TEST_F(HelpTest, OddWordsStay) {
    for (const int number : {3, 4, 5, 11, 16, 17, 18, 19}) {
        const std::string line = "\n -askpin       querry key container password from console\n";
        EXPECT_NE(Usage(number).find(line), std::string::npos) << number;
    }
    EXPECT_NE(Usage(18).find("\n -tpassword    speciry marker password\n"), std::string::npos);
}

}  // namespace
}  // namespace kestrel
