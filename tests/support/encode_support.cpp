// Identities, sinks and encoders of the message tests.
#include "tests/support/encode_support.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <stdexcept>

#include "platform/providers/container.h"
#include "platform/providers/crypto.h"
#include "platform/providers/key_file.h"

namespace platform::testing {
namespace {

namespace fs = std::filesystem;

std::array<Identity, 5> identities = {{
    {"rsa", "-newkey rsa:2048", 24, "2.16.840.1.101.3.4.2.1", "2.16.840.1.101.3.4.1.42"},
    {"ec", "-newkey ec -pkeyopt ec_paramgen_curve:P-256", 16, "2.16.840.1.101.3.4.2.1", ""},
    {"gost2001", "-newkey gost2001 -pkeyopt paramset:A", 75, "1.2.643.2.2.9", "1.2.643.2.2.21"},
    {"gost2012-256", "-newkey gost2012_256 -pkeyopt paramset:A", 80, "1.2.643.7.1.1.2.2",
     "1.2.643.2.2.21"},
    {"gost2012-512", "-newkey gost2012_512 -pkeyopt paramset:A", 81, "1.2.643.7.1.1.2.3",
     "1.2.643.2.2.21"},
}};

AnyKey ReadKey(const fs::path& file) {
    const auto content = ParseKeyFile(ReadWholeFile(file));
    AnyKey key = content ? OpenKeyFile(*content, Secret()) : AnyKey();
    if (!key) throw std::runtime_error("unreadable key " + file.string());
    return key;
}

void Check(bool good, const std::string& what) {
    if (!good) throw std::runtime_error(what + " failed with " + std::to_string(GetLastError()));
}

void Make(Identity& identity) {
    setenv("KESTREL_HOME", (Folder() / "home").c_str(), 1);
    setenv("KESTREL_MACHINE_HOME", (Folder() / "machine").c_str(), 1);
    const std::string name = identity.name;
    OpenSsl(std::string("req -engine gost -x509 -nodes -days 30 ") + identity.newKey + " -keyout " +
            name + ".key -out " + name + ".pem -subj /CN=" + name);
    OpenSsl("x509 -engine gost -in " + name + ".pem -outform DER -out " + name + ".der");
    const AnyKey key = ReadKey(Folder() / (name + ".key"));
    Container::Create(Side::User, name, identity.type).SaveKey(AT_KEYEXCHANGE, key, Secret());
    Check(CryptAcquireContextA(&identity.provider, identity.name, nullptr, identity.type,
                               CRYPT_SILENT) != FALSE,
          "acquiring");
    const Bytes der = ReadFile(name + ".der");
    identity.certificate = CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                                        der.data(), static_cast<DWORD>(der.size()));
    Check(identity.certificate != nullptr, "certificate");
}

BOOL WINAPI Collect(const void* arg, BYTE* data, DWORD size, BOOL isFinal) {
    Sink& sink = *static_cast<Sink*>(const_cast<void*>(arg));
    if (sink.finals != 0) sink.callAfterFinal = true;
    if (sink.calls++ == sink.failAt) {
        SetLastError(ERROR_WRITE_FAULT);
        return FALSE;
    }
    if (size != 0) sink.output.insert(sink.output.end(), data, data + size);
    if (isFinal != FALSE) ++sink.finals;
    return TRUE;
}

}  // namespace

CMSG_SIGNER_ENCODE_INFO Identity::Signer() const {
    CMSG_SIGNER_ENCODE_INFO info{};
    info.cbSize = sizeof(info);
    info.pCertInfo = certificate->pCertInfo;
    info.hCryptProv = provider;
    info.dwKeySpec = AT_KEYEXCHANGE;
    info.HashAlgorithm.pszObjId = const_cast<char*>(digest);
    return info;
}

const Identity& IdentityOf(const std::string& name) {
    for (Identity& identity : identities) {
        if (name != identity.name) continue;
        if (identity.certificate == nullptr) Make(identity);
        return identity;
    }
    throw std::runtime_error("no identity " + name);
}

CMSG_STREAM_INFO Sink::Info() { return {CMSG_INDEFINITE_LENGTH, Collect, this}; }

Bytes Streamed(const Opener& open, ByteView content, std::size_t piece) {
    Sink sink;
    const CMSG_STREAM_INFO info = sink.Info();
    const std::shared_ptr<Message> message = open(&info);
    while (content.size() >= piece) {
        message->Update(content.first(piece), false);
        content = content.subspan(piece);
    }
    message->Update(content, true);
    EXPECT_EQ(sink.finals, 1);
    EXPECT_FALSE(sink.callAfterFinal);
    return sink.output;
}

void ExpectFailingSinkStopsEverything(const Opener& open) {
    for (int failAt = 0;; ++failAt) {
        Sink sink;
        sink.failAt = failAt;
        const CMSG_STREAM_INFO info = sink.Info();
        const std::shared_ptr<Message> message = open(&info);
        const DWORD code = CodeOf([&] {
            for (int i = 0; i < 3; ++i) message->Update(Pattern(1000), i == 2);
        });
        if (code == 0) {
            EXPECT_GE(failAt, 7);
            return;
        }
        ASSERT_EQ(code, Code(ERROR_WRITE_FAULT)) << failAt;
        EXPECT_EQ(CodeOf([&] { message->Update(Pattern(1), true); }), code) << failAt;
        EXPECT_EQ(sink.calls, failAt + 1);
        EXPECT_EQ(sink.finals, 0);
    }
}

Bytes WholeMessage(Message& message, ByteView content) {
    message.Update(content, true);
    return Param(message, CMSG_CONTENT_PARAM);
}

Bytes Param(Message& message, DWORD param, DWORD index) {
    DWORD size = 0;
    message.GetParam(param, index, nullptr, &size);
    Bytes value(size);
    message.GetParam(param, index, value.data(), &size);
    value.resize(size);
    return value;
}

}  // namespace platform::testing
