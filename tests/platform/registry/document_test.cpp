// Reading and writing settings files.
#include "platform/registry/document.h"

#include <gtest/gtest.h>

#include "platform/base/error.h"

namespace platform {
namespace {

const std::string kHeader = "Windows Registry Editor Version 5.00\r\n";
const std::string kKey = "[HKEY_CURRENT_USER\\K]\r\n";

// One statement a line: "+key", "-key", "key|name|type|hex" or "key|name|-".
std::string Listing(const RegistryDocument& document) {
    std::string text;
    for (const RegistryEdit& edit : document.Edits()) {
        if (!text.empty()) text += '\n';
        switch (edit.action) {
            case RegistryEdit::Action::CreateKey:
                text += '+' + edit.key;
                break;
            case RegistryEdit::Action::DeleteKey:
                text += '-' + edit.key;
                break;
            case RegistryEdit::Action::SetValue:
                text += edit.key + '|' + edit.value.name + '|' + std::to_string(edit.value.type) +
                        '|' + Hex(edit.value.data);
                break;
            case RegistryEdit::Action::DeleteValue:
                text += edit.key + '|' + edit.value.name + "|-";
                break;
        }
    }
    return text;
}

std::string ListingOf(std::string_view content) {
    try {
        return Listing(RegistryDocument::Parse(ViewOf(content), "f.reg"));
    } catch (const Error& error) {
        return std::to_string(error.Code()) + ' ' + error.Detail();
    }
}

TEST(Document, ValuesAreRead) {
    const struct {
        const char* name;
        std::string line;
        std::string expected;  // behind the key
    } rows[] = {
        {"escapes", R"("a\\b\"c"="C:\\x\"y")", "a\\b\"c|1|43003a005c007800220079000000"},
        {"backslash before a letter", R"("a"="\n")", "a|1|5c006e000000"},
        {"Cyrillic", "\"a\"=\"\xD0\x9F\"", "a|1|1f040000"},
        {"beyond 16 bits", "\"a\"=\"\xF0\x9F\x94\x91\"", "a|1|3dd811dd0000"},
        {"line end inside", "\"a\"=\"b\r\nc\"", "a|1|62000d000a0063000000"},
        {"default value", "@=\"b\"", "|1|62000000"},
        {"dword", "\"a\"=dword:0000012c", "a|4|2c010000"},
        {"empty binary", "\"a\"=hex:", "a|3|"},
        {"list", "\"a\"=hex(7):61,00,00,00,00,00", "a|7|610000000000"},
        {"unknown type", "\"a\"=hex(200):07", "a|512|07"},
        {"continued", "\"a\"=hex:01,\\\r\n  02,\\\r\n  03", "a|3|010203"},
        {"blanks", "  \"a\" =  dword:2  ", "a|4|02000000"},
        {"semicolon inside", "\"a\"=\"b;c\"", "a|1|62003b0063000000"},
        {"deletion", "\"a\"=-", "a|-"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ListingOf(kHeader + kKey + row.line + "\r\n"),
                  "+HKEY_CURRENT_USER\\K\nHKEY_CURRENT_USER\\K|" + row.expected)
            << row.name;
        // The last line may lack its end.
        EXPECT_EQ(ListingOf(kHeader + kKey + row.line),
                  "+HKEY_CURRENT_USER\\K\nHKEY_CURRENT_USER\\K|" + row.expected)
            << row.name;
    }
}

TEST(Document, FormsOfAFile) {
    const std::string wide = [] {
        std::string text = "\xFF\xFE";
        for (const char c : kHeader + "[HKEY_CURRENT_USER\\K]\r\n\"") (text += c) += '\0';
        text += "\x1F\x04";  // a Cyrillic name
        for (const char c : std::string("\"=dword:1\r\n")) (text += c) += '\0';
        return text;
    }();
    std::string big = wide;
    for (std::size_t i = 0; i < big.size(); i += 2) std::swap(big[i], big[i + 1]);
    const std::string named = "+HKEY_CURRENT_USER\\K\nHKEY_CURRENT_USER\\K|\xD0\x9F|4|01000000";
    const struct {
        const char* name;
        std::string content;
        std::string expected;
    } rows[] = {
        {"LF line ends",
         "Windows Registry Editor Version 5.00\n\n[HKEY_CURRENT_USER\\K]\n\"a\"=-\n",
         "+HKEY_CURRENT_USER\\K\nHKEY_CURRENT_USER\\K|a|-"},
        {"comments and blank lines", kHeader + "\r\n; one\r\n  ;two\r\n \r\n" + kKey + ";three",
         "+HKEY_CURRENT_USER\\K"},
        {"UTF-8 mark", "\xEF\xBB\xBF" + kHeader + kKey, "+HKEY_CURRENT_USER\\K"},
        {"UTF-16", wide, named},
        {"UTF-16, big-endian", big, named},
        {"deleted key", kHeader + "[-HKEY_LOCAL_MACHINE\\A\\B]\r\n", "-HKEY_LOCAL_MACHINE\\A\\B"},
        {"root alone, folded", kHeader + "[hkey_current_user]\r\n@=-",
         "+hkey_current_user\nhkey_current_user||-"},
    };
    for (const auto& row : rows) EXPECT_EQ(ListingOf(row.content), row.expected) << row.name;
}

TEST(Document, DamageNamesFileAndLine) {
    const struct {
        const char* name;
        std::string content;
        int line;
    } rows[] = {
        {"empty file", "", 1},
        {"other header", "REGEDIT4\r\n", 1},
        {"value before a key", kHeader + "\"a\"=-\r\n", 2},
        {"value below a deleted key", kHeader + "[-HKEY_CURRENT_USER\\K]\r\n\"a\"=-\r\n", 3},
        {"unknown root", kHeader + "[HKEY_NOWHERE\\K]\r\n", 2},
        {"key not closed", kHeader + "[HKEY_CURRENT_USER\\K\r\n", 2},
        {"empty name in a path", kHeader + "[HKEY_CURRENT_USER\\\\K]\r\n", 2},
        {"text not closed", kHeader + kKey + "\r\n\"a\"=\"b\r\n\r\n", 4},
        {"behind a text of two lines", kHeader + kKey + "\"a\"=\"b\r\nc\"\r\ngarbage", 5},
        {"no equals sign", kHeader + kKey + "\"a\" dword:1\r\n", 3},
        {"unknown type word", kHeader + kKey + "\"a\"=qword:1\r\n", 3},
        {"number not hexadecimal", kHeader + kKey + "\"a\"=dword:g\r\n", 3},
        {"number too long", kHeader + kKey + "\"a\"=dword:000000001\r\n", 3},
        {"byte too long", kHeader + kKey + "\"a\"=hex:001\r\n", 3},
        {"comma at the end", kHeader + kKey + "\"a\"=hex:00,\r\n", 3},
        {"continued into nothing", kHeader + kKey + "\"a\"=hex:00,\\", 3},
        {"continued, then damaged", kHeader + kKey + "\"a\"=hex:00,\\\r\n zz\r\n", 4},
        {"text behind a value", kHeader + kKey + "\"a\"=\"b\" c\r\n", 3},
        {"lone CR", kHeader + kKey + "\"a\"=dword:1\rgarbage\r\n", 3},
        {"NUL", kHeader + kKey + std::string("\0", 1), 3},
        {"not UTF-8", kHeader + kKey + "\"a\"=\"\xCF\xF0\"\r\n", 3},
        {"UTF-16 with half a pair", std::string("\xFF\xFE\n\0\x3D\xD8W\0", 8), 2},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ListingOf(row.content), "1009 f.reg, line " + std::to_string(row.line))
            << row.name;
    }
    // The root is no level.
    std::string deep = "HKEY_CURRENT_USER";
    for (int level = 0; level < 512; ++level) deep += "\\K";
    EXPECT_EQ(ListingOf(kHeader + "[" + deep + "]\r\n"), "+" + deep);
    EXPECT_EQ(ListingOf(kHeader + "[" + deep + "\\K]\r\n"),
              "1009 f.reg, line 2: a key deeper than 512 levels");
}

TEST(Document, CutAnywhereItReadsOrNamesTheLine) {
    const std::string whole = kHeader + "\r\n" + kKey +
                              "\"a\"=\"b\\\\\"\r\n@=dword:0000000f\r\n"
                              "\"c\"=hex(7):61,00,\\\r\n  00,00\r\n[-HKEY_CURRENT_USER\\L]\r\n";
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const std::string listing = ListingOf(whole.substr(0, length));
        const bool refused = listing.starts_with("1009 f.reg, line ");
        EXPECT_TRUE(refused || length >= 36) << length;
        EXPECT_TRUE(refused || listing.empty() || listing.front() == '+') << length;
    }
}

TEST(Document, WrittenForm) {
    RegistryDocument document;
    document.Set("HKEY_CURRENT_USER\\K", TextValue("Name", "C:\\\"x\" \xD0\x9F"));
    document.Set("HKEY_CURRENT_USER\\K", NumberValue("", 0x1F));
    document.Set("HKEY_CURRENT_USER\\K", {"Bytes", REG_BINARY, Bytes(26, 0xAB)});
    document.Set("HKEY_CURRENT_USER\\K", {"Torn", REG_SZ, {0x61}});
    document.Set("HKEY_CURRENT_USER\\K", TextValue("Lines", "a\r\nb"));
    document.Set("HKEY_CURRENT_USER\\K", {"Odd", REG_DWORD, {1, 2}});
    document.DeleteKey("HKEY_CURRENT_USER\\L");
    document.DeleteValue("HKEY_CURRENT_USER\\L", "v");
    const std::string expected = kHeader +
                                 "\r\n[HKEY_CURRENT_USER\\K]\r\n"
                                 "\"Name\"=\"C:\\\\\\\"x\\\" \xD0\x9F\"\r\n"
                                 "@=dword:0000001f\r\n"
                                 "\"Bytes\"=hex:ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,"
                                 "ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,\\\r\n  ab,ab\r\n"
                                 "\"Torn\"=hex(1):61\r\n"
                                 "\"Lines\"=hex(1):61,00,0d,00,0a,00,62,00,00,00\r\n"
                                 "\"Odd\"=hex(4):01,02\r\n"
                                 "\r\n[-HKEY_CURRENT_USER\\L]\r\n"
                                 "\r\n[HKEY_CURRENT_USER\\L]\r\n\"v\"=-\r\n";
    EXPECT_EQ(document.Serialize(), expected);
    EXPECT_EQ(ListingOf(expected), Listing(document));
}

TEST(Document, ChangesLandWhereTheyHold) {
    const std::string a = "HKEY_CURRENT_USER\\A";
    const struct {
        const char* name;
        std::string before;
        void (*change)(RegistryDocument&);
        std::string expected;
    } rows[] = {
        {"replaced, folded", "[HKEY_CURRENT_USER\\A]\r\n\"x\"=dword:1\r\n\"y\"=dword:2\r\n",
         [](auto& d) { d.Set("hkey_current_user\\a", NumberValue("X", 3)); },
         "+" + a + "\n" + a + "|y|4|02000000\nhkey_current_user\\a|X|4|03000000"},
        {"into its block", "[HKEY_CURRENT_USER\\A]\r\n\"x\"=-\r\n[HKEY_CURRENT_USER\\B]\r\n",
         [](auto& d) { d.Set("HKEY_CURRENT_USER\\A", NumberValue("y", 1)); },
         "+" + a + "\n" + a + "|x|-\n" + a + "|y|4|01000000\n+HKEY_CURRENT_USER\\B"},
        {"behind a deletion", "[HKEY_CURRENT_USER\\A]\r\n[-HKEY_CURRENT_USER]\r\n",
         [](auto& d) { d.Set("HKEY_CURRENT_USER\\A", NumberValue("y", 1)); },
         "+" + a + "\n-HKEY_CURRENT_USER\n+" + a + "\n" + a + "|y|4|01000000"},
        {"deleting a key takes what is below",
         "[HKEY_CURRENT_USER\\A]\r\n\"x\"=-\r\n[HKEY_CURRENT_USER\\A\\B]\r\n"
         "[HKEY_CURRENT_USER\\AB]\r\n",
         [](auto& d) { d.DeleteKey("HKEY_CURRENT_USER\\a"); },
         "+HKEY_CURRENT_USER\\AB\n-HKEY_CURRENT_USER\\a"},
        {"a document into its block, the last of its repeats",
         "[HKEY_CURRENT_USER\\A]\r\n\"x\"=dword:1\r\n[HKEY_CURRENT_USER\\B]\r\n",
         [](auto& d) {
             d.Append(RegistryDocument::Parse(
                 ViewOf(kHeader + "[HKEY_CURRENT_USER\\a]\r\n\"y\"=dword:2\r\n\"X\"=dword:3\r\n"
                                  "\"Y\"=dword:4\r\n[HKEY_CURRENT_USER\\C]\r\n\"z\"=-\r\n"),
                 "g.reg"));
         },
         "+" + a +
             "\n+HKEY_CURRENT_USER\\B\n+HKEY_CURRENT_USER\\a\n"
             "HKEY_CURRENT_USER\\a|X|4|03000000\nHKEY_CURRENT_USER\\a|Y|4|04000000\n"
             "+HKEY_CURRENT_USER\\C\nHKEY_CURRENT_USER\\C|z|-"},
    };
    for (const auto& row : rows) {
        auto document = RegistryDocument::Parse(ViewOf(kHeader + row.before), "f.reg");
        row.change(document);
        EXPECT_EQ(Listing(document), row.expected) << row.name;
    }
}

}  // namespace
}  // namespace platform
