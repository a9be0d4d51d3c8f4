// The help, against texts written by hand.
#include "front/help.h"

#include <algorithm>

#include "front/core/catalogue.h"
#include "tests/front/support.h"

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
    EXPECT_NE(printed.find("\n -signf       "), std::string::npos) << "spelled right here";
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'),
              std::count(kList.begin(), kList.end(), '\n') +
                  std::count(kSearch.begin(), kSearch.end(), '\n'));
}

// ---- the frame of every usage ------------------------------------------------

// From number 9 on the description is that of the next command.
const struct {
    int number;
    bool search;
    const char* described;  // the entry of the list that stands first
    const char* synopsis;
} kUsages[] = {
    {2, true, "encr", " -encr <CSC> [-der] <input file> <message>"},
    {3, true, "decr", " -decr <CSC1> [-start] [-pin <pass>|-askpin] <message> <output file>"},
    {4, true, "sign",
     " -sign <CSC1> [-nocert] [-crl] [-der] [-authattr <attribute>]n times\n"
     "   [-attr <attribute>]k times [-sd[<URL>]] [-ss[<URL>]]\n"
     "   [-pin <password>|-askpin] <input file> <message>"},
    {5, true, "addsign",
     " -addsign <CSC1> [-nocert] [-crl] [-sd[<URL>]] [-ss[<URL>]]\n"
     "   [-pin <password>|-askpin] [-authattr <attribute>]n count\n"
     "   [-attr <attribute>]k times <message>"},
    {6, true, "delsign", " -delsign <CSC1> <message>"},
    {7, true, "verify",
     " -verify [<CSC> [-verall]] [-start] [-sd[<time>]] [-ss[<time>]]\n"
     "   <message> [<output file>]"},
    {9, true, "vhash", " -hash [-dir <folder>] [-provtype <N>] [-provname <CSP>] <file mask>"},
    {10, true, "singf",
     " -vhash [-dir <folder>] [-provtype <N>] [-provname <CSP>]\n   <file mask>"},
    {11, true, "vsignf",
     " -signf [-dir <folder>] <CSC1> <file mask> [-cert] [-crl] [-der]\n"
     "   [-sd[<URL>]] [-ss[<URL>]] [-nostampcert] [-pin <password>|-askpin]"},
    {12, true, "copycert",
     " -vsignf [-dir <folder>] [-sd[<time>]] [-ss[<time>]] <CSC> <file mask>"},
    {13, true, "CSPcert", " -copycert <CSC> [-{dm|du}[<name>]|-df <file> [-der]]"},
    {14, true, "delcert",
     " -CSPcert [-provtype <N>] [-provname <CSP>] [-cont <container>]\n"
     "   [-ku|-km] [-ex|-sg] [-{dm|du}[<name>]|-df <file> [-der]]"},
    {15, true, "creatrqst", " -delcert <CSC> [-yes]"},
    {16, false, "instcert",
     " -creatrqst -dn <RDN> [-provtype <N>] [-provname <CSP>] [-SMIME]\n"
     "   [-nokeygen|-exprt] [-ex|-sg|-both] [-ku|-km] [-cont <name>]\n"
     "   [-silent] [-pin <password>|-askpin] [-certusage <OIDs>] [-der]\n"
     "   [-ext <extension>]n times <file name>"},
    {17, false, "creatcert",
     " -instcert [-provtype <N>] [-provname <CSP>] [-cont <name>] [-ku|-km]\n"
     "   [-{dm|du}[<name>]] [-noCSP] [-pin <password>|-askpin] [-enable-install-root]\n"
     "   <file name>"},
    {18, false, "pendcert",
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
    {21, true, "creatuser", " -addattr <CSC1> [-attr <attribute>]n times <message>"},
    {22, false, "listDN", " -creatuser [-FLCA <URL CA>] [-field <field ID = value>] times"},
    {23, false, "checkreg", " -listDN [-FLCA <URL CA>]"},
    {24, false, "help", " -checkreg -token <token ID> -tpassword <password> [-FLCA <URL CA>]"},
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
        expected.append("Command usage:\n [path]kestrel").append(row.synopsis).append("\n\n");
        const std::string printed = Usage(row.number);
        expected.append(Explanation(printed, expected.size())).append("\n");
        if (row.search) expected.append(kSearch);
        EXPECT_EQ(printed, expected) << row.number;
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
