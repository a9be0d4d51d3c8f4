#include "workshop.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>

#include "messages/der.h"

namespace platform::testing {
namespace {

namespace fs = std::filesystem;

struct TemporaryFolder {
    TemporaryFolder() {
        std::string name = (fs::temp_directory_path() / "certs.XXXXXX").string();
        path = mkdtemp(name.data());
    }
    ~TemporaryFolder() {
        std::error_code error;
        // A child of fork leaves the folder to its parent.
        if (getpid() == owner) fs::remove_all(path, error);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    fs::path path;
    pid_t owner = getpid();
};

struct KeyKind {
    const char* kind;
    const char* arguments;
};

constexpr KeyKind kKeyKinds[] = {
    {"rsa", "-newkey rsa:2048 -sha256"},
    {"ec", "-newkey ec -pkeyopt ec_paramgen_curve:P-256 -sha256"},
    {"ec2", "-newkey ec -pkeyopt ec_paramgen_curve:P-256 -sha256"},
    {"gost-256", "-engine gost -newkey gost2012_256 -pkeyopt paramset:A"},
    {"gost-512", "-engine gost -newkey gost2012_512 -pkeyopt paramset:A"},
};

Bytes MakeCertificate(const std::string& kind) {
    for (const KeyKind& row : kKeyKinds) {
        if (kind != row.kind) continue;
        OpenSsl("req -x509 " + std::string(row.arguments) + " -nodes -days 3650 -subj '/C=RU/CN=" +
                kind + "' -addext keyUsage=digitalSignature,keyEncipherment -keyout " + kind +
                ".key -outform DER -out " + kind + ".cer");
        return ReadFile(Folder() / (kind + ".cer"));
    }
    ADD_FAILURE() << "no such kind of key: " << kind;
    return {};
}

}  // namespace

const fs::path& Folder() {
    static const TemporaryFolder folder;
    return folder.path;
}

std::string OpenSsl(const std::string& arguments) {
    const std::string command =
        "cd '" + Folder().string() + "' && openssl " + arguments + " 2>openssl.err";
    std::FILE* pipe = popen(command.c_str(), "r");
    std::string output;
    char buffer[4096];
    std::size_t got = 0;
    while ((got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) output.append(buffer, got);
    if (pclose(pipe) != 0) {
        const Bytes words = ReadFile(Folder() / "openssl.err");
        ADD_FAILURE() << command << "\n" << std::string(words.begin(), words.end());
    }
    return output;
}

fs::path WriteFile(const std::string& name, ByteView content) {
    const fs::path file = Folder() / name;
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(content.data()),
               static_cast<std::streamsize>(content.size()));
    return file;
}

Bytes ReadFile(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

Bytes FromHex(std::string_view digits) {
    Bytes octets;
    std::string pair;
    for (const char c : digits) {
        if (c == ' ') continue;
        pair += c;
        if (pair.size() < 2) continue;
        octets.push_back(static_cast<std::uint8_t>(std::stoul(pair, nullptr, 16)));
        pair.clear();
    }
    return octets;
}

const Bytes& CertificateOf(const std::string& kind) {
    static std::map<std::string, Bytes> made;
    const auto [entry, added] = made.try_emplace(kind);
    if (added) entry->second = MakeCertificate(kind);
    return entry->second;
}

// Nothing that reads or stores certificates looks at their signatures, so these need
// none that verifies.
Bytes NumberedCertificate(unsigned number) {
    const Bytes name = der::Element(
        der::kSequence,
        der::Element(
            der::kSet,
            der::Element(der::kSequence, {der::Oid("2.5.4.3"),
                                          der::Element(0x0C, ViewOf(std::to_string(number)))})));
    const Bytes algorithm = der::Element(der::kSequence, der::Oid("1.2.840.10045.4.3.2"));
    const Bytes time = der::Element(0x17, ViewOf("250101000000Z"));
    const Bytes bits = FromHex("03 02 00 04");
    const Bytes toBeSigned = der::Element(
        der::kSequence,
        {FromHex("A0 03 02 01 02"), der::Integer(static_cast<long>(number)), algorithm, name,
         der::Element(der::kSequence, {time, time}), name,
         der::Element(der::kSequence,
                      {der::Element(der::kSequence, der::Oid("1.2.840.10045.2.1")), bits})});
    return der::Element(der::kSequence, {toBeSigned, algorithm, bits});
}

CertHolder Context(ByteView der) {
    return CertHolder(
        CertCreateCertificateContext(kEncoding, der.data(), static_cast<DWORD>(der.size())));
}

CertHolder ContextOf(const std::string& kind) { return Context(CertificateOf(kind)); }

CertsTest::CertsTest() : handles_(LiveHandles()) {
    fs::remove_all(UserHome());
    fs::remove_all(MachineHome());
    setenv("KESTREL_HOME", UserHome().c_str(), 1);
    setenv("KESTREL_MACHINE_HOME", MachineHome().c_str(), 1);
}

CertsTest::~CertsTest() { EXPECT_EQ(LiveHandles(), handles_); }

}  // namespace platform::testing
