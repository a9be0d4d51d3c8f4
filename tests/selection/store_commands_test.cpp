#include "selection/store_commands.h"

#include <cstdlib>
#include <fstream>

#include "front/commands.h"
#include "support.h"

namespace selection_tests {

namespace {

constexpr DWORD kUser = CERT_SYSTEM_STORE_CURRENT_USER;
constexpr DWORD kMachine = CERT_SYSTEM_STORE_LOCAL_MACHINE;

const std::string kAlphaUsed =
    "\nThe following certificate will be used:\nRDN:Alpha, Works\n" + kDates;
const std::string kTwoFound = "\nCertificates found: 2\n";
const std::string kCopied = "Certificate's been copied.\n";
const std::string kAlreadyThere =
    "Certificate's not been copied because the same one was in store.\n";

using Routine = DWORD (*)();

Outcome RunCommand(Routine routine, const Keys& keys, const std::string& input = "",
                   const char* firstFile = nullptr) {
    return RunPiped(input, [&]() -> std::uint32_t {
        GiveKeys(keys);
        kestrel::state.firstFile = firstFile;
        return routine();
    });
}

std::string WrongKey(const char* word) {
    return std::string("Error: Wrong key: '") + word + "'. (0x200000CE)\n";
}

class StoreCommands : public SelectionTest {
  protected:
    // What the openssl command makes of a file: its complaint when it cannot read it.
    std::string OpenSsl(const std::string& command) const {
        const std::string line = "cd " + folder.string() + " && openssl " + command +
                                 " >printed 2>&1 || echo bad >>printed";
        EXPECT_EQ(std::system(line.c_str()), 0);
        return ReadBytes(folder / "printed");
    }
    std::string Path(const char* name) const { return (folder / name).string(); }
};

TEST_F(StoreCommands, CopyToStores) {
    FillUser(L"My", {"alpha", "beta"});
    struct Row {
        const char* name;
        Keys keys;
        std::uint32_t code;
        std::string output;
    };
    const Keys one = {{"nochain"}, {"dn", "CN=Alpha"}, {"u", "My"}};
    const auto with = [&one](const Keys& more) {
        Keys keys = one;
        keys.insert(keys.end(), more.begin(), more.end());
        return keys;
    };
    const Row rows[] = {
        {"to the user's own store by default", one, 0, kAlphaUsed + kAlreadyThere + kCopied},
        {"a store that is not there is made", with({{"du", "Mine"}}), 0, kAlphaUsed + kCopied},
        {"again", with({{"du", "Mine"}}), 0, kAlphaUsed + kAlreadyThere + kCopied},
        {"to the machine's", with({{"dm", nullptr}}), 0, kAlphaUsed + kCopied},
        {"one there, one new",
         {{"nochain"}, {"u", "My"}, {"du", "Mine"}},
         0,
         kTwoFound + kAlreadyThere + kCopied},
        {"the second destination is left", with({{"dm", nullptr}, {"du", nullptr}}), 0x200000CE,
         WrongKey("du")},
        {"the form belongs to a file", with({{"der"}}), 0x200000CE, WrongKey("der")},
        {"nothing found",
         {{"dn", "none"}, {"u", "My"}},
         0x2000012D,
         "Error: No certificate found. (0x2000012D)\n"}};
    for (const Row& row : rows) {
        const Outcome run = RunCommand(kestrel::RunCopyCert, row.keys);
        EXPECT_EQ(run.output, row.output) << row.name;
        EXPECT_EQ(run.code, row.code) << row.name;
    }
    EXPECT_EQ(NamesInStore(kUser, L"My"), " alpha beta");
    EXPECT_EQ(NamesInStore(kUser, L"Mine"), " alpha beta");
    EXPECT_EQ(NamesInStore(kMachine, L"My"), " alpha");

    std::ofstream(folder / "machine" / "stores.db") << "no database at all";
    const Outcome damaged = RunCommand(kestrel::RunCopyCert, with({{"dm", nullptr}}));
    EXPECT_EQ(damaged.output,
              kAlphaUsed + "Error: Can't open certificate store: 'My'. (0x2000012C)\n");
    EXPECT_EQ(ReadBytes(folder / "machine" / "stores.db"), "no database at all");

    const Outcome file = RunCommand(kestrel::RunCopyCert, one, "", "a.txt");
    EXPECT_EQ(file.output, "Error: Command doesn't need file argument. (0x200000D2)\n");
}

TEST_F(StoreCommands, CopyToFiles) {
    FillUser(L"My", {"alpha", "rsa"});
    const std::string file = Path("out");
    const Key destination = {"df", file.c_str()};
    const Key one = {"dn", "CN=Alpha"};
    const Key store = {"u", "My"};

    Outcome run = RunCommand(kestrel::RunCopyCert, {{"nochain"}, one, store, destination, {"der"}});
    EXPECT_EQ(run.output, kAlphaUsed + kCopied);
    EXPECT_EQ(ReadBytes(file), FixtureDer("alpha"));

    run = RunCommand(kestrel::RunCopyCert, {{"nochain"}, one, store, destination});
    EXPECT_EQ(run.code, 0U);
    EXPECT_EQ(OpenSsl("base64 -d -in out -out decoded"), "");
    EXPECT_EQ(ReadBytes(Path("decoded")), FixtureDer("alpha"));

    run = RunCommand(kestrel::RunCopyCert, {{"nochain"}, store, destination, {"der"}});
    EXPECT_EQ(run.output, kTwoFound + kCopied);
    EXPECT_EQ(OpenSsl("pkcs7 -inform DER -in out -print_certs -noout"),
              "subject=O = Works, CN = Alpha\nissuer=O = Works, CN = Alpha\n\n"
              "subject=CN = rsa\nissuer=CN = rsa\n\n");

    const std::string nowhere = Path("none/out");
    run = RunCommand(kestrel::RunCopyCert,
                     {{"nochain"}, one, store, {"df", nowhere.c_str()}, {"der"}});
    EXPECT_EQ(run.output, kAlphaUsed + "Error: Can't open file '" + nowhere + "'. (0x20000065)\n");
    EXPECT_EQ(run.code, 0x20000065U);
}

// ---- CSPcert -------------------------------------------------------------------------

void CreateContainer(const char* name, DWORD keySpec, const std::string& certificate) {
    const Outcome made = RunPiped("", [&]() -> std::uint32_t {
        HCRYPTPROV provider = 0;
        HCRYPTKEY key = 0;
        const std::string der = FixtureDer(certificate);
        if (!CryptAcquireContextA(&provider, name, nullptr, 24, CRYPT_NEWKEYSET) ||
            !CryptGenKey(provider, keySpec, 2048U << 16, &key) ||
            !CryptSetKeyParam(key, KP_CERTIFICATE, reinterpret_cast<const BYTE*>(der.data()), 0)) {
            return GetLastError();
        }
        CryptDestroyKey(key);
        CryptReleaseContext(provider, 0);
        return 0;
    });
    ASSERT_EQ(made.code, 0U);
}

TEST_F(StoreCommands, CertificateOfAContainer) {
    CreateContainer("exchange", AT_KEYEXCHANGE, "alpha");
    CreateContainer("signature", AT_SIGNATURE, "beta");
    const std::string opening = "Openning container...\n";
    const std::string list =
        "Please, choose container (type its number and press [ENTER]).\n\n"
        "#1: exchange\n#2: signature\nNumber:";
    const Key type = {"provtype", "24"};
    const struct {
        const char* name;
        Keys keys;
        const char* input;
        std::uint32_t code;
        std::string output;
        const char* stored;
    } rows[] = {{"the exchange key by default",
                 {type, {"cont", "exchange"}},
                 "",
                 0,
                 opening + kCopied,
                 " alpha"},
                {"the signature key",
                 {type, {"cont", "signature"}, {"sg"}, {"ku"}},
                 "",
                 0,
                 opening + kCopied,
                 " alpha beta"},
                {"chosen from the list",
                 {type, {"ex"}},
                 "1\r",
                 0,
                 list + "1\n" + opening + kAlreadyThere + kCopied,
                 " alpha beta"},
                {"both keys asked for",
                 {type, {"cont", "exchange"}, {"ex"}, {"sg"}},
                 "",
                 0x200000CE,
                 WrongKey("sg"),
                 " alpha beta"},
                {"both sides asked for",
                 {type, {"cont", "exchange"}, {"km"}, {"ku"}},
                 "",
                 0x200000CE,
                 WrongKey("ku"),
                 " alpha beta"},
                {"a search key",
                 {type, {"cont", "exchange"}, {"dn", "x"}},
                 "",
                 0x200000CE,
                 WrongKey("dn"),
                 " alpha beta"},
                {"nothing to choose from",
                 {type, {"km"}},
                 "",
                 0x200002BD,
                 "Please, choose container (type its number and press [ENTER]).\n\n"
                 "Error: Containers not found. (0x200002BD)\n",
                 " alpha beta"}};
    for (const auto& row : rows) {
        const Outcome run = RunCommand(kestrel::RunCspCert, row.keys, row.input);
        EXPECT_EQ(run.output, row.output) << row.name;
        EXPECT_EQ(run.code, row.code) << row.name;
        EXPECT_EQ(NamesInStore(kUser, L"My"), row.stored) << row.name;
    }
    // The platform's own failures: which one it is, is the platform's to say.
    for (const Keys& keys : {Keys{type, {"cont", "none"}}, Keys{type, {"cont", "exchange"}, {"sg"}},
                             Keys{{"provtype", "abc"}, {"cont", "exchange"}}}) {
        const Outcome run = RunCommand(kestrel::RunCspCert, keys);
        EXPECT_EQ(run.output.find(opening + "Error: "), 0U) << run.output;
        EXPECT_EQ(run.code >> 16, 0x8009U) << run.output;
    }
}

// ---- delcert -------------------------------------------------------------------------

std::string Shown(const char* subject) {
    return "\nDo you want to delete this certificate:\n" + kDates + "RDN:" + subject + "\n\n\n\n\n";
}

TEST_F(StoreCommands, DeleteAsks) {
    const std::string alpha = Shown("Alpha, Works");
    const std::string beta = Shown("Beta, Works");
    const std::string both = Shown("Both, Alpha Beta");
    const std::string question = "[D]elete, [A]ll, [S]kip, [C]ancel?\n";
    const std::string deleted = "Certificate's been deleted.\n";
    const std::string skipped = "Certificate's not been deleted.\n";
    const std::string cancelled = "Error: Canceled by user. (0x20000066)\n";
    const struct {
        const char* name;
        Keys more;
        const char* input;
        std::uint32_t code;
        std::string output;
        const char* left;
    } rows[] = {{"one by one",
                 {},
                 "d\ns\nD\n",
                 0,
                 alpha + question + deleted + beta + question + skipped + both + question + deleted,
                 " beta"},
                {"all that follow",
                 {},
                 "s\na\n",
                 0,
                 alpha + question + skipped + beta + question + deleted + both + deleted,
                 " alpha"},
                {"other letters are read over",
                 {},
                 "\nx?\nd\nc",
                 0x20000066,
                 alpha + question + deleted + beta + question + cancelled,
                 " beta both"},
                {"end of input cancels",
                 {},
                 "",
                 0x20000066,
                 alpha + question + cancelled,
                 " alpha beta both"},
                {"without questions",
                 {{"yes"}},
                 "",
                 0,
                 alpha + deleted + beta + deleted + both + deleted,
                 ""},
                {"a destination is no key of it",
                 {{"du", nullptr}},
                 "",
                 0x200000CE,
                 WrongKey("du"),
                 " alpha beta both"}};
    for (const auto& row : rows) {
        SetUp();
        FillUser(L"My", {"alpha", "beta", "both"});
        Keys keys = {{"nochain"}, {"u", "My"}};
        keys.insert(keys.end(), row.more.begin(), row.more.end());
        const Outcome run = RunCommand(kestrel::RunDelCert, keys, row.input, "ignored.txt");
        const std::string found = row.code == 0x200000CE ? "" : "\nCertificates found: 3\n";
        EXPECT_EQ(run.output, found + row.output) << row.name;
        EXPECT_EQ(run.code, row.code) << row.name;
        EXPECT_EQ(NamesInStore(kUser, L"My"), row.left) << row.name;
        TearDown();
    }
}

}  // namespace

}  // namespace selection_tests
