// Types that OpenSSL does not know, defaults, other encodings and refusals, written by hand.
#include "asn1/rtsrc/status.h"
#include "asn1data/CertificateExtensions.h"
#include "asn1data/CryptographicMessageSyntax.h"
#include "asn1data/ETS_ElectronicSignatureFormats_97Syntax.h"
#include "asn1data/Gost28147_89_EncryptionSyntax.h"
#include "asn1data/GostR3410_2001_PKISyntax.h"
#include "asn1data/GostR3410_94_PKISyntax.h"
#include "asn1data/GostR3411_94_DigestSyntax.h"
#include "asn1data/PKIX1Explicit88.h"
#include "asn1data/PKIXOCSP.h"
#include "asn1data/PKIXTSP.h"
#include "asn1data/SecureMimeMessageV3.h"
#include "tests/asn1data/support.h"

namespace asn1data_tests {
namespace {

using namespace asn1rt;

struct Row {
    const char* name;
    Pass pass;
    const char* der;
};

#define CN_A "30{31{30{06{550403} 0C{41}}}}"
#define ISSUER_SERIAL "30{30{A4{" CN_A "}} 02{05}}"
#define CERT_ID "30{30{06{2A03}} 04{AA} 04{BB} 02{05}}"
#define UTC_TIME "17{3236303130313030303030305A}"
#define TIME "18{32303236303130313030303030305A}"
#define SIGNATURE "30{06{2A03}} 03{00AA}"
#define BYTES_8 "0102030405060708"
#define BYTES_32 BYTES_8 BYTES_8 BYTES_8 BYTES_8
#define BYTES_64 BYTES_32 BYTES_32

const Row kRows[] = {
    {"X.400 address: every standard attribute", ASN1_TYPE_PASS(GeneralName),
     "A3{30{61{13{5255}} 62{12{31}} 80{31} 81{41} A2{13{42}} 83{43} 84{32} A5{80{44} 81{45}}"
     "A6{13{46}}} 30{30{13{47} 13{48}}} 31{30{80{01} A1{13{49}}}}}"},
    {"EDI party name", ASN1_TYPE_PASS(GeneralName), "A5{A0{13{41}} A1{0C{42}}}"},
    {"network address, tagged by its choice", ASN1_TYPE_PASS(ExtendedNetworkAddress),
     "30{80{31} 81{32}}"},
    {"presentation address", ASN1_TYPE_PASS(ExtendedNetworkAddress),
     "A0{A0{04{01}} A3{31{04{01} 04{02}}}}"},
    {"user notice", ASN1_TYPE_PASS(UserNotice), "30{30{0C{41} 30{02{01} 02{0100}}} 1A{42}}"},
    {"issuing point by a relative name", ASN1_TYPE_PASS(CRLDistPointsSyntax),
     "30{30{A0{A1{30{06{550403} 0C{41}}}} 81{0560} A2{82{41}}}}"},
    {"general subtree with a minimum", ASN1_TYPE_PASS(GeneralSubtree), "30{82{41} 80{01} 81{02}}"},
    {"scopes of lists", ASN1_TYPE_PASS(CRLScopeSyntax),
     "30{30{A0{82{41}} A1{A0{82{41}}} 82{0780} A5{80{01} 02{03}} A9{80{01} 81{02}"
     "82{32303236303130313030303030305A}}}}"},
    {"status referrals", ASN1_TYPE_PASS(StatusReferrals),
     "30{A0{A0{82{41}} A2{82{41}} 30{30{}}} A1{06{2A03} A0{0500}}}"},
    {"signing certificate", ASN1_TYPE_PASS(SigningCertificate),
     "30{30{30{04{AA} " ISSUER_SERIAL "}} 30{30{06{2A03}}}}"},
    {"signing certificate, version 2", ASN1_TYPE_PASS(SigningCertificateV2),
     "30{30{30{30{06{2A03}} 04{AA} " ISSUER_SERIAL "} 30{04{BB}}}}"},
    {"other signing certificate", ASN1_TYPE_PASS(OtherSigningCertificate),
     "30{30{30{04{AA}} 30{30{30{06{2A03} 0500} 04{BB}} " ISSUER_SERIAL "}}}"},
    {"revocation references", ASN1_TYPE_PASS(CompleteRevocationRefs),
     "30{30{A0{30{30{30{04{AA} 30{" CN_A "17{3236303130313030303030305A} 02{07}}}}}}"
     "A1{30{30{30{30{A2{04{BB}} 18{32303236303130313030303030305A}}}}}} A2{30{06{2A03} 0500}}}}"},
    {"revocation values", ASN1_TYPE_PASS(RevocationValues),
     "30{A0{30{}} A1{30{}} A2{30{06{2A03} 0500}}}"},
    {"implied policy", ASN1_TYPE_PASS(SignaturePolicyIdentifier), "0500"},
    {"policy", ASN1_TYPE_PASS(SignaturePolicyIdentifier),
     "30{06{2A03} 30{30{06{2A03}} 04{AA}} 30{30{06{2A04} 16{41}}}}"},
    {"place of the signer", ASN1_TYPE_PASS(SignerLocation),
     "30{A0{13{41}} A2{30{0C{42} 1E{0043}}}}"},
    {"claimed attributes", ASN1_TYPE_PASS(SignerAttribute), "30{A0{30{30{06{2A03} 31{0500}}}}}"},
    {"attribute certificate", ASN1_TYPE_PASS(AttributeCertificate),
     "30{30{02{01} 30{A0{30{82{41}} 02{05}}} A0{30{82{42}}} 30{06{2A03}} 02{06}"
     "30{18{32303236303130313030303030305A} 18{32303237303130313030303030305A}}"
     "30{30{06{2A04} 31{0500}}}} 30{06{2A03}} 03{00AA}}"},
    {"certificate of version 1", ASN1_TYPE_PASS(Certificate),
     "30{30{02{FB} 30{06{2A03}} 30{} 30{" UTC_TIME UTC_TIME
     "} 30{} 30{30{06{2A03}} 03{00}}}" SIGNATURE "}"},
    {"no name", ASN1_TYPE_PASS(Name), "30{}"},
    {"every kind of recipient", ASN1_TYPE_PASS(EnvelopedData),
     "30{02{03} 31{30{02{02} 80{AA} 30{06{2A03}} 04{AA}} 30{02{00} 30{30{} 02{05}} 30{06{2A03}} "
     "04{AA}}"
     "A1{02{03} A0{A1{30{06{2A03}} 03{00AA}}} A1{04{BB}} 30{06{2A03}} 30{30{30{30{} 02{05}} "
     "04{CC}}}}"
     "A2{02{04} 30{04{AA}} 30{06{2A03}} 04{AA}} A3{02{00} A0{06{2A04}} 30{06{2A03}} 04{AA}}}"
     "30{06{2A864886F70D010701} 30{06{2A03}} 80{AA}}}"},
    {"list without next update", ASN1_TYPE_PASS(CertificateList),
     "30{30{30{06{2A03}} 30{} " UTC_TIME "}" SIGNATURE "}"},
    {"list with everything", ASN1_TYPE_PASS(CertificateList),
     "30{30{02{01} 30{06{2A03}} 30{} " UTC_TIME TIME "30{30{02{7F} " UTC_TIME "} 30{02{0080} " TIME
     "30{30{06{551D15} 04{0A0101}}}}} A0{30{30{06{551D14} 04{020203E8}}}}}" SIGNATURE "}"},
    {"status request", ASN1_TYPE_PASS(OCSPRequest),
     "30{30{A1{82{41}} 30{30{" CERT_ID "}} A2{30{30{06{2A05} 0400}}}} A0{30{" SIGNATURE "}}}"},
    {"every status", ASN1_TYPE_PASS(BasicOCSPResponse),
     "30{30{A2{04{AA}} " TIME "30{30{" CERT_ID "8000" TIME "A0{" TIME "}} 30{" CERT_ID "A1{" TIME
     "A0{0A{01}}}" TIME "} 30{" CERT_ID "8200" TIME "}}}" SIGNATURE "}"},
    {"status answer", ASN1_TYPE_PASS(OCSPResponse),
     "30{0A{00} A0{30{06{2B0601050507300101} 04{3000}}}}"},
    {"stamp request", ASN1_TYPE_PASS(TimeStampReq),
     "30{02{01} 30{30{06{2A04} 0500} 04{AABB}} 06{2A03} 02{00FF} 0101FF A0{30{06{2A05} 0400}}}"},
    {"stamp", ASN1_TYPE_PASS(TSTInfo),
     "30{02{01} 06{2A03} 30{30{06{2A04}} 04{AA}} 02{05} 18{32303236303130313030303030305A}"
     "30{02{02} 81{64}} 0101FF 02{FF01} A0{82{41}} A1{30{06{2A05} 0101FF 04{0500}}}}"},
    {"refusal of a stamp", ASN1_TYPE_PASS(TimeStampResp),
     "30{30{02{02} 30{0C{6F6E65} 0C{D096}} 03{0680000040}}}"},
    {"capabilities", ASN1_TYPE_PASS(SMIMECapabilities), "30{30{06{2A03}} 30{06{2A04} 02{0080}}}"},
    {"key preference", ASN1_TYPE_PASS(SMIMEEncryptionKeyPreference), "A0{" CN_A "02{05}}"},
    {"GOST 28147-89, extended later", ASN1_TYPE_PASS(Gost28147_89_BlobParameters), "30{06{2A03}}"},
    {"GOST 28147-89, key", ASN1_TYPE_PASS(Gost28147_89_EncryptedKey),
     "30{04{" BYTES_32 "} 80{" BYTES_32 "} 04{01020304}}"},
    {"GOST 28147-89, set", ASN1_TYPE_PASS(Gost28147_89_ParamSetParameters),
     "30{04{" BYTES_64 "} 02{01} 02{40} 30{06{2A03}}}"},
    {"GOST R 34.10-2001, key", ASN1_TYPE_PASS(GostR3410_2001_PublicKey), "04{" BYTES_64 "}"},
    {"GOST R 34.10-2001, parameters", ASN1_TYPE_PASS(GostR3410_2001_PublicKeyParameters),
     "30{06{2A03} 06{2A04}}"},
    {"GOST R 34.10-94, key of 128 bytes", ASN1_TYPE_PASS(GostR3410_94_PublicKey),
     "04{" BYTES_64 BYTES_64 "}"},
    {"GOST R 34.10-94, largest numbers", ASN1_TYPE_PASS(GostR3410_94_ValidationBisParameters),
     "30{02{00FFFFFFFF} 02{00} 02{80}}"},
    {"GOST R 34.11-94, set", ASN1_TYPE_PASS(GostR3411_94_ParamSetParameters),
     "30{04{" BYTES_64 "} 04{" BYTES_32 "}}"},
};

TEST(Types, ComeOutAsTheyWentIn) {
    for (const Row& row : kRows) ExpectSame(row.name, row.pass, Der(row.der));
}

// X.690: the left side is BER, the right side the DER of the same value.
const struct {
    const char* name;
    Pass pass;
    const char* ber;
    const char* der;
} kNormalised[] = {
    // The Name inside is kept as received.
    {"an indefinite explicit tag", ASN1_TYPE_PASS(GeneralName), "A4~{30~{}}", "A4{30~{}}"},
    {"signers, all of indefinite length", ASN1_TYPE_PASS(SignerInfos),
     "31~{30~{02{01} 30~{30{} 02{05}} 30~{06{2A03}} 30~{06{2A03}} 0400}}",
     "31{30{02{01} 30{30{} 02{05}} 30{06{2A03}} 30{06{2A03}} 0400}}"},
    {"a string in pieces under an implicit tag", ASN1_TYPE_PASS(GeneralName),
     "A7~{04{7F00} 04{0001}}", "87{7F000001}"},
};

TEST(Types, AreWrittenInDer) {
    for (const auto& row : kNormalised) {
        const Outcome outcome = row.pass(Der(row.ber));
        EXPECT_EQ(outcome.status, 0) << row.name;
        EXPECT_EQ(Hex(outcome.encoded), Hex(Der(row.der))) << row.name;
        EXPECT_EQ(Hex(outcome.copied), Hex(Der(row.der))) << row.name;
    }
}

const struct {
    const char* name;
    Pass pass;
    const char* der;
    int status;
} kRefused[] = {
    {"a reason that is not defined", ASN1_TYPE_PASS(CRLReason), "0A{07}", ASN_E_INVENUM},
    {"a key too short", ASN1_TYPE_PASS(GostR3410_2001_PublicKey), "04{" BYTES_32 "}",
     ASN_E_CONSVIO},
    {"neither of two sizes", ASN1_TYPE_PASS(GostR3410_94_PublicKey), "04{" BYTES_64 BYTES_32 "}",
     ASN_E_CONSVIO},
    {"too many units", ASN1_TYPE_PASS(OrganizationalUnitNames),
     "30{13{41} 13{41} 13{41} 13{41} 13{41}}", ASN_E_SEQOVFLW},
    {"no element where one is demanded", ASN1_TYPE_PASS(Extensions), "30{}", ASN_E_CONSVIO},
};

TEST(Types, Refuse) {
    for (const auto& row : kRefused) {
        EXPECT_EQ(row.pass(Der(row.der)).status, row.status) << row.name;
    }
}

}  // namespace
}  // namespace asn1data_tests
