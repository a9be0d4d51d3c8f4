// Key containers on the disk.
#include "platform/providers/container.h"

#include <sys/stat.h>

#include "tests/support/engine.h"
#include "tests/support/workshop.h"

namespace platform::testing {
namespace {

namespace fs = std::filesystem;

Secret SecretOf(std::string_view text) { return Secret(ViewOf(text)); }

fs::path FolderOf(const std::string& container, const char* side = "user") {
    return Folder() / side / "containers" / container;
}

unsigned ModeOf(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

using Containers = HomesTest;

constexpr struct {
    DWORD type;
    const char* password;
} kTypes[] = {
    {1, ""}, {24, "x"}, {16, "secret"}, {75, "secret"}, {80, "пароль 1 2"}, {81, ""},
};

TEST_F(Containers, KeepKeysOfEveryTypeAsOpensslReadsThem) {
    SKIP_WITHOUT_ENGINE();
    for (const auto& row : kTypes) {
        const std::string name = std::to_string(row.type) + "-" + row.password;
        SCOPED_TRACE(name);
        Container container = Container::Create(Side::User, name, row.type);
        const AnyKey key = GenerateKey(row.type);
        container.SaveKey(AT_SIGNATURE, key, SecretOf(row.password));

        const Container again = Container::Open(Side::User, name);
        EXPECT_EQ(again.Type(), row.type);
        EXPECT_EQ(again.NeedsPassword(AT_SIGNATURE), *row.password != '\0');
        const auto loaded = again.LoadKey(AT_SIGNATURE, SecretOf(row.password));
        EXPECT_TRUE(key.Matches(loaded));
        if (*row.password != '\0') {
            EXPECT_EQ(CodeOf([&] { (void)again.LoadKey(AT_SIGNATURE, SecretOf("")); }),
                      SCARD_W_WRONG_CHV);
        }
        EXPECT_EQ(CodeOf([&] { (void)again.LoadKey(AT_KEYEXCHANGE, Secret()); }), Code(NTE_NO_KEY));
        OpenSsl("pkey -engine gost -noout -in '" + (FolderOf(name) / "signature.key").string() +
                "' -passin 'pass:" + row.password + "'");
    }
}

TEST_F(Containers, OpenWhatOpensslWrote) {
    SKIP_WITHOUT_ENGINE();
    for (const KeyRow& row : KeyRows()) {
        SCOPED_TRACE(row.name);
        CertificateOf(row.name);
        Container container = Container::Create(Side::User, row.name, row.type);
        const fs::path file = FolderOf(row.name) / "exchange.key";
        OpenSsl("pkcs8 -engine gost -topk8 -passout pass:abc -in " + std::string(row.name) +
                ".key -out " + file.string());
        const auto loaded = container.LoadKey(AT_KEYEXCHANGE, SecretOf("abc"));
        EXPECT_TRUE(loaded.Matches(PublicKey(row.name)));
        EXPECT_TRUE(SameFamily(TypeForKey(loaded), row.type));
    }
}

TEST_F(Containers, HoldTwoKeysAndTheirCertificates) {
    Container container = Container::Create(Side::User, "both", 16);
    const AnyKey exchange = GenerateKey(16);
    const AnyKey signature = GenerateKey(16, 384);
    container.SaveKey(AT_KEYEXCHANGE, exchange, SecretOf("one"));
    container.SaveKey(AT_SIGNATURE, signature, Secret());
    const Bytes certificate = CertificateOf("p256");
    container.SaveCertificate(AT_SIGNATURE, certificate);

    EXPECT_TRUE(container.LoadKey(AT_KEYEXCHANGE, SecretOf("one")).Matches(exchange));
    EXPECT_TRUE(container.LoadKey(AT_SIGNATURE, Secret()).Matches(signature));
    EXPECT_EQ(container.CertificateOf(AT_KEYEXCHANGE), std::nullopt);
    EXPECT_EQ(container.CertificateOf(AT_SIGNATURE), certificate);

    ContainerChange without(16);
    without.RemoveCertificate(AT_SIGNATURE);
    container.Apply(without);
    EXPECT_EQ(container.CertificateOf(AT_SIGNATURE), std::nullopt);

    const AnyKey foreign = GenerateKey(24);
    EXPECT_EQ(CodeOf([&] { container.SaveKey(AT_SIGNATURE, foreign, Secret()); }),
              Code(NTE_BAD_KEY));
    EXPECT_TRUE(container.LoadKey(AT_SIGNATURE, Secret()).Matches(signature));
}

TEST_F(Containers, AreClosedToOthers) {
    const mode_t before = umask(0);
    for (const Side side : {Side::User, Side::Machine}) {
        Container container = Container::Create(side, "mine", 16);
        container.SaveKey(AT_KEYEXCHANGE, GenerateKey(16), SecretOf("x"));
        container.SaveCertificate(AT_KEYEXCHANGE, Pattern(10));
        const fs::path folder = FolderOf("mine", side == Side::User ? "user" : "machine");
        EXPECT_EQ(ModeOf(folder), 0700U);
        EXPECT_EQ(ModeOf(folder.parent_path()), side == Side::User ? 0700U : 0755U);
        std::size_t files = 0;
        for (const auto& entry : fs::directory_iterator(folder)) {
            EXPECT_EQ(ModeOf(entry.path()), 0600U) << entry.path();
            ++files;
        }
        EXPECT_EQ(files, 4U);
    }
    umask(before);
}

struct NameRow {
    std::string name;
    bool valid;
};

TEST_F(Containers, Names) {
    const NameRow rows[] = {
        {"a", true},
        {"Иванов И.И.", true},
        {std::string(255, 'x'), true},
        {"", false},
        {".", false},
        {"..", false},
        {" ", false},
        {"a/b", false},
        {"a\\b", false},
        {"a\n", false},
        {std::string("a\0b", 3), false},
        {std::string(256, 'x'), false},
    };
    for (const NameRow& row : rows) {
        EXPECT_EQ(Container::ValidName(row.name), row.valid) << row.name;
        const DWORD created = CodeOf([&] { Container::Create(Side::User, row.name, 16); });
        EXPECT_EQ(created, row.valid ? 0U : Code(ERROR_INVALID_PARAMETER)) << row.name;
        const DWORD opened = CodeOf([&] { Container::Open(Side::User, row.name); });
        EXPECT_EQ(opened, row.valid ? 0U : Code(NTE_BAD_KEYSET)) << row.name;
    }
    EXPECT_FALSE(fs::exists(UserHome() / "a"));
}

// ---- damage ------------------------------------------------------------------

struct DamageRow {
    const char* name;
    const char* file;
    std::string content;
    DWORD expected;
};

TEST_F(Containers, DamagedFilesAreNamedAndStayAsTheyAre) {
    CertificateOf("rsa");
    CertificateOf("p256");
    const std::string good = ReadText("p256.key");
    std::string broken = good;
    broken[60] = broken[60] == 'A' ? 'B' : 'A';
    const DamageRow rows[] = {
        {"untouched", "exchange.key", good, 0},
        {"empty key", "exchange.key", "", Code(NTE_KEYSET_ENTRY_BAD)},
        {"changed letter", "exchange.key", broken, Code(NTE_KEYSET_ENTRY_BAD)},
        {"key of another type", "exchange.key", ReadText("rsa.key"), Code(NTE_KEYSET_ENTRY_BAD)},
        {"huge type", "provider.type", "99999999999999999999\n", Code(NTE_KEYSET_ENTRY_BAD)},
        {"bad certificate", "exchange.cer", "0\x03", Code(NTE_KEYSET_ENTRY_BAD)},
    };
    for (const DamageRow& row : rows) {
        Container::Create(Side::User, row.name, 16)
            .SaveKey(AT_KEYEXCHANGE, GenerateKey(16), Secret());
        const std::string path = (FolderOf(row.name) / row.file).string();
        WriteFile(path, ViewOf(row.content));
        const auto use = [&] {
            const Container container = Container::Open(Side::User, row.name);
            (void)container.LoadKey(AT_KEYEXCHANGE, Secret());
            (void)container.CertificateOf(AT_KEYEXCHANGE);
        };
        EXPECT_EQ(CodeOf(use), row.expected) << row.name;
        EXPECT_EQ(DetailOf(use), row.expected == 0 ? "" : path) << row.name;
        EXPECT_EQ(ReadText(path), row.content) << row.name;
    }
    Container::Create(Side::User, "lost", 16);
    fs::remove(FolderOf("lost") / "provider.type");
    EXPECT_EQ(CodeOf([] { Container::Open(Side::User, "lost"); }), Code(NTE_KEYSET_ENTRY_BAD));
}

// No byte of an encrypted key may change without an error. What the password protects
// cannot be told from a wrong password.
TEST_F(Containers, EveryFlippedByteOfAnEncryptedKeyShows) {
    Container container = Container::Create(Side::User, "flip", 16);
    container.SaveKey(AT_KEYEXCHANGE, GenerateKey(16), SecretOf("x"));
    const std::string file = "user/containers/flip/exchange.key";
    const Bytes good = ReadFile(file);
    for (std::size_t at = 0; at < good.size(); at += 23) {
        Bytes damaged = good;
        damaged[at] ^= 0x02;
        WriteFile(file, damaged);
        const DWORD code = CodeOf([&] { (void)container.LoadKey(AT_KEYEXCHANGE, SecretOf("x")); });
        EXPECT_TRUE(code == Code(NTE_KEYSET_ENTRY_BAD) || code == SCARD_W_WRONG_CHV) << at;
    }
}

}  // namespace
}  // namespace platform::testing
