// Fixtures of the certificate tests: a folder with homes of its own, the openssl command,
// and certificates made by it.
#pragma once

#include "base/ground.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "base/bytes.h"
#include "base/handle.h"
#include "certs/certificate.h"

namespace platform::testing {

inline constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

// Made once for the process and removed at its end.
const std::filesystem::path& Folder();

// Runs a command of the openssl program inside Folder(). Fails the test, with the
// command's own words, when it does not succeed. Answers its standard output.
std::string OpenSsl(const std::string& arguments);

std::filesystem::path WriteFile(const std::string& name, ByteView content);
Bytes ReadFile(const std::filesystem::path& file);
// Octets of hexadecimal digits; blanks are passed over.
Bytes FromHex(std::string_view digits);

// A self-signed certificate in DER, made on first use. `kind` is "rsa", "ec", "gost-256"
// or "gost-512"; further ones with the same key follow from the number.
const Bytes& CertificateOf(const std::string& kind);
// One of many small certificates that differ in subject and serial number alone.
Bytes NumberedCertificate(unsigned number);

struct CertDeleter {
    void operator()(PCCERT_CONTEXT c) const { CertFreeCertificateContext(c); }
};
using CertHolder = std::unique_ptr<const CERT_CONTEXT, CertDeleter>;
struct CrlDeleter {
    void operator()(PCCRL_CONTEXT c) const { CertFreeCRLContext(c); }
};
using CrlHolder = std::unique_ptr<const CRL_CONTEXT, CrlDeleter>;
struct StoreDeleter {
    void operator()(void* store) const { CertCloseStore(store, 0); }
};
using StoreHolder = std::unique_ptr<void, StoreDeleter>;

CertHolder Context(ByteView der);
CertHolder ContextOf(const std::string& kind);

// A test with empty homes and no handle left at its end.
class CertsTest : public ::testing::Test {
  protected:
    CertsTest();
    ~CertsTest() override;
    CertsTest(const CertsTest&) = delete;
    CertsTest& operator=(const CertsTest&) = delete;

    [[nodiscard]] static std::filesystem::path UserHome() { return Folder() / "user"; }
    [[nodiscard]] static std::filesystem::path MachineHome() { return Folder() / "machine"; }
    [[nodiscard]] static std::filesystem::path Database() { return UserHome() / "stores.db"; }

  private:
    std::size_t handles_;
};

}  // namespace platform::testing
