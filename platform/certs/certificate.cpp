// Certificates: reading one, and its public record.
#include "platform/certs/certificate.h"

#include "platform/base/error.h"
#include "platform/certs/compare.h"
#include "platform/certs/share.h"
#include "platform/der/records.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

constexpr std::uint8_t kIssuerUniqueId = der::Context(1);
constexpr std::uint8_t kSubjectUniqueId = der::Context(2);

DWORD ReadVersion(der::Cursor& cursor) {
    if (!cursor.NextIs(der::ContextConstructed(0))) return 0;
    der::Cursor explicitly(cursor.Next().contents);
    const long version = explicitly.SmallInteger();
    explicitly.ExpectEnd();
    if (version < 0 || version > 2) throw Error(CRYPT_E_ASN1_CORRUPT);
    return static_cast<DWORD>(version);
}

void ReadValidity(der::Cursor cursor, CertificateFields& fields) {
    fields.notBefore = ReadTime(cursor.Next());
    fields.notAfter = ReadTime(cursor.Next());
    cursor.ExpectEnd();
}

std::vector<ExtensionView> ReadExplicitExtensions(ByteView contents) {
    der::Cursor explicitly(contents);
    std::vector<ExtensionView> views = ReadExtensions(explicitly.Expect(der::kSequence).contents);
    explicitly.ExpectEnd();
    return views;
}

}  // namespace

CertificateFields ReadToBeSigned(der::Cursor cursor) {
    CertificateFields fields;
    fields.version = ReadVersion(cursor);
    fields.serial = cursor.Expect(der::kInteger).contents;
    if (fields.serial.empty()) throw Error(CRYPT_E_ASN1_CORRUPT);
    fields.signatureAlgorithm = ReadAlgorithm(cursor);
    fields.issuer = cursor.Expect(der::kSequence).whole;
    ReadValidity(der::Cursor(cursor.Expect(der::kSequence).contents), fields);
    fields.subject = cursor.Expect(der::kSequence).whole;
    fields.publicKey = ReadPublicKey(cursor);
    if (cursor.NextIs(kIssuerUniqueId)) fields.issuerId = ReadBits(cursor.Next().contents);
    if (cursor.NextIs(kSubjectUniqueId)) fields.subjectId = ReadBits(cursor.Next().contents);
    if (cursor.NextIs(der::ContextConstructed(3))) {
        fields.extensions = ReadExplicitExtensions(cursor.Next().contents);
    }
    cursor.ExpectEnd();
    return fields;
}

void Lay(Packer& packer, const CertificateFields& fields) {
    auto* info = packer.One<CERT_INFO>();
    info->dwVersion = fields.version;
    info->SerialNumber = LayReversed(packer, fields.serial);
    Lay(packer, fields.signatureAlgorithm, info->SignatureAlgorithm);
    info->Issuer = packer.Blob(fields.issuer);
    info->NotBefore = fields.notBefore;
    info->NotAfter = fields.notAfter;
    info->Subject = packer.Blob(fields.subject);
    Lay(packer, fields.publicKey, info->SubjectPublicKeyInfo);
    Lay(packer, fields.issuerId, info->IssuerUniqueId);
    Lay(packer, fields.subjectId, info->SubjectUniqueId);
    Lay(packer, fields.extensions, info->cExtension, info->rgExtension);
}

KeyContext::~KeyContext() {
    if (!owned_) return;
    const LastErrorKeeper keeper;
    // Somebody may have released the count already.
    GuardedBool([&] { ReleaseHandle(provider_.get(), Kind::Provider, ERROR_INVALID_PARAMETER); });
}

Certificate::Certificate() : Object(Kind::Certificate) {}
Certificate::~Certificate() = default;

std::shared_ptr<Certificate> Certificate::Parse(ByteView der) {
    std::shared_ptr<Certificate> certificate(new Certificate);
    certificate->der_ = Copy(der);
    const CertificateFields fields = ReadToBeSigned(SignedPart(certificate->der_));
    certificate->info_ = PackOwned([&](Packer& packer) { Lay(packer, fields); });
    certificate->sha1_ = Sha1Of(der);

    CERT_CONTEXT& context = certificate->context_;
    context.dwCertEncodingType = X509_ASN_ENCODING;
    context.pbCertEncoded = certificate->der_.data();
    context.cbCertEncoded = static_cast<DWORD>(der.size());
    context.pCertInfo = reinterpret_cast<CERT_INFO*>(certificate->info_.get());
    return certificate;
}

std::shared_ptr<Certificate> Certificate::Of(PCCERT_CONTEXT context) {
    return Resolve<Certificate>(context, ERROR_INVALID_PARAMETER)->shared_from_this();
}

PCCERT_CONTEXT Certificate::Share(const std::shared_ptr<Certificate>& certificate) {
    PublishHandle(&certificate->context_, WithStore(certificate));
    return &certificate->context_;
}

X509* Certificate::Native() const {
    if (native_) return native_.get();
    native_ = DecodeWhole<NativeCertificate>(&d2i_X509, der_);
    ERR_clear_error();
    if (!native_) throw Error(CRYPT_E_ASN1_CORRUPT);
    return native_.get();
}

}  // namespace platform
