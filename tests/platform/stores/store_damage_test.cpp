// The database under several processes, killed ones and damaged files.
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <set>
#include <thread>

#include "platform/base/error.h"
#include "platform/stores/database.h"
#include "platform/stores/store.h"
#include "tests/support/certificates.h"

namespace platform::testing {
namespace {

namespace fs = std::filesystem;

using StoreDamageTest = CertsTest;

// Runs `body` in a process of its own, which ends without clean-up of the test's.
template <class Body>
pid_t Spawn(Body&& body) {
    const pid_t child = fork();
    if (child != 0) return child;
    int status = 0;
    try {
        body();
    } catch (...) {
        status = 1;
    }
    _exit(status);
}

int StatusOf(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

std::set<std::string> Names(const std::string& store) {
    std::set<std::string> names;
    for (const auto& item :
         OpenSystemStore(Side::User, store, OpenMode::OpenOrCreate)->Certificates()) {
        const std::string name = SubjectOf(item->Info());
        EXPECT_TRUE(names.insert(name).second) << name << " stands there twice";
    }
    return names;
}

TEST_F(StoreDamageTest, WritersAtOnceLoseNothing) {
    constexpr unsigned kWriters = 4;
    constexpr unsigned kEach = 25;
    std::vector<pid_t> children;
    for (unsigned writer = 0; writer < kWriters; ++writer) {
        children.push_back(Spawn([writer] {
            // The file, the tables and the store itself are made by whoever comes first.
            const auto store = OpenSystemStore(Side::User, "Shared", OpenMode::OpenOrCreate);
            for (unsigned i = 0; i < kEach; ++i) {
                const auto own = Certificate::Parse(NumberedCertificate(writer * 1000 + i));
                store->Add(*own, CERT_STORE_ADD_NEW);
                // One that all of them add, and only one may succeed with.
                const auto common = Certificate::Parse(NumberedCertificate(900000 + i));
                store->Add(*common, CERT_STORE_ADD_USE_EXISTING);
            }
        }));
    }
    for (const pid_t child : children) EXPECT_EQ(StatusOf(child), 0);
    EXPECT_EQ(Names("Shared").size(), kWriters * kEach + kEach);
}

// A reader that was open before another process wrote sees what was written.
TEST_F(StoreDamageTest, ReadersSeeOtherProcesses) {
    const auto reader = OpenSystemStore(Side::User, "My", OpenMode::Existing);
    EXPECT_TRUE(reader->Certificates().empty());
    const auto write = [](unsigned number) {
        EXPECT_EQ(StatusOf(Spawn([number] {
                      OpenSystemStore(Side::User, "My", OpenMode::OpenOrCreate)
                          ->Add(*Certificate::Parse(NumberedCertificate(number)),
                                CERT_STORE_ADD_NEW);
                  })),
                  0);
    };
    write(1);
    ASSERT_EQ(reader->Certificates().size(), 1U);
    const auto known = reader->Certificates()[0];
    write(2);
    EXPECT_EQ(reader->Certificates().size(), 2U);
    EXPECT_EQ(reader->Certificates()[0], known);
}

// A writer tells each certificate that was acknowledged through a pipe, and is killed at
// any moment. All of them must be there, and at most one more: the one under way.
TEST_F(StoreDamageTest, KilledWritersLeaveItWhole) {
    constexpr int kRounds = 30;
    constexpr std::size_t kPropertySize = 300'000;  // many pages, so that a kill hits between
    std::set<std::string> acknowledged;
    for (int round = 0; round < kRounds; ++round) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const pid_t child = Spawn([&] {
            const auto store = OpenSystemStore(Side::User, "My", OpenMode::OpenOrCreate);
            for (unsigned i = 0;; ++i) {
                const unsigned number = static_cast<unsigned>(round) * 100000 + i;
                const auto certificate = Certificate::Parse(NumberedCertificate(number));
                certificate->properties[40000] = Bytes(kPropertySize, 1);
                store->Add(*certificate, CERT_STORE_ADD_NEW);
                if (write(ends[1], &number, sizeof number) != sizeof number) return;
            }
        });
        close(ends[1]);
        unsigned number = 0;
        ASSERT_EQ(read(ends[0], &number, sizeof number), ssize_t{sizeof number});
        acknowledged.insert(std::to_string(number));
        std::this_thread::sleep_for(std::chrono::microseconds(round * 1300));
        kill(child, SIGKILL);
        EXPECT_TRUE(WIFSIGNALED(StatusOf(child)));
        while (read(ends[0], &number, sizeof number) == sizeof number) {
            acknowledged.insert(std::to_string(number));
        }
        close(ends[0]);

        const std::set<std::string> present = Names("My");
        for (const std::string& name : acknowledged) {
            ASSERT_TRUE(present.contains(name)) << name << " lost in round " << round;
        }
        ASSERT_LE(present.size(), acknowledged.size() + 1);
        acknowledged = present;
    }
    const auto store = OpenSystemStore(Side::User, "My", OpenMode::Existing);
    for (const auto& item : store->Certificates()) {
        EXPECT_EQ(item->properties.at(40000).size(), kPropertySize);
    }
}

void Fill(unsigned count) {
    const auto store = OpenSystemStore(Side::User, "My", OpenMode::OpenOrCreate);
    for (unsigned i = 0; i < count; ++i) {
        store->Add(*Certificate::Parse(NumberedCertificate(i)), CERT_STORE_ADD_NEW);
    }
}

void Overwrite(const fs::path& file, std::size_t at, std::size_t size) {
    Bytes content = ReadFile(file);
    ASSERT_LE(at + size, content.size());
    std::memset(content.data() + at, 0xA5, size);
    WriteFile(file, content);
}

void Sql(const char* statement) { Database(Folder() / "user/stores.db").Run(statement); }

TEST_F(StoreDamageTest, RefusesDamageAndLeavesIt) {
    const struct {
        const char* name;
        void (*damage)();
        DWORD error;
    } rows[] = {
        {"header", [] { Overwrite(Database(), 0, 16); }, ERROR_FILE_CORRUPT},
        {"first page", [] { Overwrite(Database(), 100, 3000); }, ERROR_FILE_CORRUPT},
        {"every later page", [] { Overwrite(Database(), 4096, 4096 * 6); }, ERROR_FILE_CORRUPT},
        {"cut", [] { fs::resize_file(Database(), 4096 * 2); }, ERROR_FILE_CORRUPT},
        {"cut inside the first page", [] { fs::resize_file(Database(), 700); }, ERROR_FILE_CORRUPT},
        {"damaged certificate",
         [] { Sql("UPDATE certificates SET der = x'3003020101' WHERE id = 3"); },
         ERROR_FILE_CORRUPT},
        {"newer schema", [] { Sql("PRAGMA user_version = 2"); }, ERROR_BADDB},
        {"another program", [] { Sql("PRAGMA application_id = 1"); }, ERROR_BADDB},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        fs::remove_all(UserHome());
        Fill(8);
        row.damage();
        const Bytes before = ReadFile(Database());
        for (const OpenMode mode : {OpenMode::Existing, OpenMode::OpenOrCreate}) {
            for (const char* name : {"My", "Another"}) {
                // Another store of a database with one bad row is a sound store.
                const auto open = [&] { OpenSystemStore(Side::User, name, mode)->Certificates(); };
                if (std::string_view(name) == "My") {
                    EXPECT_EQ(CodeOf(open), row.error);
                    EXPECT_TRUE(DetailOf(open).starts_with(Database().string()));
                } else {
                    CodeOf(open);
                }
            }
            if (row.error == ERROR_FILE_CORRUPT &&
                std::string_view(row.name) == "damaged certificate") {
                break;  // "Another" was rightly made
            }
            EXPECT_EQ(ReadFile(Database()), before);
        }
    }
}

TEST_F(StoreDamageTest, LeftoversOfADyingProcessAreAnEmptySide) {
    fs::create_directories(UserHome());
    WriteFile("user/stores.db", {});
    EXPECT_TRUE(Names("My").empty());
    EXPECT_EQ(fs::file_size(Database()), 0U);
    Fill(1);
    EXPECT_EQ(Names("My").size(), 1U);
}

// The superuser may write everywhere, so he becomes somebody else first.
void GiveUpPowers() {
    if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(9);
}

TEST_F(StoreDamageTest, ReadsWhatItMayNotWrite) {
    Fill(2);
    const auto readable = fs::perms::group_read | fs::perms::others_read;
    const auto enter = fs::perms::group_exec | fs::perms::others_exec;
    fs::permissions(Folder(), enter, fs::perm_options::add);
    fs::permissions(UserHome(), fs::perms::owner_read | fs::perms::owner_exec | readable | enter);
    fs::permissions(Database(), fs::perms::owner_read | readable);
    const pid_t child = Spawn([] {
        GiveUpPowers();
        if (Names("My").size() != 2) _exit(2);
        try {
            OpenSystemStore(Side::User, "My", OpenMode::Existing)
                ->Add(*Certificate::Parse(NumberedCertificate(77)), CERT_STORE_ADD_NEW);
            _exit(3);
        } catch (const Error& error) {
            if (error.Code() != ERROR_ACCESS_DENIED) _exit(4);
            if (error.Detail() != Database().string()) _exit(5);
        }
    });
    EXPECT_EQ(WEXITSTATUS(StatusOf(child)), 0);
    EXPECT_EQ(Names("My").size(), 2U);
    fs::permissions(UserHome(), fs::perms::owner_all);
}

void LetOthersRead() {
    fs::permissions(Folder(), static_cast<fs::perms>(0755));
    fs::permissions(Folder() / "user", static_cast<fs::perms>(0555));
    fs::permissions(Folder() / "user/stores.db", static_cast<fs::perms>(0444));
}

// What a reader without rights on the side is told: the error's detail, "read" for none.
std::string ToldToAnother() {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = Spawn([&] {
        GiveUpPowers();
        std::string told = "read";
        try {
            OpenSystemStore(Side::User, "My", OpenMode::Existing)->Certificates();
        } catch (const Error& error) {
            told = std::to_string(error.Code()) + " " + error.Detail();
        }
        if (write(ends[1], told.data(), told.size()) < 0) _exit(2);
    });
    EXPECT_EQ(WEXITSTATUS(StatusOf(child)), 0);
    char text[1000];
    const ssize_t size = read(ends[0], text, sizeof text);
    close(ends[0]);
    close(ends[1]);
    return {text, static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

// A writer that was killed while it wrote leaves what only another writer can take back.
TEST_F(StoreDamageTest, TellsReadersWhoMendsACutOffChange) {
    Fill(3);
    fs::permissions(UserHome(), fs::perms::owner_all);
    const pid_t writer = Spawn([] {
        platform::Database database(Folder() / "user/stores.db");
        database.Run("PRAGMA cache_spill = ON; PRAGMA cache_size = 1");
        database.InTransaction([&] {
            database.Run("UPDATE certificates SET der = zeroblob(300000)");
            kill(getpid(), SIGKILL);
        });
    });
    EXPECT_TRUE(WIFSIGNALED(StatusOf(writer)));
    LetOthersRead();
    const std::string told = ToldToAnother();
    EXPECT_TRUE(told.starts_with("5 " + Database().string())) << told;
    EXPECT_NE(told.find("an administrator runs 'kestrelctl store list'"), std::string::npos)
        << told;

    fs::permissions(UserHome(), fs::perms::owner_all);
    fs::permissions(Database(), static_cast<fs::perms>(0644));
    EXPECT_EQ(Names("My").size(), 3U);
    LetOthersRead();
    EXPECT_EQ(ToldToAnother(), "read");
    fs::permissions(UserHome(), fs::perms::owner_all);
}

// Only what is not there is empty.
TEST_F(StoreDamageTest, TellsOfSidesThatCannotBeRead) {
    const struct {
        const char* name;
        void (*spoil)();
        DWORD error;
    } rows[] = {
        {"file without rights", [] { fs::permissions(Database(), fs::perms::none); },
         ERROR_ACCESS_DENIED},
        {"folder without rights", [] { fs::permissions(UserHome(), fs::perms::none); },
         ERROR_ACCESS_DENIED},
        {"folder in the file's place",
         [] {
             fs::remove(Database());
             fs::create_directory(Database());
         },
         ERROR_ACCESS_DENIED},
        {"link to nowhere",
         [] {
             fs::remove(Database());
             fs::create_symlink("gone", Database());
         },
         ERROR_FILE_CORRUPT},
        {"file in the folder's place",
         [] {
             fs::remove_all(UserHome());
             WriteFile("user", {});
         },
         ERROR_PATH_NOT_FOUND},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Clear();
        Fill(1);
        fs::permissions(Folder(), static_cast<fs::perms>(0755));
        fs::permissions(UserHome(), static_cast<fs::perms>(0755));
        row.spoil();
        const std::string told = ToldToAnother();
        EXPECT_TRUE(told.starts_with(std::to_string(row.error) + " " + Database().string()))
            << told;
        std::error_code ignored;
        fs::permissions(UserHome(), fs::perms::owner_all, ignored);
        fs::remove_all(UserHome());
    }
}

TEST_F(StoreDamageTest, MaskDecidesNoPermissions) {
    const mode_t last = umask(0777);
    for (const Side side : {Side::User, Side::Machine}) {
        OpenSystemStore(side, "My", OpenMode::OpenOrCreate)
            ->Add(*Certificate::Parse(NumberedCertificate(1)), CERT_STORE_ADD_NEW);
    }
    umask(last);
    const auto modeOf = [](const fs::path& file) {
        return static_cast<unsigned>(fs::status(file).permissions());
    };
    EXPECT_EQ(modeOf(MachineHome()), 0755U);
    EXPECT_EQ(modeOf(MachineHome() / "stores.db"), 0644U);
    EXPECT_EQ(modeOf(Database()), 0600U);
}

TEST_F(StoreDamageTest, ManyChangesAreOne) {
    const auto add = [](unsigned first, unsigned last) {
        const auto store = OpenSystemStore(Side::User, "New", OpenMode::CreateOnWrite);
        store->Together([&] {
            for (unsigned i = first; i < last; ++i) {
                store->Add(*Certificate::Parse(NumberedCertificate(i)), CERT_STORE_ADD_NEW);
            }
        });
    };
    EXPECT_EQ(CodeOf([&] {
                  const auto store = OpenSystemStore(Side::User, "New", OpenMode::CreateOnWrite);
                  store->Together([&] {
                      store->Add(*Certificate::Parse(NumberedCertificate(1)), CERT_STORE_ADD_NEW);
                      throw Error(ERROR_CANCELLED);
                  });
              }),
              DWORD{ERROR_CANCELLED});
    EXPECT_EQ(CodeOf([] { OpenSystemStore(Side::User, "New", OpenMode::Existing); }),
              DWORD{ERROR_FILE_NOT_FOUND});
    add(0, 10);
    EXPECT_EQ(CodeOf([&] { add(8, 12); }), Code(CRYPT_E_EXISTS));
    EXPECT_EQ(Names("New").size(), 10U);
}

}  // namespace
}  // namespace platform::testing
