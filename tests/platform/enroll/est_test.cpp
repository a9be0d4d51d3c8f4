// The object that asks an authority, against a server of its own; and requests that wait.
#include <enrollment.h>
#include <unistd.h>
#include <xenroll.h>

#include <fstream>
#include <map>
#include <set>

#include "platform/base/text.h"
#include "platform/enroll/com_text.h"
#include "platform/enroll/request.h"
#include "platform/enroll/response.h"
#include "platform/enroll/waiting_requests.h"
#include "tests/support/certificates.h"
#include "tests/support/engine.h"
#include "tests/support/server_child.h"

namespace platform::testing {
namespace {

namespace fs = std::filesystem;

std::string Program() {
    return "python3 -B '" TEST_SUPPORT "/flca_authority.py' --folder '" +
           (Folder() / "authority").string() + "'";
}

WORD AuthorityPort() {
    static const ServerChild child(Program() + " --quiet");
    return child[0];
}

void Decide(const std::string& order) {
    EXPECT_EQ(std::system((Program() + " " + order).c_str()), 0) << order;
}

const Bytes& RequestNamed(const std::string& name) {
    static std::map<std::string, Bytes> made;
    Bytes& request = made[name];
    if (request.empty()) {
        OpenSsl("req -new -newkey rsa:2048 -nodes -keyout " + name + ".key -subj /CN=" + name +
                " -outform DER -out " + name + ".csr");
        request = ReadFile(name + ".csr");
    }
    return request;
}

struct Text {
    explicit Text(std::string_view utf8 = {}) : bstr(NewText(Widen(utf8))) {}
    ~Text() { SysFreeString(bstr); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    BSTR* Fill() {
        SysFreeString(std::exchange(bstr, nullptr));
        return &bstr;
    }
    [[nodiscard]] std::string Narrow() const { return NarrowText(bstr); }
    BSTR bstr;
};

// "@" stands for the server's host and port.
std::string AddressOf(std::string pattern) {
    const std::size_t at = pattern.find("//@");
    if (at == pattern.npos) return pattern;
    return pattern.replace(at + 2, 1, "127.0.0.1:" + std::to_string(AuthorityPort()));
}

class EstTest : public HomesTest {
  protected:
    EstTest() {
        CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        void* object = nullptr;
        EXPECT_EQ(CoCreateInstance(enrollment::kCCertRequest, nullptr, CLSCTX_INPROC_SERVER,
                                   enrollment::kICertRequest, &object),
                  S_OK);
        client = static_cast<ICertRequest*>(object);
    }
    ~EstTest() override {
        client->Release();
        CoUninitialize();
    }

    static void TrustServer() {
        AuthorityPort();
        Trust("authority/web-root.pem");
    }
    HRESULT Submit(const std::string& address, const Bytes& request) {
        const Text config(AddressOf(address));
        const Text text(Base64Lines(request));
        return client->Submit(CR_IN_ENCODEANY, text.bstr, nullptr, config.bstr, &disposition);
    }
    HRESULT Retrieve(LONG number, const std::string& address) {
        const Text config(AddressOf(address));
        return client->RetrievePending(number, config.bstr, &disposition);
    }
    std::string Message() {
        Text text;
        return client->GetDispositionMessage(text.Fill()) == S_OK ? text.Narrow() : "";
    }

    ICertRequest* client = nullptr;
    LONG disposition = -1;
};

struct OutcomeRow {
    const char* what;
    const char* address;
    DWORD result;
    LONG disposition;
    const char* words;  // the end of what a user is told
};
constexpr DWORD kOtherKind = 0x800706BA;
constexpr DWORD kBadAnswer = 0x80072F78;
constexpr const char* kForms = "https://host[:port][/.well-known/est[/label]]";
const OutcomeRow kOutcomes[] = {
    {"issued", "https://@", 0, 3, "The certificate was issued."},
    {"path and label", "https://@/.well-known/est/any/", 0, 3, "The certificate was issued."},
    {"pending", "https://@/.well-known/est/pend", 0, 5, "It asks to wait 60 seconds."},
    {"denied, with a control character", "https://@/.well-known/est/deny", 0, 2,
     "denied the request: The administrator said no.?[31m"},
    {"nobody told", "https://@/.well-known/est/private", 0x80072EEF, -1, ""},
    {"HTML", "https://@/.well-known/est/html", kBadAnswer, -1, "holds no PKCS #7 message"},
    {"no certificate", "https://@/.well-known/est/empty", kBadAnswer, -1, "holds no certificate"},
    {"another's certificate", "https://@/.well-known/est/stranger", kBadAnswer, -1,
     "no certificate of the answer has the key of the request"},
    {"closed midway", "https://@/.well-known/est/cut", 0x80072EFE, -1, ""},
    {"out of order", "https://@/.well-known/est/broken", kBadAnswer, -1, "500"},
    {"sent to plain http", "https://@/.well-known/est/moved", kBadAnswer, -1, "302"},
    {"nobody there", "https://127.0.0.1:1", 0x80072EFD, -1, ""},
    {"plain http", "http://@", kOtherKind, -1, kForms},
    {"other pages", "https://@/certsrv", kOtherKind, -1, kForms},
    {"longer name", "https://@/.well-known/estate", kOtherKind, -1, kForms},
    {"two labels", "https://@/.well-known/est/a/b", kOtherKind, -1, kForms},
};

TEST_F(EstTest, Outcomes) {
    TrustServer();
    for (const OutcomeRow& row : kOutcomes) {
        disposition = -1;
        const auto result = static_cast<DWORD>(Submit(row.address, RequestNamed("ann")));
        EXPECT_EQ(result, row.result) << std::hex << row.what << ' ' << result;
        EXPECT_EQ(disposition, row.disposition) << row.what;
        const std::string told = result == 0 ? Message() : LastErrorDetail(result);
        EXPECT_TRUE(told.ends_with(row.words)) << row.what << ": " << told;
        LONG number = 0;
        EXPECT_EQ(client->GetRequestId(&number) == S_OK, row.disposition == 5) << row.what;
        LONG status = 0;
        EXPECT_EQ(client->GetLastStatus(&status), S_OK);
        EXPECT_EQ(static_cast<DWORD>(status), row.disposition == 2 ? 0x80094014 : row.result);
    }
}

TEST_F(EstTest, ServerMustBeTrusted) {
    EXPECT_EQ(static_cast<DWORD>(Submit("https://@", RequestNamed("ann"))), 0x80072F8FU);
}

TEST_F(EstTest, WhoIsKnown) {
    TrustServer();
    const auto at = [](const std::string& user) {
        return "https://" + user + AddressOf("//@").substr(2) + "/.well-known/est/private";
    };
    EXPECT_EQ(Submit(at("ann:secret@"), RequestNamed("ann")), S_OK);
    EXPECT_EQ(Submit(at("ann:%73ecret@"), RequestNamed("ann")), S_OK);
    const auto refused = static_cast<DWORD>(Submit(at("ann:Hush@"), RequestNamed("ann")));
    EXPECT_EQ(refused, 0x80072EEFU);
    EXPECT_EQ(LastErrorDetail(refused).find("Hush"), std::string::npos);
    EXPECT_EQ(static_cast<DWORD>(Submit(at("ann:%7x@"), RequestNamed("ann"))), kOtherKind);
}

// What a certificate looks like under each flag, as the openssl command reads it.
TEST_F(EstTest, FormsOfTheAnswer) {
    TrustServer();
    ASSERT_EQ(Submit("https://@", RequestNamed("ann")), S_OK);
    const struct {
        LONG flags;
        const char* command;
        std::size_t certificates;
        const char* begin;
    } rows[] = {
        {CR_OUT_BASE64HEADER, "x509 -noout -subject -in answer", 1,
         "-----BEGIN CERTIFICATE-----\r\n"},
        {CR_OUT_BASE64, "x509 -noout -subject -inform DER -in answer.der", 1, "MII"},
        {CR_OUT_BINARY, "x509 -noout -subject -inform DER -in answer", 1, "\x30\x82"},
        {CR_OUT_CHAIN | CR_OUT_BINARY, "pkcs7 -noout -print_certs -inform DER -in answer", 3,
         "\x30"},
        {CR_OUT_CHAIN | CR_OUT_BASE64, "pkcs7 -noout -print_certs -inform DER -in answer.der", 3,
         "MII"},
    };
    for (const auto& row : rows) {
        Text text;
        ASSERT_EQ(client->GetCertificate(row.flags, text.Fill()), S_OK) << row.flags;
        const bool binary = (row.flags & CR_OUT_ENCODEMASK) == CR_OUT_BINARY;
        const std::string narrow = binary ? "" : text.Narrow();
        const ByteView octets = binary ? OctetsOf(text.bstr) : ViewOf(narrow);
        WriteFile("answer", octets);
        if (row.flags & CR_OUT_BASE64) WriteFile("answer.der", DecodeText(text.bstr));
        EXPECT_TRUE(ReadText("answer").starts_with(row.begin)) << row.flags;
        const std::string shown = OpenSsl(row.command);
        EXPECT_EQ(CountOf("subject=", shown), row.certificates) << shown;
        EXPECT_NE(shown.find("CN = ann"), shown.npos) << shown;
    }
    Text text;
    EXPECT_EQ(client->GetCertificate(0x200, text.Fill()), E_INVALIDARG);
    const Text config(AddressOf("https://@"));
    ASSERT_EQ(client->GetCACertificate(0, config.bstr, CR_OUT_BASE64HEADER, text.Fill()), S_OK);
    WriteFile("answer", ViewOf(text.Narrow()));
    EXPECT_EQ(OpenSsl("x509 -in answer"), ReadText("authority/ca.pem"));
    // The issuers cannot be had, the certificate can.
    ASSERT_EQ(Submit("https://@/.well-known/est/alone", RequestNamed("ann")), S_OK);
    ASSERT_EQ(client->GetCertificate(CR_OUT_CHAIN | CR_OUT_BINARY, text.Fill()), S_OK);
    WriteFile("answer", OctetsOf(text.bstr));
    EXPECT_EQ(CountOf("subject=", OpenSsl("pkcs7 -noout -print_certs -inform DER -in answer")), 1U);
}

TEST_F(EstTest, PendingUntilDecided) {
    TrustServer();
    const std::string address = "https://@/.well-known/est/pend";
    // "bob" again waits already.
    for (const auto& [name, expected] : {std::pair{"bob", 1}, {"bob", 1}, {"eve", 2}}) {
        LONG number = 0;
        ASSERT_EQ(Submit(address, RequestNamed(name)), S_OK);
        ASSERT_EQ(client->GetRequestId(&number), S_OK);
        EXPECT_EQ(number, expected);
    }
    EXPECT_EQ(Retrieve(7, address), CRYPT_E_NOT_FOUND);
    EXPECT_EQ(Retrieve(1, "https://@"), CRYPT_E_NOT_FOUND);
    ASSERT_EQ(Retrieve(1, address), S_OK);
    EXPECT_EQ(disposition, CR_DISP_UNDER_SUBMISSION);
    std::ofstream(UserHome() / "waiting" / "3") << "https://elsewhere\r\ncut";
    EXPECT_EQ(static_cast<DWORD>(Retrieve(3, address)), 0x80070570U);
    Decide("--approve last");  // their number is another
    ASSERT_EQ(Retrieve(2, address), S_OK);
    EXPECT_EQ(disposition, CR_DISP_ISSUED);
    Text certificate;
    EXPECT_EQ(client->GetCertificate(CR_OUT_CHAIN, certificate.Fill()), S_OK);
}

// Made by the older control alone; `openssl` finds the request inside, signed by its own key.
TEST_F(EstTest, WrappedForm) {
    SKIP_WITHOUT_ENGINE();
    for (const LONG type : {PROV_RSA_AES, 16, 75, 81}) {
        void* object = nullptr;
        ASSERT_EQ(CoCreateInstance(enrollment::kCEnroll, nullptr, CLSCTX_INPROC_SERVER,
                                   enrollment::kICEnroll4, &object),
                  S_OK);
        auto* control = static_cast<ICEnroll4*>(object);
        control->put_ProviderType(type);
        if (type == 16) control->put_KeySpec(AT_SIGNATURE);
        const Text name("CN=Ann");
        Text wrapped;
        EXPECT_EQ(control->createRequest(3, name.bstr, nullptr, wrapped.Fill()), E_NOTIMPL);
        ASSERT_EQ(control->createRequest(XECR_PKCS7, name.bstr, nullptr, wrapped.Fill()), S_OK);
        control->Release();
        WriteFile("wrapped", DecodeText(wrapped.bstr));
        OpenSsl(
            "cms -engine gost -verify -noverify -binary -inform DER -in wrapped -signer by.pem "
            "-out inner");
        EXPECT_EQ(OpenSsl("req -engine gost -verify -inform DER -in inner -noout -pubkey"),
                  OpenSsl("x509 -engine gost -in by.pem -noout -pubkey"))
            << type;
    }
}

TEST_F(EstTest, NumbersAreNotShared) {
    constexpr int kProcesses = 6;
    for (int i = 0; i < kProcesses; ++i) RequestNamed("p" + std::to_string(i));
    int results[2];
    ASSERT_EQ(pipe(results), 0);
    for (int i = 0; i < kProcesses; ++i) {
        if (fork() != 0) continue;
        const LONG number = KeepWaiting({"https://a", RequestNamed("p" + std::to_string(i))});
        _exit(write(results[1], &number, sizeof number) == sizeof number ? 0 : 1);
    }
    std::set<LONG> numbers;
    LONG number = 0;
    for (int i = 0; i < kProcesses; ++i) {
        ASSERT_EQ(read(results[0], &number, sizeof number), ssize_t{sizeof number});
        numbers.insert(number);
    }
    close(results[0]);
    close(results[1]);
    EXPECT_EQ(numbers, (std::set<LONG>{1, 2, 3, 4, 5, 6}));
    ForgetWaiting(PublicKeyOfRequest(RequestNamed("p0")));
    EXPECT_EQ(std::distance(fs::directory_iterator(UserHome() / "waiting"), {}), kProcesses - 1);
}

}  // namespace
}  // namespace platform::testing
