// What is kept of the network's answers: entries written by hand, and which of them count.
#include <sys/stat.h>

#include <fstream>
#include <functional>

#include "platform/base/ticks.h"
#include "platform/chain/retriever.h"
#include "tests/platform/chain/authority.h"

namespace platform::testing {
namespace {

constexpr const char* kNowhere = "http://127.0.0.1:1/list";  // nobody listens there

std::string Sha256(ByteView content) {
    WriteFile("digested", content);
    return OpenSsl("dgst -sha256 -r digested").substr(0, 64);
}

std::filesystem::path CacheOf(const std::filesystem::path& home) { return home / "cache"; }

// As docs/files.md has it; `from` and `until` are seconds from now.
std::string EntryText(const std::string& kind, ByteView body, long from, long until) {
    const auto moment = [](long seconds) {
        return std::to_string(
            static_cast<Ticks>(static_cast<long>(CurrentTicks() / kTicksPerSecond) + seconds) *
            kTicksPerSecond);
    };
    return "kestrel-answer 1\n" + kind + '\n' + kNowhere + '\n' + moment(from) + '\n' +
           moment(until) + '\n' + Sha256(body) + "\n\n" + std::string(body.begin(), body.end());
}

// The name of the entry for lists of `issuer`: kind, address, the name and the key.
std::string EntryName(const Identity& issuer) {
    WriteFile("issuer.der", issuer.Cert()->Der());
    WriteFile("issuer.pub", ViewOf(OpenSsl("x509 -inform DER -in issuer.der -noout -pubkey")));
    OpenSsl("pkey -pubin -in issuer.pub -outform DER -out issuer.key");
    const CERT_NAME_BLOB& name = issuer.Cert()->Info().Subject;
    std::string text = std::string("crl\n") + kNowhere + '\n';
    text.append(reinterpret_cast<const char*>(name.pbData), name.cbData);
    const Bytes spki = ReadFile("issuer.key");
    text.append(spki.begin(), spki.end());
    return Sha256(ViewOf(text));
}

void PutEntry(const std::filesystem::path& home, const std::string& name, const std::string& text) {
    std::filesystem::create_directories(CacheOf(home));
    WriteFile(CacheOf(home) / name, ViewOf(text));
}

TEST_F(ChainTest, WhichKeptAnswersCount) {
    const Identity root(AuthorityNamed("Root"));
    const Identity other(AuthorityNamed("Root"));
    const Identity leaf(
        [] {
            Recipe recipe = LeafNamed("Leaf");
            SetExtension(recipe, "crlDistributionPoints", std::string("URI:") + kNowhere);
            return recipe;
        }(),
        &root);
    const Bytes list = Copy(MakeCrl(root, {.revoked = {{&leaf}}})->Der());
    const Bytes clean = Copy(MakeCrl(root)->Der());
    const Bytes others = Copy(MakeCrl(other, {.revoked = {{&leaf}}})->Der());
    const std::string good = EntryText("crl", list, -60, 60);
    const std::string name = EntryName(root);
    const auto altered = [](std::string text, std::size_t fromEnd) {
        text[text.size() - fromEnd] ^= 1;
        return text;
    };
    const struct {
        const char* name;
        DWORD status;
        std::function<void()> put;
    } rows[] = {
        {"the user's", 0x4, [&] { PutEntry(UserHome(), name, good); }},
        {"the machine's", 0x4, [&] { PutEntry(MachineHome(), name, good); }},
        {"the user's before the machine's", 0,
         [&] {
             PutEntry(UserHome(), name, EntryText("crl", clean, -60, 60));
             PutEntry(MachineHome(), name, good);
         }},
        {"behind a damaged one", 0x4,
         [&] {
             PutEntry(UserHome(), name, good.substr(0, good.size() - 1));
             PutEntry(MachineHome(), name, good);
         }},
        {"stores before it", 0,
         [&] {
             PutEntry(UserHome(), name, good);
             Put("CA", MakeCrl(root));
         }},
        {"over", 0x40, [&] { PutEntry(UserHome(), name, EntryText("crl", list, -60, -1)); }},
        {"of the future", 0x40,
         [&] { PutEntry(UserHome(), name, EntryText("crl", list, 60, 120)); }},
        {"another key's", 0x40,
         [&] { PutEntry(UserHome(), name, EntryText("crl", others, -60, 60)); }},
        {"of no kind", 0x40, [&] { PutEntry(UserHome(), name, EntryText("list", list, -60, 60)); }},
        {"failed", 0x40,
         [&] { PutEntry(UserHome(), name, EntryText("failed crl", list, -60, 60)); }},
        {"under another issuer's name", 0x40,
         [&] { PutEntry(UserHome(), EntryName(other), good); }},
        {"failed for another issuer", 0x4,
         [&] {
             PutEntry(UserHome(), EntryName(other), EntryText("failed crl", list, -60, 60));
             PutEntry(UserHome(), name, good);
         }},
        {"a pipe in the way", 0x4,
         [&] {
             std::filesystem::create_directories(CacheOf(UserHome()));
             ASSERT_EQ(mkfifo((CacheOf(UserHome()) / name).c_str(), 0600), 0);
             PutEntry(MachineHome(), name, good);
         }},
        {"altered", 0x40, [&] { PutEntry(UserHome(), name, altered(good, 1)); }},
        {"empty", 0x40, [&] { PutEntry(UserHome(), name, ""); }},
    };
    for (const auto& row : rows) {
        Clear();
        Put("Root", root.Cert());
        row.put();
        EXPECT_EQ(StatusOf(leaf.Cert(), kCheck | CERT_CHAIN_CACHE_ONLY_URL_RETRIEVAL), row.status)
            << row.name;
    }
}

// What nobody answers leaves an entry: the trace of who was asked about.
TEST_F(ChainTest, NobodyIsAskedAboutTheSelfSigned) {
    constexpr DWORD kAll = CERT_CHAIN_REVOCATION_CHECK_CHAIN;
    Recipe recipe = AuthorityNamed("Root");
    SetExtension(recipe, "crlDistributionPoints", "URI:http://127.0.0.1:1/own");
    const Identity root(recipe);
    recipe = LeafNamed("Leaf");
    SetExtension(recipe, "crlDistributionPoints", "URI:http://127.0.0.1:1/leaf");
    const Identity leaf(recipe, &root);
    Put("Root", root.Cert());
    EXPECT_EQ(StatusOf(root.Cert(), kAll), 0x40U);
    EXPECT_TRUE(KeptAnswers(Side::User).empty());
    EXPECT_EQ(StatusOf(leaf.Cert(), kAll), 0x40U);
    const auto kept = KeptAnswers(Side::User);
    ASSERT_EQ(kept.size(), 1U);
    EXPECT_EQ(kept[0].answer.address, "http://127.0.0.1:1/leaf");
    EXPECT_TRUE(kept[0].answer.failed);
}

// 256 MiB are all that stays; the oldest go first, and nothing that is not ours.
TEST_F(ChainTest, TheOldestAnswersGo) {
    constexpr std::uintmax_t kMiB = 1024 * 1024;
    const auto folder = CacheOf(UserHome());
    std::filesystem::create_directories(folder);
    const auto old = [&](char letter, std::uintmax_t size, int hours) {
        const auto file = folder / std::string(64, letter);
        std::ofstream(file).close();
        std::filesystem::resize_file(file, size);  // a hole: it takes no room
        std::filesystem::last_write_time(
            file, std::filesystem::file_time_type::clock::now() - std::chrono::hours(hours));
    };
    WriteFile(folder / "notes", Pattern(10));
    const AnswerCache cache({Side::User});
    const Ticks now = CurrentTicks();
    const Answer answer{AnswerKind::Crl, false, kNowhere, now, now + kTicksPerSecond, Pattern(100)};
    old('a', 100 * kMiB, 3);
    old('b', 100 * kMiB, 1);
    old('c', 56 * kMiB - 1000, 2);
    ASSERT_EQ(mkfifo((folder / std::string(64, 'd')).c_str(), 0600), 0);
    ASSERT_TRUE(cache.Keep(std::string(64, 'd'), answer));
    EXPECT_TRUE(std::filesystem::exists(folder / std::string(64, 'a'))) << "all fit";
    old('e', 1000, 4);
    ASSERT_TRUE(cache.Keep(std::string(64, 'd'), answer));
    for (const auto& [letter, stays] :
         {std::pair('a', true), {'b', true}, {'c', true}, {'d', true}, {'e', false}}) {
        EXPECT_EQ(std::filesystem::exists(folder / std::string(64, letter)), stays) << letter;
    }
    old('f', 30 * kMiB, 0);
    ASSERT_TRUE(cache.Keep(std::string(64, 'd'), answer));
    EXPECT_FALSE(std::filesystem::exists(folder / std::string(64, 'a'))) << "the oldest";
    EXPECT_TRUE(std::filesystem::exists(folder / std::string(64, 'c'))) << "enough is enough";
    EXPECT_TRUE(std::filesystem::exists(folder / "notes"));
}

}  // namespace
}  // namespace platform::testing
