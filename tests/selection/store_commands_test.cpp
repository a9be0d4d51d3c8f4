// Certificates copied and deleted.
#include "selection/store_commands.h"

#include <fstream>

#include "front/core/commands.h"
#include "tests/selection/support.h"

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

Outcome RunCommand(Routine routine, const Keys& keys) {
    return RunPiped("", [&]() -> std::uint32_t {
        GiveKeys(keys);
        return routine();
    });
}

std::string WrongKey(const char* word) {
    return std::string("Error: Wrong key: '") + word + "'. (0x200000CE)\n";
}

using StoreCommands = SelectionTest;

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
        {"to the machine's", with({{"dm", nullptr}}), 0, kAlphaUsed + kCopied},
        {"one there, one new",
         {{"nochain"}, {"u", "My"}, {"du", "Mine"}},
         0,
         kTwoFound + kAlreadyThere + kCopied}};
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
    const Key type = {"provtype", "24"};
    const Key container = {"cont", "exchange"};
    const std::string both = " alpha beta";
    const struct {
        const char* name;
        Keys keys;
        std::uint32_t code;
        std::string output;
        std::string stored;
    } rows[] = {{"the exchange key by default", {type, container}, 0, opening + kCopied, " alpha"},
                {"the signature key",
                 {type, {"cont", "signature"}, {"sg"}, {"ku"}},
                 0,
                 opening + kCopied,
                 both},
                {"both keys", {type, container, {"ex"}, {"sg"}}, 0x200000CE, WrongKey("sg"), both},
                {"both sides", {type, container, {"km"}, {"ku"}}, 0x200000CE, WrongKey("ku"), both},
                {"a search key", {type, container, {"dn", "x"}}, 0x200000CE, WrongKey("dn"), both}};
    for (const auto& row : rows) {
        const Outcome run = RunCommand(kestrel::RunCspCert, row.keys);
        EXPECT_EQ(run.output, row.output) << row.name;
        EXPECT_EQ(run.code, row.code) << row.name;
        EXPECT_EQ(NamesInStore(kUser, L"My"), row.stored) << row.name;
    }
    // The platform's own failures: which one it is, is the platform's to say.
    for (const Keys& keys : {Keys{type, {"cont", "none"}}, Keys{type, container, {"sg"}},
                             Keys{{"provtype", "abc"}, container}}) {
        const Outcome run = RunCommand(kestrel::RunCspCert, keys);
        EXPECT_EQ(run.output.find(opening + "Error: "), 0U) << run.output;
        EXPECT_EQ(run.code >> 16, 0x8009U) << run.output;
    }
}

}  // namespace

}  // namespace selection_tests
