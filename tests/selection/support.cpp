// Stores and certificates for these tests.
#include "tests/selection/support.h"

#include "tests/support/engine.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <list>

#include "front/core/atl_exception.h"
#include "front/core/catalogue.h"
#include "front/core/keys.h"
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

struct Run {
    pid_t child;
    int result;  // where the routine's code is read from
};

// Starts the routine in a session of its own, without a terminal.
Run Start(int input, int output, const std::function<std::uint32_t()>& routine) {
    int result[2];
    EXPECT_EQ(pipe(result), 0);
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        setsid();
        dup2(input, STDIN_FILENO);
        dup2(output, STDOUT_FILENO);
        const std::uint32_t code = Guarded(routine);
        std::fflush(stdout);
        const bool told = write(result[1], &code, sizeof(code)) == sizeof(code);
        _exit(told ? 0 : 1);
    }
    close(result[1]);
    return {child, result[0]};
}

std::uint32_t Reap(const Run& run) {
    std::uint32_t code = 0xDEAD;
    EXPECT_EQ(read(run.result, &code, sizeof(code)), static_cast<ssize_t>(sizeof(code)));
    close(run.result);
    int status = 0;
    waitpid(run.child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the run died: " << status;
    return code;
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
x509_extensions = none
[policy]
O = optional
CN = supplied
[none]
[req]
distinguished_name = none
END
: >index; echo 01 >serial
export OPENSSL_CONF=$PWD/ca.cnf
make() { # name subject end, and how to make the key
    name=$1 subject=$2 end=$3; shift 3
    openssl genpkey "$@" -out $name.key
    openssl req -new -utf8 -key $name.key -subj "$subject" -out $name.req
    openssl ca -batch -notext -preserveDN -startdate 20090102030405Z -enddate $end -selfsign \
        -keyfile $name.key -in $name.req -out $name.pem
    openssl x509 -in $name.pem -outform DER -out $name.cer
}
later=20991231235959Z
ec="-algorithm EC -pkeyopt ec_paramgen_curve:P-256"
make alpha "/O=Works/CN=Alpha" $later $ec
make beta "/O=Works/CN=Beta" $later $ec
make both "/O=Alpha Beta/CN=Both" $later $ec
make lonely "/CN=Alpha Lonely" $later $ec
make old "/CN=Old" 20100102030405Z $ec
make rsa "/CN=rsa" $later -algorithm RSA
make gost2001 "/CN=gost2001" $later -algorithm gost2001 -pkeyopt paramset:A
make gost256 "/CN=gost256" $later -algorithm gost2012_256 -pkeyopt paramset:A
make gost512 "/CN=gost512" $later -algorithm gost2012_512 -pkeyopt paramset:A
make ed "/CN=ed" $later -algorithm ED25519
)";

class FixtureFolder : public test_support::TemporaryFolder {
  public:
    FixtureFolder() {
        std::ofstream(Path() / "make") << kMakeFixtures;
        const std::string command = "cd " + Path().string() + " && sh make >log 2>&1";
        if (std::system(command.c_str()) == 0) return;
        std::printf("%s\n", test_support::ReadAll(Path() / "log").c_str());
        std::abort();
    }
};

std::string FixtureDer(const std::string& name) {
    return test_support::ReadAll(FixtureFile(name + ".cer"));
}

std::string NameOf(PCCERT_CONTEXT certificate) {
    const std::string der(reinterpret_cast<const char*>(certificate->pbCertEncoded),
                          certificate->cbCertEncoded);
    for (const auto& entry : fs::directory_iterator(FixtureFile(""))) {
        if (entry.path().extension() == ".cer" && test_support::ReadAll(entry.path()) == der) {
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
    Outcome outcome{Reap(Start(fileno(in), fileno(out), routine)), {}};
    std::rewind(out);
    for (int byte = std::fgetc(out); byte != EOF; byte = std::fgetc(out)) {
        outcome.output += static_cast<char>(byte);
    }
    std::fclose(in);
    std::fclose(out);
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
    return fixtures.Path() / name;
}

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

void SelectionTest::SetUp() {
    // Some of the certificates have GOST keys.
    SKIP_WITHOUT_ENGINE();
    FixtureFile("");  // made here, and not in a run
    setenv("KESTREL_HOME", (folder / "user").c_str(), 1);
    setenv("KESTREL_MACHINE_HOME", (folder / "machine").c_str(), 1);
}

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
