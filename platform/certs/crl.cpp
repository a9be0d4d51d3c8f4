// CRLs: reading one, and its public record.
#include "platform/base/error.h"
#include "platform/certs/certificate.h"
#include "platform/certs/share.h"
#include "platform/der/records.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

constexpr std::uint8_t kUtcTime = 0x17;
constexpr std::uint8_t kGeneralizedTime = 0x18;

struct Entry {
    ByteView serial;
    FILETIME date{};
    std::vector<ExtensionView> extensions;
};

struct Fields {
    DWORD version = 0;
    AlgorithmView signatureAlgorithm;
    ByteView issuer;
    FILETIME thisUpdate{};
    FILETIME nextUpdate{};  // zero when the list names none
    std::vector<Entry> entries;
    std::vector<ExtensionView> extensions;
};

Entry ReadEntry(der::Cursor cursor) {
    Entry entry;
    entry.serial = cursor.Expect(der::kInteger).contents;
    if (entry.serial.empty()) throw Error(CRYPT_E_ASN1_CORRUPT);
    entry.date = ReadTime(cursor.Next());
    if (!cursor.AtEnd()) {
        entry.extensions = ReadExtensions(cursor.Expect(der::kSequence).contents);
    }
    cursor.ExpectEnd();
    return entry;
}

std::vector<Entry> ReadEntries(ByteView contents) {
    std::vector<Entry> entries;
    der::Cursor list(contents);
    while (!list.AtEnd()) {
        entries.push_back(ReadEntry(der::Cursor(list.Expect(der::kSequence).contents)));
    }
    return entries;
}

Fields ReadCrlToBeSigned(der::Cursor cursor) {
    Fields fields;
    if (cursor.NextIs(der::kInteger)) fields.version = static_cast<DWORD>(cursor.SmallInteger());
    fields.signatureAlgorithm = ReadAlgorithm(cursor);
    fields.issuer = cursor.Expect(der::kSequence).whole;
    fields.thisUpdate = ReadTime(cursor.Next());
    if (cursor.NextIs(kUtcTime) || cursor.NextIs(kGeneralizedTime)) {
        fields.nextUpdate = ReadTime(cursor.Next());
    }
    if (cursor.NextIs(der::kSequence)) fields.entries = ReadEntries(cursor.Next().contents);
    if (cursor.NextIs(der::ContextConstructed(0))) {
        der::Cursor explicitly(cursor.Next().contents);
        fields.extensions = ReadExtensions(explicitly.Expect(der::kSequence).contents);
        explicitly.ExpectEnd();
    }
    cursor.ExpectEnd();
    return fields;
}

void LayEntries(Packer& packer, const std::vector<Entry>& entries, CRL_INFO& info) {
    info.cCRLEntry = static_cast<DWORD>(entries.size());
    info.rgCRLEntry = packer.Array<CRL_ENTRY>(entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) {
        CRL_ENTRY& record = info.rgCRLEntry[i];
        record.SerialNumber = LayReversed(packer, entries[i].serial);
        record.RevocationDate = entries[i].date;
        Lay(packer, entries[i].extensions, record.cExtension, record.rgExtension);
    }
}

void LayInfo(Packer& packer, const Fields& fields) {
    auto* info = packer.One<CRL_INFO>();
    info->dwVersion = fields.version;
    Lay(packer, fields.signatureAlgorithm, info->SignatureAlgorithm);
    info->Issuer = packer.Blob(fields.issuer);
    info->ThisUpdate = fields.thisUpdate;
    info->NextUpdate = fields.nextUpdate;
    LayEntries(packer, fields.entries, *info);
    Lay(packer, fields.extensions, info->cExtension, info->rgExtension);
}

}  // namespace

Crl::Crl() : Object(Kind::Crl) {}
Crl::~Crl() = default;

std::shared_ptr<Crl> Crl::Parse(ByteView der) {
    std::shared_ptr<Crl> crl(new Crl);
    crl->der_ = Copy(der);
    const Fields fields = ReadCrlToBeSigned(SignedPart(crl->der_));
    crl->info_ = PackOwned([&](Packer& packer) { LayInfo(packer, fields); });

    CRL_CONTEXT& context = crl->context_;
    context.dwCertEncodingType = X509_ASN_ENCODING;
    context.pbCrlEncoded = crl->der_.data();
    context.cbCrlEncoded = static_cast<DWORD>(der.size());
    context.pCrlInfo = reinterpret_cast<CRL_INFO*>(crl->info_.get());
    return crl;
}

std::shared_ptr<Crl> Crl::Of(PCCRL_CONTEXT context) {
    return Resolve<Crl>(context, ERROR_INVALID_PARAMETER)->shared_from_this();
}

PCCRL_CONTEXT Crl::Share(const std::shared_ptr<Crl>& crl) {
    PublishHandle(&crl->context_, WithStore(crl));
    return &crl->context_;
}

X509_CRL* Crl::Native() const {
    if (native_) return native_.get();
    native_ = DecodeWhole<NativeCrl>(&d2i_X509_CRL, der_);
    ERR_clear_error();
    if (!native_) throw Error(CRYPT_E_ASN1_CORRUPT);
    return native_.get();
}

}  // namespace platform
