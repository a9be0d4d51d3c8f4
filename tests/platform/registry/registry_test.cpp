// The two sides as a process sees them, through the exported calls.
#include <sys/stat.h>

#include "platform/registry/registry.h"

#include "platform/base/error.h"
#include "tests/support/workshop.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

constexpr const char* kTypes = "SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types";

class RegistryTest : public testing::HomesTest {
  protected:
    RegistryTest() {
        fs::create_directory(UserHome());
        fs::create_directory(MachineHome());
        ForgetRegistry();
    }
    static void WriteSide(const char* side, const std::string& body) {
        Write(fs::path(side) / "registry.reg", body);
        ForgetRegistry();
    }
    static void Write(const fs::path& file, const std::string& body) {
        testing::WriteFile(file, ViewOf("Windows Registry Editor Version 5.00\r\n\r\n" + body));
    }
    const fs::path folder_ = testing::Folder();
};

// An open key; null after a failure.
class Key {
  public:
    Key(HKEY root, const char* path, REGSAM access = KEY_READ) {
        status_ = RegOpenKeyExA(root, path, 0, access, &key_);
    }
    ~Key() { EXPECT_TRUE(status_ != 0 || RegCloseKey(key_) == 0); }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;
    [[nodiscard]] HKEY Get() const { return key_; }
    [[nodiscard]] LSTATUS Status() const { return status_; }

  private:
    HKEY key_ = nullptr;
    LSTATUS status_ = 0;
};

std::vector<std::string> KeysBelow(HKEY key) {
    std::vector<std::string> names;
    for (DWORD index = 0;; ++index) {
        char name[257];
        DWORD size = sizeof name;
        const LSTATUS status =
            RegEnumKeyExA(key, index, name, &size, nullptr, nullptr, nullptr, nullptr);
        if (status != 0) {
            EXPECT_EQ(status, ERROR_NO_MORE_ITEMS);
            return names;
        }
        EXPECT_EQ(size, std::string(name).size());
        names.emplace_back(name);
    }
}

std::string TextAt(HKEY root, const std::string& path, const char* name) {
    const Key key(root, path.c_str());
    char text[200] = {};
    DWORD size = sizeof text;
    const LSTATUS status =
        RegQueryValueExA(key.Get(), name, nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size);
    return status == 0 ? text : "(" + std::to_string(status) + ")";
}

using Names = std::vector<std::string>;

TEST_F(RegistryTest, ValuesOfAnotherKindAreNamed) {
    WriteSide("user", "[HKEY_CURRENT_USER\\P\\Q]\r\n\"short\"=\"\"\r\n\"long\"=\"text\"\r\n");
    const Key outer(HKEY_CURRENT_USER, "p");
    const Key inner(outer.Get(), "Q");
    const struct {
        const char* name;
        LSTATUS status;
        DWORD code;
        const char* detail;
    } rows[] = {
        {"LONG", ERROR_MORE_DATA, ERROR_MORE_DATA, "HKEY_CURRENT_USER\\p\\Q\\long"},
        // What its caller may say of it, as Win32 code and as the result made of that.
        {"short", 0, ERROR_INVALID_DATA, "HKEY_CURRENT_USER\\p\\Q\\short"},
        {"short", 0, 0x8007000D, "HKEY_CURRENT_USER\\p\\Q\\short"},
        {"none", ERROR_FILE_NOT_FOUND, ERROR_INVALID_DATA, ""},
    };
    for (const auto& row : rows) {
        DWORD number = 0;
        DWORD size = sizeof number;
        EXPECT_EQ(RegQueryValueExA(inner.Get(), row.name, nullptr, nullptr,
                                   reinterpret_cast<BYTE*>(&number), &size),
                  row.status)
            << row.name;
        EXPECT_EQ(LastErrorDetail(row.code), row.detail) << row.name;
    }
}

TEST_F(RegistryTest, ChangesAreSeenAtOnce) {
    for (const char* text : {"one", "three"}) {
        Write(UserHome() / "registry.reg",
              std::string("[HKEY_CURRENT_USER\\P]\r\n\"v\"=\"") + text + "\"\r\n");
        EXPECT_EQ(TextAt(HKEY_CURRENT_USER, "P", "v"), text);
    }
}

TEST_F(RegistryTest, LaterFilesWin) {
    Write("first",
          "[HKEY_LOCAL_MACHINE\\P]\r\n\"a\"=\"1\"\r\n\"b\"=\"1\"\r\n"
          "[HKEY_LOCAL_MACHINE\\P\\Q]\r\n\"c\"=\"1\"\r\n");
    Write("second",
          "[HKEY_LOCAL_MACHINE\\p]\r\n\"A\"=\"2\"\r\n\"b\"=-\r\n"
          "[-HKEY_LOCAL_MACHINE\\P\\Q]\r\n[HKEY_CURRENT_USER\\P]\r\n\"a\"=\"user\"\r\n");
    const std::vector<fs::path> files = {folder_ / "absent", folder_ / "first", folder_ / "second"};
    const RegistryTree tree = LoadTree(Side::Machine, files);
    const auto key = FindKey(tree.Root(), "P");
    ASSERT_NE(key, nullptr);
    ASSERT_EQ(key->values.size(), 1U);
    EXPECT_EQ(TextOf(*key->FindValue("a")), "2");
    EXPECT_TRUE(key->keys.empty());
    EXPECT_EQ(RegistryFiles(Side::Machine), (std::vector<fs::path>{folder_ / "machine/registry.reg",
                                                                   "/etc/kestrel/registry.reg"}));
}

// A list of this length took minutes once.
TEST_F(RegistryTest, ManyValuesOfOneKey) {
    std::string text = "[HKEY_CURRENT_USER\\L]\r\n";
    for (int i = 0; i < 30000; ++i) text += "\"v" + std::to_string(i) + "\"=\"\"\r\n";
    WriteSide("user", text + "\"V1\"=-\r\n\"v2\"=-\r\n\"v1\"=\"again\"\r\n\"V3\"=\"3\"\r\n");
    const auto values = FindKey(LoadSide(Side::User)->Root(), "L")->values;
    ASSERT_EQ(values.size(), 29999U);
    EXPECT_EQ(values[1].name + TextOf(values[1]) + values.back().name, "V33v1");
}

TEST_F(RegistryTest, OpeningKeys) {
    WriteSide("user", "[HKEY_CURRENT_USER\\A\\\xD0\x91]\r\n");
    const struct {
        const char* name;
        HKEY root;
        const char* path;
        REGSAM access;
        LSTATUS status;
    } rows[] = {
        {"found", HKEY_CURRENT_USER, "A", KEY_READ, 0},
        {"folded Cyrillic", HKEY_CURRENT_USER, "a\\\xD0\xB1", KEY_QUERY_VALUE, 0},
        {"missing", HKEY_CURRENT_USER, "B", KEY_READ, ERROR_FILE_NOT_FOUND},
        {"other side", HKEY_LOCAL_MACHINE, "A", KEY_READ, ERROR_FILE_NOT_FOUND},
        {"classes", HKEY_CLASSES_ROOT, "A", KEY_READ, ERROR_FILE_NOT_FOUND},
        {"for writing", HKEY_CURRENT_USER, "A", KEY_WRITE, ERROR_ACCESS_DENIED},
        {"no handle", nullptr, "A", KEY_READ, ERROR_INVALID_HANDLE},
    };
    for (const auto& row : rows) {
        const Key key(row.root, row.path, row.access);
        EXPECT_EQ(key.Status(), row.status) << row.name;
    }
}

TEST_F(RegistryTest, SizesOfValues) {
    WriteSide("user",
              "[HKEY_CURRENT_USER\\S]\r\n\"text\"=\"a\xD0\x91\"\r\n\"number\"=dword:5\r\n"
              "\"torn\"=hex(1):61,00,62\r\n\"open\"=hex(1):61,00\r\n@=hex:01,02,03\r\n");
    const struct {
        const char* name;
        const char* value;
        DWORD type;
        DWORD narrow;  // bytes, the terminator included
        DWORD wide;
    } rows[] = {
        {"text", "TEXT", REG_SZ, 4, 3 * sizeof(WCHAR)},
        {"number", "number", REG_DWORD, 4, 4},
        {"odd byte stays odd", "torn", REG_SZ, 2, sizeof(WCHAR) + 1},
        {"no terminator is added", "open", REG_SZ, 1, sizeof(WCHAR)},
    };
    const Key key(HKEY_CURRENT_USER, "S");
    for (const auto& row : rows) {
        for (const bool wide : {false, true}) {
            const DWORD need = wide ? row.wide : row.narrow;
            const std::wstring wideName(row.value, row.value + std::string(row.value).size());
            BYTE data[64];
            const auto query = [&](BYTE* buffer, DWORD* size, DWORD* type) {
                return wide ? RegQueryValueExW(key.Get(), wideName.c_str(), nullptr, type, buffer,
                                               size)
                            : RegQueryValueExA(key.Get(), row.value, nullptr, type, buffer, size);
            };
            DWORD type = 99;
            DWORD size = 0;
            EXPECT_EQ(query(nullptr, &size, &type), 0) << row.name;
            EXPECT_EQ(size, need) << row.name << wide;
            EXPECT_EQ(type, row.type) << row.name;
            size = need - 1;
            EXPECT_EQ(query(data, &size, nullptr), ERROR_MORE_DATA) << row.name;
            EXPECT_EQ(size, need) << row.name;
            EXPECT_EQ(query(data, &size, nullptr), 0) << row.name;
            size = sizeof data;
            EXPECT_EQ(query(data, &size, nullptr), 0) << row.name;
            EXPECT_EQ(size, need) << row.name;
            EXPECT_EQ(query(data, nullptr, nullptr), ERROR_INVALID_PARAMETER) << row.name;
            EXPECT_EQ(query(nullptr, nullptr, &type), 0) << row.name;
        }
    }
    EXPECT_EQ(RegQueryValueExA(key.Get(), "none", nullptr, nullptr, nullptr, nullptr),
              ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryTest, SizesOfNames) {
    WriteSide("user",
              "[HKEY_CURRENT_USER\\S]\r\n\"v\xD0\x91\"=dword:5\r\n"
              "[HKEY_CURRENT_USER\\S\\Beta]\r\n[HKEY_CURRENT_USER\\S\\alpha]\r\n");
    const Key key(HKEY_CURRENT_USER, "S");
    EXPECT_EQ(KeysBelow(key.Get()), (Names{"alpha", "Beta"}));
    const struct {
        const char* name;
        DWORD size;
        LSTATUS status;
    } rows[] = {{"one short", 5, ERROR_MORE_DATA}, {"exact", 6, 0}, {"zero", 0, ERROR_MORE_DATA}};
    for (const auto& row : rows) {
        char narrow[8];
        wchar_t wide[8];
        DWORD size = row.size;
        EXPECT_EQ(RegEnumKeyExA(key.Get(), 0, narrow, &size, nullptr, nullptr, nullptr, nullptr),
                  row.status)
            << row.name;
        EXPECT_EQ(size, row.status == 0 ? 5 : row.size) << row.name;
        size = row.size;
        EXPECT_EQ(RegEnumKeyExW(key.Get(), 0, wide, &size, nullptr, nullptr, nullptr, nullptr),
                  row.status)
            << row.name;
    }
    wchar_t name[3];
    BYTE data[4];
    DWORD nameSize = 3;
    DWORD dataSize = 4;
    DWORD type = 0;
    EXPECT_EQ(RegEnumValueW(key.Get(), 0, name, &nameSize, nullptr, &type, data, &dataSize), 0);
    EXPECT_EQ(std::wstring(name), L"v\x411");
    EXPECT_EQ(nameSize, 2U);
    EXPECT_EQ(data[0], 5);
    nameSize = 2;
    EXPECT_EQ(RegEnumValueW(key.Get(), 0, name, &nameSize, nullptr, nullptr, nullptr, nullptr),
              ERROR_MORE_DATA);
    DWORD keys = 0;
    DWORD longestKey = 0;
    DWORD values = 0;
    DWORD longestName = 0;
    DWORD largest = 0;
    EXPECT_EQ(RegQueryInfoKeyW(key.Get(), nullptr, nullptr, nullptr, &keys, &longestKey, nullptr,
                               &values, &longestName, &largest, nullptr, nullptr),
              0);
    EXPECT_EQ((std::vector<DWORD>{keys, longestKey, values, longestName, largest}),
              (std::vector<DWORD>{2, 5, 1, 2, 4}));
}

TEST_F(RegistryTest, ADamagedFileIsAnErrorAndNeverEmpty) {
    WriteSide("user", "[HKEY_CURRENT_USER\\S]\r\ngarbage\r\n");
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "S", 0, KEY_READ, &key), ERROR_BADDB);
    EXPECT_EQ(LastErrorDetail(ERROR_BADDB), (folder_ / "user/registry.reg").string() + ", line 4");
    fs::remove(folder_ / "user/registry.reg");
    fs::create_directory(folder_ / "user/registry.reg");
    EXPECT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, "S", 0, KEY_READ, &key), ERROR_ACCESS_DENIED);
}

TEST_F(RegistryTest, OwnFileIsChangedAndSaved) {
    const std::string hidden = std::string("HKEY_LOCAL_MACHINE\\") + kTypes + "\\Type 001";
    const mode_t mask = umask(077);
    ChangeOwnDocument(Side::Machine, [&](RegistryDocument& document) {
        document.DeleteKey(hidden);
        document.Set("HKEY_LOCAL_MACHINE\\Software\\K", NumberValue("n", 7));
    });
    umask(mask);
    const auto everybody = fs::perms(0644);
    EXPECT_EQ(fs::status(OwnRegistryFile(Side::Machine)).permissions(), everybody);
    EXPECT_EQ(ReadMachineDword("software\\k", "N"), DWORD{7});
    EXPECT_EQ(KeysBelow(Key(HKEY_LOCAL_MACHINE, kTypes).Get()).size(), 5U);

    const Key open(HKEY_LOCAL_MACHINE, "Software\\K");
    ChangeOwnDocument(Side::Machine, [&](RegistryDocument& document) {
        document.Set("HKEY_LOCAL_MACHINE\\Software\\K", NumberValue("n", 8));
    });
    EXPECT_EQ(ReadMachineDword("Software\\K", "n"), DWORD{8});
    // A key that is open shows what it showed.
    DWORD number = 0;
    DWORD size = sizeof number;
    EXPECT_EQ(RegQueryValueExA(open.Get(), "n", nullptr, nullptr, reinterpret_cast<BYTE*>(&number),
                               &size),
              0);
    EXPECT_EQ(number, 7U);
}

}  // namespace
}  // namespace platform
