// Every type of the schemas that is no part of another one, and those that the program
// uses by themselves. The first byte of the input is the type's number; the rest is decoded,
// copied and encoded. What was encoded must decode to the same again.
#include <cstdlib>
#include <iterator>
#include <span>
#include <vector>

#include "asn1/rtbersrc/ber_buffer.h"
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
#include "fuzz/support.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

template <class Control, class Record>
Bytes Encode(Record& record) {
    asn1rt::ASN1BEREncodeBuffer buffer;
    Control control(buffer, record);
    const int length = control.Encode();
    Demand(length > 0, "what was decoded has an encoding");
    return {buffer.getMsgPtr(), buffer.getMsgPtr() + length};
}

template <class Record, class Control, auto Copy>
bool PassThrough(std::span<const std::uint8_t> message, Bytes& encoded) {
    asn1rt::ASN1BERDecodeBuffer buffer(message.data(), message.size());
    Record record;
    Control control(buffer, record);
    if (control.Decode() < 0) return false;
    encoded = Encode<Control>(record);
    asn1rt::ASN1BEREncodeBuffer owner;
    Record copy;
    Demand(Copy(*owner.getContextPtr(), record, copy) == 0, "a record can be copied");
    Demand(Encode<Control>(copy) == encoded, "a copy is its original's equal");
    return true;
}

using Pass = bool (*)(std::span<const std::uint8_t> message, Bytes& encoded);

#define TYPE(T) PassThrough<asn1data::T, asn1data::ASN1C_##T, asn1data::asn1Copy_##T>

// The numbers of the first ones stand in make_seeds: new types go to the end.
const Pass kTypes[] = {
    TYPE(TimeStampReq),
    TYPE(TimeStampResp),
    TYPE(TimeStampToken),
    TYPE(TSTInfo),
    TYPE(SignedData),
    TYPE(SignerInfo),
    TYPE(Certificate),
    TYPE(CertificateList),
    TYPE(Name),
    TYPE(GeneralName),
    TYPE(GeneralNames),
    TYPE(EnvelopedData),
    TYPE(SigningCertificate),
    TYPE(SigningCertificateV2),
    TYPE(OtherSigningCertificate),
    TYPE(CertificateValues),
    TYPE(OCSPRequest),
    TYPE(OCSPResponse),
    TYPE(ContentInfo),
    TYPE(ORAddress),
    TYPE(BasicOCSPResponse),
    TYPE(AttributeCertificate),
    TYPE(DigestedData),
    TYPE(EncryptedData),
    TYPE(AuthenticatedData),
    TYPE(ExtendedCertificateOrCertificate),
    TYPE(AuthorityKeyIdentifier),
    TYPE(KeyUsage),
    TYPE(ExtKeyUsageSyntax),
    TYPE(PrivateKeyUsagePeriod),
    TYPE(CertificatePoliciesSyntax),
    TYPE(PolicyMappingsSyntax),
    TYPE(AttributesSyntax),
    TYPE(BasicConstraintsSyntax),
    TYPE(NameConstraintsSyntax),
    TYPE(PolicyConstraintsSyntax),
    TYPE(CRLDistPointsSyntax),
    TYPE(IssuingDistPointSyntax),
    TYPE(DeltaInformation),
    TYPE(StatusReferrals),
    TYPE(CRLScopeSyntax),
    TYPE(SignaturePolicyIdentifier),
    TYPE(SPUserNotice),
    TYPE(CommitmentTypeIndication),
    TYPE(SignerLocation),
    TYPE(SignerAttribute),
    TYPE(CompleteCertificateRefs),
    TYPE(CompleteRevocationRefs),
    TYPE(RevocationValues),
    TYPE(X520name),
    TYPE(X520CommonName),
    TYPE(X520LocalityName),
    TYPE(X520StateOrProvinceName),
    TYPE(X520OrganizationName),
    TYPE(X520OrganizationalUnitName),
    TYPE(X520Title),
    TYPE(X520Pseudonym),
    TYPE(TeletexPersonalName),
    TYPE(TeletexOrganizationalUnitNames),
    TYPE(PhysicalDeliveryCountryName),
    TYPE(PostalCode),
    TYPE(UnformattedPostalAddress),
    TYPE(ExtendedNetworkAddress),
    TYPE(TeletexDomainDefinedAttributes),
    TYPE(TerminalType),
    TYPE(UserNotice),
    TYPE(SubjectInfoAccessSyntax),
    TYPE(AcceptableResponses),
    TYPE(ServiceLocator),
    TYPE(CrlID),
    TYPE(SMIMECapabilities),
    TYPE(SMIMEEncryptionKeyPreference),
    TYPE(Gost28147_89_EncryptedKey),
    TYPE(Gost28147_89_BlobParameters),
    TYPE(Gost28147_89_Parameters),
    TYPE(Gost28147_89_KeyWrapParameters),
    TYPE(Gost28147_89_ParamSetParameters),
    TYPE(GostR3410_2001_PublicKeyParameters),
    TYPE(GostR3410_2001_ParamSetParameters),
    TYPE(GostR3410_94_PublicKeyParameters),
    TYPE(GostR3410_94_ParamSetParameters),
    TYPE(GostR3410_94_ValidationParameters),
    TYPE(GostR3410_94_ValidationBisParameters),
    TYPE(GostR3411_94_ParamSetParameters),
};

// A run on one type alone: its number in the environment.
int OnlyType() {
    const char* given = std::getenv("ASN1_TYPE");
    return given == nullptr ? -1 : std::atoi(given);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int only = OnlyType();
    if (size < 2) return 0;
    const std::size_t number = only >= 0 ? static_cast<std::size_t>(only) : data[0];
    if (number >= std::size(kTypes)) return 0;
    const Pass pass = kTypes[number];
    Bytes encoded;
    if (!pass({data + 1, size - 1}, encoded)) return 0;
    Bytes again;
    Demand(pass(encoded, again), "what was encoded decodes");
    Demand(again == encoded, "an encoding is its own normal form");
    return 0;
}
