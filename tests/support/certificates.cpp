// Certificates and revocation lists for tests.
#include "tests/support/certificates.h"

#include "platform/der/der.h"
#include "platform/stores/store.h"

namespace platform::testing {

// Nothing that reads or stores certificates looks at their signatures, so these need
// none that verifies.
Bytes NumberedCertificate(unsigned number, ByteView start) {
    const Bytes text = der::Element(0x0C, ViewOf(std::to_string(number)));
    const Bytes attribute = der::Element(der::kSequence, {der::Oid("2.5.4.3"), text});
    const Bytes name = der::Element(der::kSequence, der::Element(der::kSet, attribute));
    const Bytes algorithm = der::Element(der::kSequence, der::Oid("1.2.840.10045.4.3.2"));
    const Bytes time = der::Element(0x17, ViewOf("250101000000Z"));
    const Bytes validity = der::Element(der::kSequence, {start.empty() ? time : start, time});
    const Bytes bits = FromHex("03 02 00 04");
    const Bytes keyAlgorithm = der::Element(der::kSequence, der::Oid("1.2.840.10045.2.1"));
    const Bytes toBeSigned =
        der::Element(der::kSequence,
                     {FromHex("A0 03 02 01 02"), der::Integer(static_cast<long>(number)), algorithm,
                      name, validity, name, der::Element(der::kSequence, {keyAlgorithm, bits})});
    return der::Element(der::kSequence, {toBeSigned, algorithm, bits});
}

CertHolder Context(ByteView der) {
    return CertHolder(
        CertCreateCertificateContext(kEncoding, der.data(), static_cast<DWORD>(der.size())));
}

CertHolder ContextOf(const std::string& name) { return Context(CertificateOf(name)); }

CrlHolder MakeCrl(const std::string& index, const std::string& options) {
    CertificateOf("p256");
    WriteFile("ca.cnf", ViewOf("[ca]\ndefault_ca=a\n[a]\ndatabase=index.txt\ncrlnumber=number\n"
                               "default_md=sha256\ncrl_extensions=e\n[e]\n"
                               "authorityKeyIdentifier=keyid\n"));
    WriteFile("index.txt", ViewOf(index));
    WriteFile("number", ViewOf("10\n"));
    OpenSsl("ca -gencrl -config ca.cnf -cert p256.pem -keyfile p256.key -out made.crl " + options);
    OpenSsl("crl -in made.crl -outform DER -out made.der");
    const Bytes der = ReadFile("made.der");
    return CrlHolder(CertCreateCRLContext(kEncoding, der.data(), static_cast<DWORD>(der.size())));
}

Bytes PropertyOf(PCCERT_CONTEXT certificate, DWORD id) {
    DWORD size = 0;
    EXPECT_TRUE(CertGetCertificateContextProperty(certificate, id, nullptr, &size));
    Bytes value(size);
    EXPECT_TRUE(CertGetCertificateContextProperty(certificate, id, value.data(), &size));
    return value;
}

void Trust(const std::string& file, Side side) {
    OpenSystemStore(side, "Root", OpenMode::OpenOrCreate)
        ->Add(*ReadBundle(ReadFile(file)).certificates.at(0), CERT_STORE_ADD_ALWAYS);
}

std::string SubjectOf(const CERT_INFO& info) {
    char text[64];
    CERT_NAME_BLOB subject = info.Subject;
    CertNameToStrA(kEncoding, &subject, CERT_SIMPLE_NAME_STR, text, sizeof text);
    return text;
}

}  // namespace platform::testing
