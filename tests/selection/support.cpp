#include "support.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <list>

#include "front/catalogue.h"
#include "front/keys.h"
#include "selection/atl_exception.h"
#include "selection/search.h"

namespace selection_tests {

namespace fs = std::filesystem;

namespace {

// ---- runs ------------------------------------------------------------------------

std::uint32_t Guarded(const std::function<std::uint32_t()>& routine) {
    try {
        return routine();
    } catch (const ATL::CAtlException& failure) {
        std::printf("thrown %08X\n", static_cast<unsigned>(failure.Result()));
        return static_cast<std::uint32_t>(failure.Result());
    }
}

[[noreturn]] void BeChild(int input, int output, int result,
                          const std::function<std::uint32_t()>& routine) {
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    const std::uint32_t code = Guarded(routine);
    std::fflush(stdout);
    const bool told = write(result, &code, sizeof(code)) == sizeof(code);
    _exit(told ? 0 : 1);
}

std::uint32_t Reap(pid_t child, int result) {
    std::uint32_t code = 0xDEAD;
    EXPECT_EQ(read(result, &code, sizeof(code)), static_cast<ssize_t>(sizeof(code)));
    close(result);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the run died: " << status;
    return code;
}

bool Send(int terminal, const std::string& text) {
    return write(terminal, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

// Types each text once its cue was printed. A run may throw away what was typed before it
// waits for keys, so the last text is typed again after each silent half second; one that
// stays silent for good is killed.
std::string Converse(int terminal, pid_t child, const Typing& typed) {
    std::string output;
    std::size_t sent = 0;
    for (int silence = 0; silence < 20;) {
        pollfd ready{terminal, POLLIN, 0};
        if (poll(&ready, 1, 500) <= 0) {
            ++silence;
            if (sent != 0) Send(terminal, typed[sent - 1].second);
            continue;
        }
        char piece[512];
        const ssize_t count = read(terminal, piece, sizeof(piece));
        if (count <= 0) {
            EXPECT_EQ(sent, typed.size()) << "never asked: " << output;
            return output;
        }
        output.append(piece, static_cast<std::size_t>(count));
        while (sent < typed.size() && output.find(typed[sent].first) != std::string::npos) {
            EXPECT_TRUE(Send(terminal, typed[sent++].second));
        }
    }
    kill(child, SIGKILL);
    return output;
}

// ---- fixtures --------------------------------------------------------------------

// `openssl ca` is the one that takes fixed dates.
constexpr char kMakeFixtures[] = R"(set -e
cat >ca.cnf <<END
openssl_conf = top
[top]
engines = engines
[engines]
gost = gost
[gost]
engine_id = gost
default_algorithms = ALL
[ca]
default_ca = any
[any]
database = index
serial = serial
new_certs_dir = .
default_md = default
policy = policy
unique_subject = no
crlnumber = crlnumber
x509_extensions = none
[policy]
O = optional
CN = supplied
[none]
[req]
distinguished_name = none
END
: >index; echo 01 >serial; echo 01 >crlnumber
export OPENSSL_CONF=$PWD/ca.cnf
make() { # name subject issuer end, and how to make the key
    name=$1 subject=$2 issuer=$3 end=$4; shift 4
    openssl genpkey "$@" -out $name.key
    openssl req -new -utf8 -key $name.key -subj "$subject" -out $name.req
    if [ $issuer = self ]; then set -- -selfsign -keyfile $name.key
    else set -- -cert $issuer.pem -keyfile $issuer.key; fi
    openssl ca -batch -notext -preserveDN -startdate 20090102030405Z -enddate $end "$@" \
        -in $name.req -out $name.pem
    openssl x509 -in $name.pem -outform DER -out $name.cer
}
later=20991231235959Z
ec="-algorithm EC -pkeyopt ec_paramgen_curve:P-256"
make alpha "/O=Works/CN=Alpha" self $later $ec
make beta "/O=Works/CN=Beta" self $later $ec
make both "/O=Alpha Beta/CN=Both" self $later $ec
make lonely "/CN=Alpha Lonely" self $later $ec
make old "/CN=Old" self 20100102030405Z $ec
make rsa "/CN=rsa" self $later -algorithm RSA
make gost2001 "/CN=gost2001" self $later -algorithm gost2001 -pkeyopt paramset:A
make gost256 "/CN=gost256" self $later -algorithm gost2012_256 -pkeyopt paramset:A
make gost512 "/CN=gost512" self $later -algorithm gost2012_512 -pkeyopt paramset:A
make ed "/CN=ed" self $later -algorithm ED25519
make ca "/CN=Issuer" self $later $ec
make leaf "/CN=Leaf" ca $later $ec
openssl ca -gencrl -cert ca.pem -keyfile ca.key -crldays 30000 -out ca.crl.pem
openssl crl -in ca.crl.pem -outform DER -out ca.crl
)";

class FixtureFolder {
  public:
    FixtureFolder() {
        char name[] = "/tmp/kestrel-fixtures-XXXXXX";
        path = mkdtemp(name);
        std::ofstream(path / "make") << kMakeFixtures;
        const std::string command = "cd " + path.string() + " && sh make >log 2>&1";
        if (std::system(command.c_str()) != 0) {
            std::printf("%s\n", ReadBytes(path / "log").c_str());
            std::abort();
        }
    }
    ~FixtureFolder() {
        if (getpid() == owner_) fs::remove_all(path);
    }
    FixtureFolder(const FixtureFolder&) = delete;
    FixtureFolder& operator=(const FixtureFolder&) = delete;

    fs::path path;

  private:
    pid_t owner_ = getpid();
};

std::string NameOf(PCCERT_CONTEXT certificate) {
    const std::string der(reinterpret_cast<const char*>(certificate->pbCertEncoded),
                          certificate->cbCertEncoded);
    for (const auto& entry : fs::directory_iterator(FixtureFile(""))) {
        if (entry.path().extension() == ".cer" && ReadBytes(entry.path()) == der) {
            return entry.path().stem();
        }
    }
    return "?";
}

}  // namespace

Outcome RunPiped(const std::string& input, const std::function<std::uint32_t()>& routine) {
    FILE* in = std::tmpfile();
    FILE* out = std::tmpfile();
    std::fwrite(input.data(), 1, input.size(), in);
    std::rewind(in);
    int result[2];
    EXPECT_EQ(pipe(result), 0);
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        setsid();
        BeChild(fileno(in), fileno(out), result[1], routine);
    }
    close(result[1]);
    Outcome outcome{Reap(child, result[0]), {}};
    std::rewind(out);
    for (int byte = std::fgetc(out); byte != EOF; byte = std::fgetc(out)) {
        outcome.output += static_cast<char>(byte);
    }
    std::fclose(in);
    std::fclose(out);
    return outcome;
}

Outcome RunOnTerminal(const Typing& typed, const std::function<std::uint32_t()>& routine) {
    int terminal = -1;
    int slave = -1;
    int result[2];
    EXPECT_EQ(openpty(&terminal, &slave, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(pipe(result), 0);
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        close(terminal);
        setsid();
        ioctl(slave, TIOCSCTTY, 0);
        BeChild(slave, slave, result[1], routine);
    }
    close(slave);
    close(result[1]);
    Outcome outcome;
    outcome.output = Converse(terminal, child, typed);
    outcome.code = Reap(child, result[0]);
    close(terminal);
    return outcome;
}

void GiveKeys(const Keys& keys) {
    // Values are written to in place and outlive the keys, as copies of arguments do.
    static std::list<std::string> values;
    kestrel::BuildKeyTable();
    for (const Key& key : keys) {
        const char* value = key.value ? values.emplace_back(key.value).c_str() : nullptr;
        kestrel::state.givenKeys->insert({key.word, value});
    }
}

std::string LeftKeys() {
    std::string left;
    for (const kestrel::GivenKey& key : *kestrel::state.givenKeys) {
        left += std::string(" ") + key.word;
    }
    return left;
}

fs::path FixtureFile(const std::string& name) {
    static const FixtureFolder fixtures;
    return fixtures.path / name;
}

std::string ReadBytes(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::string FixtureDer(const std::string& name) { return ReadBytes(FixtureFile(name + ".cer")); }

PCCERT_CONTEXT FixtureContext(const std::string& name) {
    const std::string der = FixtureDer(name);
    return CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                        reinterpret_cast<const BYTE*>(der.data()),
                                        static_cast<DWORD>(der.size()));
}

std::string NamesOf(const kestrel::FoundCertificates& certificates) {
    std::string names;
    for (const PCCERT_CONTEXT certificate : certificates) names += " " + NameOf(certificate);
    return names;
}

std::string NamesInStore(DWORD side, const wchar_t* store) {
    return RunPiped("",
                    [&]() -> std::uint32_t {
                        const HCERTSTORE handle =
                            CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0,
                                          side | CERT_STORE_OPEN_EXISTING_FLAG, store);
                        if (!handle) return std::printf("no such store") < 0;
                        PCCERT_CONTEXT certificate = nullptr;
                        while ((certificate = CertEnumCertificatesInStore(handle, certificate))) {
                            std::printf(" %s", NameOf(certificate).c_str());
                        }
                        return 0;
                    })
        .output;
}

void SelectionTest::SetUp() {
    FixtureFile("");  // made here, and not in a run
    char name[] = "/tmp/kestrel-selection-XXXXXX";
    folder = mkdtemp(name);
    setenv("KESTREL_HOME", (folder / "user").c_str(), 1);
    setenv("KESTREL_MACHINE_HOME", (folder / "machine").c_str(), 1);
}

void SelectionTest::TearDown() { fs::remove_all(folder); }

void SelectionTest::Fill(DWORD side, const wchar_t* store, const std::vector<std::string>& names) {
    const Outcome filled = RunPiped("", [&]() -> std::uint32_t {
        const HCERTSTORE handle = CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, side, store);
        for (const std::string& name : names) {
            const std::string der = FixtureDer(name);
            if (!CertAddEncodedCertificateToStore(
                    handle, X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(der.data()),
                    static_cast<DWORD>(der.size()), CERT_STORE_ADD_NEW, nullptr)) {
                return GetLastError();
            }
        }
        return CertCloseStore(handle, 0) ? 0 : GetLastError();
    });
    ASSERT_EQ(filled.code, 0U) << "cannot fill a store";
}

}  // namespace selection_tests
