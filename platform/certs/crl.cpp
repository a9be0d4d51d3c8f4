// CRLs: reading one, and its public record.
#include "platform/base/error.h"
#include "platform/certs/certificate.h"
#include "platform/certs/share.h"
#include "platform/der/records.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

struct Fields {
    DWORD version = 0;
    AlgorithmView signatureAlgorithm;
    ByteView issuer;
    FILETIME thisUpdate{};
    FILETIME nextUpdate{};  // zero when the list names none
    der::Item entries;      // may be absent
    std::vector<ExtensionView> extensions;
};

// Lists are long: nothing is made of an entry before somebody asks for it, and identifiers,
// which are much the same in all of them, are read where they change.
void CheckEntries(ByteView contents) {
    ByteView known;
    for (CrlEntries entries(contents); const auto entry = entries.Next();) {
        ReadTime(entry->date);
        der::Cursor extensions(entry->extensions);
        while (!extensions.AtEnd()) {
            const ByteView oid = NextExtension(extensions).oid;
            if (Equal(oid, known)) continue;
            der::DottedOid(oid);
            known = oid;
        }
    }
}

Fields ReadCrlToBeSigned(der::Cursor cursor) {
    Fields fields;
    if (cursor.NextIs(der::kInteger)) fields.version = static_cast<DWORD>(cursor.SmallInteger());
    fields.signatureAlgorithm = ReadAlgorithm(cursor);
    fields.issuer = cursor.Expect(der::kSequence).whole;
    fields.thisUpdate = ReadTime(cursor.Next());
    if (cursor.NextIs(der::kUtcTime) || cursor.NextIs(der::kGeneralizedTime)) {
        fields.nextUpdate = ReadTime(cursor.Next());
    }
    if (cursor.NextIs(der::kSequence)) fields.entries = cursor.Next();
    if (cursor.NextIs(der::ContextConstructed(0))) {
        der::Cursor explicitly(cursor.Next().contents);
        fields.extensions = ReadExtensions(explicitly.Expect(der::kSequence).contents);
        explicitly.ExpectEnd();
    }
    cursor.ExpectEnd();
    return fields;
}

CRL_INFO& LayHead(Packer& packer, const Fields& fields) {
    auto* info = packer.One<CRL_INFO>();
    info->dwVersion = fields.version;
    Lay(packer, fields.signatureAlgorithm, info->SignatureAlgorithm);
    info->Issuer = packer.Blob(fields.issuer);
    info->ThisUpdate = fields.thisUpdate;
    info->NextUpdate = fields.nextUpdate;
    Lay(packer, fields.extensions, info->cExtension, info->rgExtension);
    return *info;
}

void LayEntries(Packer& packer, const std::vector<CrlEntry>& entries, CRL_INFO& info) {
    info.cCRLEntry = static_cast<DWORD>(entries.size());
    info.rgCRLEntry = packer.Array<CRL_ENTRY>(entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) {
        CRL_ENTRY& record = info.rgCRLEntry[i];
        record.SerialNumber = LayReversed(packer, entries[i].serial);
        record.RevocationDate = ReadTime(entries[i].date);
        Lay(packer, ReadExtensions(entries[i].extensions), record.cExtension, record.rgExtension);
    }
}

// The list as it would be with no entry in it.
Bytes WithoutEntries(ByteView der, const der::Item& entries) {
    der::Cursor parts = der::Inside(der, der::kSequence);
    const der::Item toBeSigned = parts.Expect(der::kSequence);
    const ByteView behind = parts.Expect(der::kSequence).whole;
    const ByteView signature = parts.Expect(der::kBitString).whole;
    const auto place = static_cast<std::size_t>(entries.whole.data() - toBeSigned.contents.data());
    return der::Element(
        der::kSequence,
        {der::Element(der::kSequence, {toBeSigned.contents.first(place),
                                       toBeSigned.contents.subspan(place + entries.whole.size())}),
         behind, signature});
}

}  // namespace

std::optional<CrlEntry> CrlEntries::Next() {
    if (list_.AtEnd()) return std::nullopt;
    der::Cursor fields(list_.Expect(der::kSequence).contents);
    CrlEntry entry;
    entry.serial = fields.Expect(der::kInteger).contents;
    if (entry.serial.empty()) throw Error(CRYPT_E_ASN1_CORRUPT);
    entry.date = fields.Next();
    if (!fields.AtEnd()) entry.extensions = fields.Expect(der::kSequence).contents;
    fields.ExpectEnd();
    return entry;
}

Crl::Crl() : Object(Kind::Crl) {}
Crl::~Crl() = default;

std::shared_ptr<Crl> Crl::Parse(ByteView der) {
    std::shared_ptr<Crl> crl(new Crl);
    crl->der_ = Copy(der);
    const Fields fields = ReadCrlToBeSigned(SignedPart(crl->der_));
    CheckEntries(fields.entries.contents);
    crl->head_ = PackOwned([&](Packer& packer) { LayHead(packer, fields); });

    CRL_CONTEXT& context = crl->context_;
    context.dwCertEncodingType = X509_ASN_ENCODING;
    context.pbCrlEncoded = crl->der_.data();
    context.cbCrlEncoded = static_cast<DWORD>(der.size());
    return crl;
}

std::shared_ptr<Crl> Crl::Of(PCCRL_CONTEXT context) {
    return Resolve<Crl>(context, ERROR_INVALID_PARAMETER)->shared_from_this();
}

PCCRL_CONTEXT Crl::Share(const std::shared_ptr<Crl>& crl) {
    const CRL_CONTEXT* context = &crl->Context();
    PublishHandle(context, WithStore(crl));
    return context;
}

const CRL_CONTEXT& Crl::Context() const {
    if (info_) return context_;
    const Fields fields = ReadCrlToBeSigned(SignedPart(der_));
    std::vector<CrlEntry> entries;
    for (CrlEntries list(fields.entries.contents); const auto entry = list.Next();) {
        entries.push_back(*entry);
    }
    info_ =
        PackOwned([&](Packer& packer) { LayEntries(packer, entries, LayHead(packer, fields)); });
    context_.pCrlInfo = reinterpret_cast<CRL_INFO*>(info_.get());
    return context_;
}

CrlEntries Crl::Entries() const {
    return CrlEntries(ReadCrlToBeSigned(SignedPart(der_)).entries.contents);
}

X509_CRL* Crl::NativeHead() const {
    if (native_) return native_.get();
    const der::Item entries = ReadCrlToBeSigned(SignedPart(der_)).entries;
    native_ = entries.whole.empty()
                  ? DecodeWhole<NativeCrl>(&d2i_X509_CRL, der_)
                  : DecodeWhole<NativeCrl>(&d2i_X509_CRL, WithoutEntries(der_, entries));
    ERR_clear_error();
    if (!native_) throw Error(CRYPT_E_ASN1_CORRUPT);
    return native_.get();
}

}  // namespace platform
