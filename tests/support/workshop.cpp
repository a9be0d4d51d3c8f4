// A folder, the openssl command and its keys.
#include "tests/support/workshop.h"

#include <openssl/err.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>

#include "platform/providers/key_file.h"
#include "tests/support/folder.h"

namespace platform::testing {
namespace {

namespace fs = std::filesystem;

const KeyRow& KeyNamed(std::string_view name) {
    for (const KeyRow& row : KeyRows()) {
        if (row.name == name) return row;
    }
    std::abort();
}

Bytes MakeCertificate(const std::string& name) {
    const KeyRow& row = KeyNamed(name);
    OpenSsl(std::string("genpkey -engine gost ") + row.generation + " -out " + name + ".key");
    OpenSsl("pkey -engine gost -in " + name + ".key -pubout -outform DER -out " + name + ".pub");
    OpenSsl("req -engine gost -x509 -days 3650 -subj /C=RU/CN=" + name + " -" + row.digest +
            " -addext keyUsage=digitalSignature,keyEncipherment -key " + name + ".key -out " +
            name + ".pem");
    OpenSsl("x509 -in " + name + ".pem -outform DER -out " + name + ".cer");
    return ReadFile(name + ".cer");
}

}  // namespace

const fs::path& Folder() {
    static const test_support::TemporaryFolder folder;
    return folder.Path();
}

std::string OpenSsl(const std::string& arguments) {
    const std::string command =
        "cd '" + Folder().string() + "' && openssl " + arguments + " 2>openssl.err";
    std::FILE* pipe = popen(command.c_str(), "r");
    std::string output;
    char buffer[4096];
    std::size_t got = 0;
    while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) output.append(buffer, got);
    if (pclose(pipe) != 0) ADD_FAILURE() << command << "\n" << ReadText("openssl.err");
    return output;
}

fs::path WriteFile(const fs::path& name, ByteView content) {
    const fs::path file = Folder() / name;
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(content.data()),
               static_cast<std::streamsize>(content.size()));
    return file;
}

Bytes ReadFile(const fs::path& name) { return Copy(ViewOf(ReadText(name))); }

std::string ReadText(const fs::path& name) { return test_support::ReadAll(Folder() / name); }

Bytes Pattern(std::size_t size) {
    Bytes bytes(size);
    std::uint32_t state = 0x12345678;
    for (auto& byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<std::uint8_t>(state >> 24);
    }
    return bytes;
}

DWORD CodeOf(const std::function<void()>& body) {
    try {
        body();
        return 0;
    } catch (const Error& error) {
        // A thrown code leaves nothing of OpenSSL's own behind.
        EXPECT_EQ(ERR_peek_error(), 0U);
        return error.Code();
    }
}

std::size_t CountOf(std::string_view part, std::string_view text) {
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != text.npos; ++at) ++count;
    return count;
}

std::string DetailOf(const std::function<void()>& body) {
    try {
        body();
        return {};
    } catch (const Error& error) {
        return error.Detail();
    }
}

const std::vector<KeyRow>& KeyRows() {
    static const std::vector<KeyRow> rows = {
        {"rsa", "-algorithm RSA -pkeyopt rsa_keygen_bits:2048", "sha256", oid::kSha256, 24},
        {"pss", "-algorithm RSA-PSS -pkeyopt rsa_keygen_bits:2048", "sha256", oid::kSha256, 24},
        {"p256", "-algorithm EC -pkeyopt ec_paramgen_curve:P-256", "sha256", oid::kSha256, 16},
        {"p384", "-algorithm EC -pkeyopt ec_paramgen_curve:P-384", "sha384", oid::kSha384, 16},
        {"p521", "-algorithm EC -pkeyopt ec_paramgen_curve:P-521", "sha512", oid::kSha512, 16},
        {"gost2001", "-algorithm gost2001 -pkeyopt paramset:A", "md_gost94", oid::kGostR3411_94,
         75},
        {"gost2001x", "-algorithm gost2001 -pkeyopt paramset:XA", "md_gost94", oid::kGostR3411_94,
         75},
        {"gost256", "-algorithm gost2012_256 -pkeyopt paramset:A", "md_gost12_256",
         oid::kGostR3411_2012_256, 80},
        {"gost256t", "-algorithm gost2012_256 -pkeyopt paramset:TCA", "md_gost12_256",
         oid::kGostR3411_2012_256, 80},
        {"gost512", "-algorithm gost2012_512 -pkeyopt paramset:A", "md_gost12_512",
         oid::kGostR3411_2012_512, 81},
        {"gost512c", "-algorithm gost2012_512 -pkeyopt paramset:C", "md_gost12_512",
         oid::kGostR3411_2012_512, 81},
    };
    return rows;
}

const Bytes& CertificateOf(const std::string& name) {
    static std::map<std::string, Bytes> made;
    const auto [entry, added] = made.try_emplace(name);
    if (added) entry->second = MakeCertificate(name);
    return entry->second;
}

AnyKey PublicKey(const std::string& name) {
    CertificateOf(name);
    return PublicKeyFromDer(ReadFile(name + ".pub"));
}

AnyKey PrivateKey(const std::string& name) {
    CertificateOf(name);
    return OpenKeyFile(ParseKeyFile(ReadFile(name + ".key")).value(), Secret());
}

HomesTest::HomesTest() : handles_(LiveHandles()) {
    setenv("KESTREL_HOME", UserHome().c_str(), 1);
    setenv("KESTREL_MACHINE_HOME", MachineHome().c_str(), 1);
    Clear();
}

HomesTest::~HomesTest() { EXPECT_EQ(LiveHandles(), handles_); }

void HomesTest::Clear() {
    fs::remove_all(UserHome());
    fs::remove_all(MachineHome());
}

}  // namespace platform::testing
