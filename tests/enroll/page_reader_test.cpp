// The authority's pages: tables, forms and what may be wrong with them.
#include "enroll/page_reader.h"

#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

#include "enroll/registration_form.h"
#include "enroll/request_text.h"
#include "enroll/url_retriever.h"

namespace kestrel {
namespace {

// Words of the pages: iconv -t CP1251.
constexpr char kDone[] = "\xC7\xE0\xE2\xE5\xF0\xF8\xE5\xED";
constexpr char kAwaited[] =
    "\xC2 \xEE\xE6\xE8\xE4\xE0\xED\xE8\xE8 \xEE\xE1\xF0\xE0\xE1\xEE\xF2\xEA\xE8";
constexpr char kUserTable[] =
    "\xC7\xE0\xEF\xF0\xEE\xF1\xFB \xED\xE0 "
    "\xF1\xE5\xF0\xF2\xE8\xF4\xE8\xEA\xE0\xF2\xFB";
constexpr char kHidden[] = "<INPUT TYPE=\"HIDDEN\" NAME=\"PKCS10\" VALUE=\"";

std::string Repeated(const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) all += text;
    return all;
}

std::string Cell(const std::string& text) { return "<TD class=\"View\">" + text + "</TD>"; }

std::string UpperRow(const std::string& number, const std::string& status,
                     const std::string& request) {
    return "<TR>" + Cell(number) + Cell("a") + Cell("&nbsp;<nobr>b c</nobr> ") + Cell("") +
           Cell(status) + kHidden + request + "\"></TR>";
}
std::string UpperPage(const std::string& rows) {
    return "</table><TABLE id=tblCertRequests><TR><TH>head</TH></TR>" + rows + "</TABLE><TR>";
}
std::string LowerPage(const std::string& rows) {
    return std::string(kUserTable) + "<table><tr><th>head</th></tr>" + rows + "</table>";
}
std::string LowerRow(const std::string& status, const std::string& id) {
    return "<tr><td class=\"View\">x</td><td class=\"View\">y</td><td class=\"View\">z</td>"
           "<td class=\"View\">" +
           status + "</td><td ID=\"frmPrintRequestPage" + id +
           "\"><INPUT TYPE=\"hidden\" NAME=\"PKCS10\" VALUE=\"R\"></td></tr>";
}

constexpr TableMarks kUpper = {"tblCertRequests", "<TR>", RowKind::Request, false};
constexpr TableMarks kLower = {kUserTable, "<tr", RowKind::Request, true};
constexpr TableMarks kSerials = {kUserTable, "<tr", RowKind::Certificate, true};
constexpr TableMarks kGone = {kUserTable, "<tr", RowKind::Revocation, true};

// "number=status:columns:text;" of each row, or "unreadable".
std::string Told(const std::string& page, const TableMarks& marks) {
    PageList list;
    if (!ParseTable(page, marks, list)) return "unreadable";
    std::string told;
    for (const auto& [number, row] : list) {
        told += std::to_string(number) + "=" + std::to_string(row.status) + ":" + row.column2 +
                "," + row.column3 + "," + row.column4 + ":" + row.text + ";";
    }
    return told;
}

TEST(PageTables, Rows) {
    const std::string two = UpperRow(" 7", kDone, "M=") + UpperRow("12", kAwaited, "N");
    const std::string link = std::string("<a href=\"x\">") + kDone + " &nbsp;</a>";
    const std::string serial =
        "<tr><td class=\"View\">0A</td><td class=\"View\">y</td><td "
        "class=\"View\">z</td><td class=\"View\">?</td>ViewCert( 8)</tr>";
    const struct {
        const char* name;
        std::string page;
        TableMarks marks;
        std::string expected;
    } rows[] = {
        {"two requests", UpperPage(two), kUpper, "7=3:a,b c,:M=;12=5:a,b c,:N;"},
        {"no number", UpperPage(UpperRow("x", "y", "N")), kUpper, "0=1:a,b c,:N;"},
        {"the later of one number", UpperPage(two + UpperRow("7", "", "L")), kUpper,
         "7=1:a,b c,:L;12=5:a,b c,:N;"},
        {"no stored request", UpperPage("<TR>" + Cell("1")), kUpper, "unreadable"},
        {"lower-case tags on an upper-case page", UpperPage(LowerRow(kDone, "4")), kUpper, ""},
        {"a link", LowerPage(LowerRow(link, "41")), kLower, "41=3:x,y,z:R;"},
        {"tags nested wrongly", LowerPage(LowerRow("<b><a>" + link + "</b></a>", "4")), kLower,
         "4=1:x,y,z:R;"},
        {"upper-case tags on a lower-case page", LowerPage(two), kLower, ""},
        {"a certificate", LowerPage(serial), kSerials, "8=1:y,z,:0A;"},
        {"certificates in upper case",
         UpperPage(two),
         {"tblCertRequests", "<TR>", RowKind::Certificate, false},
         "unreadable"},
        {"revocations", LowerPage(serial + serial), kGone, "0=-1:,,:;"},
        {"no revocations", kUserTable, kGone, ""},
        {"a stored request in the next row alone",
         UpperPage("<TR>" + Repeated(Cell("1"), 5) + UpperRow("2", "", "R")), kUpper, "unreadable"},
        // Without "ViewCert(" the number is looked for near the start, up to any bracket.
        {"an opening is missing",
         LowerPage("<tr><td class=\"View\">x</td><td class=\"View\">y</td><td class=\"View\">z</td>"
                   "<td class=\"View\">w)</td></tr>"),
         kSerials, "0=1:y,z,:x;"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Told(row.page, row.marks), row.expected) << row.name;
    }
}

// Whatever is cut off, the rows that are told are rows of the page.
TEST(PageTables, CutAnywhere) {
    const std::string upper = UpperPage(UpperRow("7", kDone, "M") + UpperRow("12", kAwaited, "N"));
    const std::string lower = LowerPage(LowerRow(kDone, "4") + LowerRow(kAwaited, "5"));
    for (const auto& [page, marks, whole] :
         {std::tuple{upper, kUpper, "7=3:a,b c,:M;12=5:a,b c,:N;"},
          std::tuple{lower, kLower, "4=3:x,y,z:R;5=5:x,y,z:R;"}}) {
        for (std::size_t size = 0; size < page.size(); ++size) {
            const std::string told = Told(page.substr(0, size), marks);
            EXPECT_TRUE(told == "unreadable" || std::string_view(whole).starts_with(told))
                << size << " " << told;
        }
    }
}

TEST(PageTables, StatusWords) {
    const struct {
        const char* word;
        LONG disposition;
    } rows[] = {
        {kDone, 3},
        {"\xCE\xF2\xEA\xEB\xEE\xED\xE5\xED", 2},
        {kAwaited, 5},
        {"\xCF\xF0\xE8\xEE\xF1\xF2\xE0\xED\xEE\xE2\xEB\xE5\xED", 6},
        {"\xC7\xE0\xEF\xF0\xEE\xF8\xE5\xED \xEA \xEE\xF2\xE7\xFB\xE2\xF3", 3},
        {"\xD0\x97\xD0\xB0\xD0\xB2\xD0\xB5\xD1\x80\xD1\x88\xD0\xB5\xD0\xBD", 1},  // UTF-8
        {"", 1},
    };
    for (const auto& row : rows) EXPECT_EQ(ClassifyStatus(row.word), row.disposition) << row.word;
}

// Tags set so that each row would be read, or kept, to the end of the page.
TEST(PageTables, HostilePagesEnd) {
    const std::string open = "<TD class=\"View\">";
    const std::string rows[] = {
        Repeated("<TR>", 200000) + "</TD>\">",
        Repeated("<TR>1" + open, 100000) + "</TD>" + kHidden + "\">",
        Repeated("<TR>" + open + "1</TD>", 100000),
        "<TR>" + Repeated("<TR>" + Cell("1"), 50000) + Repeated(Cell("2"), 9) + kHidden + "\">",
    };
    for (const std::string& row : rows)
        EXPECT_EQ(Told("tblCertRequests" + row, kUpper), "unreadable");
}

// ---- the page of a new request ---------------------------------------------------

TEST(RequestForms, Lists) {
    const std::string page =
        "x strDN=\"CN=\"\"A\"\", O=B\"\r\ngArrEKU(0)=\"1.2, 1.3\"\r\n"
        "gArrKeySpec(0)=1 gArrKeySpec(1) gArrKeySpec(1)=2\r\n"
        "gArrEKU(1)=\"\"\r\n<option value=0>User <option value=1>Web<";
    RequestForm form;
    ASSERT_TRUE(ParseRequestForm(page, form));
    EXPECT_EQ(form.dn, "CN=\"A\", O=B");
    EXPECT_EQ(form.templates, (std::vector<std::string>{"User ", "Web"}));
    EXPECT_EQ(form.keySpecs, (std::vector<std::string>{"1", "2"}));
    EXPECT_EQ(form.usages, (std::vector<std::string>{"1.2,1.3", ""}));
    EXPECT_FALSE(ParseRequestForm("strDN=\"no end\"", form));
    for (std::size_t size = 0; size < page.size(); ++size) {
        static_cast<void>(ParseRequestForm(page.substr(0, size), form));
    }
}

// ---- registration ----------------------------------------------------------------

constexpr char kTitle[] = "<TD><FONT color=\"red\">Name:</FONT>";

std::string ToldFields(const std::string& page) {
    RegistrationForm form;
    if (!ParseRegistrationForm(form, page)) return "unreadable";
    std::string told;
    for (const FormField& field : form.fields) {
        told += field.id + "|" + field.name + "|" + field.value + (field.mandatory ? "|!|" : "||") +
                std::to_string(field.maxLength);
        for (const std::string& value : field.allowedValues) told += "|" + value;
        told += ";";
    }
    return told;
}

TEST(RegistrationForms, Fields) {
    const auto with = [](const std::string& rows) {
        return "GetSubjectFormPosted <TABLE>" + rows + "</TABLE>";
    };
    const std::string title = kTitle;
    const struct {
        const char* name;
        std::string page;
        const char* expected;
    } rows[] = {
        {"no fields", with(""), ""},
        {"no form", "<TABLE></TABLE>", "unreadable"},
        {"an input", with("<TR>" + title + "<INPUT name=\"CN\" maxLength=\"64\" value=\"x\"></TR>"),
         "CN|Name|x|!|64;"},
        {"no length", with("<TR><b>N:</b><INPUT name=CN value=\"\" ></TR>"), "CN|N|||-1;"},
        {"no value", with("<TR>" + title + "<INPUT name=CN maxLength=64 ></TR>"), "unreadable"},
        {"a long text", with("<TR>" + title + "<TEXTAREA name=\"T\" rows=2></TR>"),
         "T|Name||!|-1;"},
        {"no title", with("<TR><TD><INPUT name=a value=\"\"></TR>"), ""},
        {"a choice without an end", with("<TR>" + title + "<select name=C ><option value=a ></TR>"),
         "unreadable"},
        {"a row without an end", with("<TR>" + title + "<INPUT name=CN value=\"\">"), "unreadable"},
        {"a row behind the table",
         with("<TR><b></b></TR>") + "<TR><b>A:</b><INPUT name=a value=\"\"></TR>", "a|A|||-1;"},
    };
    for (const auto& row : rows) EXPECT_EQ(ToldFields(row.page), row.expected) << row.name;
    const std::string& whole = rows[2].page;
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const std::string told = ToldFields(whole.substr(0, size));
        EXPECT_TRUE(told == "unreadable" || told.empty()) << size << told;
    }
}

TEST(RegistrationForms, Validates) {
    const struct {
        const char* name;
        FormField field;
        bool good;
    } rows[] = {
        {"empty", {"", "", "", false, false, -1, {"a"}}, true},
        {"no limit", {"", "", "abc", true, false, 0, {}}, true},
        {"allowed, quotes and all", {"", "", "\"a\"", true, false, -1, {"\"a\""}}, true},
        {"allowed but for the quotes", {"", "", "a", true, false, -1, {"\"a\""}}, false},
    };
    for (const auto& row : rows) {
        RegistrationForm form;
        form.fields.push_back(row.field);
        EXPECT_EQ(ValidateForm(form), row.good) << row.name;
    }
}

// ---- addresses and values --------------------------------------------------------

TEST(Texts, Addresses) {
    const struct {
        const char* url;
        const char* host;
        const char* path;
    } rows[] = {{"http://h/p/q?x=/", "h", "/p/q?x=/"},
                {"https://h:8443/p", "h:8443", "/p"},
                {"http://https://h/p", "h", "/p"},
                {"https://http://h", "http:", "//h"},
                {"h", "h", ""},
                {"/p", "/p", ""}};
    for (const auto& row : rows) {
        std::string host;
        std::string path;
        SplitUrl(row.url, host, path);
        EXPECT_EQ(host + " " + path, std::string(row.host) + " " + row.path) << row.url;
    }
}

TEST(Texts, Thumbprints) {
    const struct {
        const char* text;
        DWORD room;
        bool parsed;
        std::vector<BYTE> bytes;
    } rows[] = {{"0aF9", 20, true, {0x0A, 0xF9}},
                {"0aF9", 1, true, {0x0A}},
                {"0ag9", 20, false, {}},
                {"0a 9", 20, false, {}},
                {"", 20, true, {}},
                {"000102030405060708090a0b0c0d0e0f10111213ZZ",
                 30,
                 true,
                 {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19}}};
    for (const auto& row : rows) {
        std::vector<BYTE> out(row.room);
        DWORD size = row.room;
        EXPECT_EQ(ParseThumbprint(row.text, std::strlen(row.text), out.data(), size), row.parsed);
        if (!row.parsed) continue;
        out.resize(size);
        EXPECT_EQ(out, row.bytes) << row.text;
    }
}

TEST(Texts, FormsAndArmour) {
    EXPECT_EQ(EncodeFormValue("aZ09_ -.=\xCF\r\n"), "aZ09_+%2D%2E%3D%CF%0D%0A");
    EXPECT_EQ(BareRequest(ArmourRequest("MII\r\nC=\r\n")), "MIIC=");
    EXPECT_EQ(CleanCell("<nobr>&nbsp;\t a&quot;<no<nobr>br>b \r\n</nobr>"), "ab");
}

}  // namespace
}  // namespace kestrel
