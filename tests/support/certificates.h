// Fixtures of the certificate tests: holders of handles, and objects to put into them.
#pragma once

#include "tests/support/workshop.h"

#include <memory>

#include "platform/certs/certificate.h"

namespace platform::testing {

inline constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

// One of many small certificates that differ in subject and serial number alone; `start` is
// the first element of its validity.
Bytes NumberedCertificate(unsigned number, ByteView start = {});

using CertHolder = std::unique_ptr<const CERT_CONTEXT, Freer<CertFreeCertificateContext>>;
using CrlHolder = std::unique_ptr<const CRL_CONTEXT, Freer<CertFreeCRLContext>>;
inline void CloseStore(HCERTSTORE store) { CertCloseStore(store, 0); }
using StoreHolder = std::unique_ptr<void, Freer<CloseStore>>;

CertHolder Context(ByteView der);
CertHolder ContextOf(const std::string& name);

// A list of the authority "p256" by `openssl ca`: `index` is its database, `options` those
// of the command.
CrlHolder MakeCrl(const std::string& index, const std::string& options);

// Its value by the two usual calls.
Bytes PropertyOf(PCCERT_CONTEXT certificate, DWORD id);

// Puts the first certificate of a file in Folder() into "Root".
void Trust(const std::string& file, Side side = Side::User);

// The subject's values, as CERT_SIMPLE_NAME_STR writes them.
std::string SubjectOf(const CERT_INFO& info);

class CertsTest : public HomesTest {
  protected:
    [[nodiscard]] static std::filesystem::path Database() { return UserHome() / "stores.db"; }
};

}  // namespace platform::testing
