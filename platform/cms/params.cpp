#include "platform/cms/params.h"

#include "platform/base/output.h"
#include "platform/der/der.h"

namespace platform {
namespace {

Bytes KeyIdentifierName(ByteView keyIdentifier) {
    const Bytes attribute =
        der::Element(der::kSequence,
                     {der::Oid(szOID_KEYID_RDN), der::Element(der::kOctetString, keyIdentifier)});
    return der::Element(der::kSequence, der::Element(der::kSet, attribute));
}

struct PublicHolder {
    CERT_NAME_BLOB issuer;
    CRYPT_INTEGER_BLOB serial;  // little-endian
};

PublicHolder PackHolder(Packer& packer, const KeyHolder& holder) {
    if (holder.ByKeyIdentifier()) {
        return {packer.Blob(KeyIdentifierName(holder.keyIdentifier)), packer.Blob(Bytes{0})};
    }
    const Bytes serial(holder.serial.rbegin(), holder.serial.rend());
    return {packer.Blob(holder.issuer), packer.Blob(serial)};
}

void PackHolderInfo(Packer& packer, const KeyHolder& holder) {
    auto* info = packer.One<CERT_INFO>();
    const PublicHolder names = PackHolder(packer, holder);
    info->Issuer = names.issuer;
    info->SerialNumber = names.serial;
}

CRYPT_ALGORITHM_IDENTIFIER PackAlgorithm(Packer& packer, const Algorithm& algorithm) {
    return {packer.Text(algorithm.oid), packer.Blob(algorithm.parameters)};
}

CRYPT_ATTRIBUTES PackAttributes(Packer& packer, const std::vector<Bytes>& attributes) {
    auto* records = packer.Array<CRYPT_ATTRIBUTE>(attributes.size());
    CRYPT_ATTRIBUTE* record = records;
    for (const Bytes& der : attributes) {
        const AttributeView view = ParseAttribute(der);
        record->pszObjId = packer.Text(view.oid);
        record->cValue = static_cast<DWORD>(view.values.size());
        record->rgValue = packer.Array<CRYPT_ATTR_BLOB>(view.values.size());
        for (std::size_t i = 0; i < view.values.size(); ++i) {
            record->rgValue[i] = packer.Blob(view.values[i]);
        }
        ++record;
    }
    return {static_cast<DWORD>(attributes.size()), records};
}

}  // namespace

void CopyNumber(DWORD value, void* data, DWORD* size) {
    CopyOut(ViewOf(&value, sizeof value), data, size);
}

void CopyHolder(const KeyHolder& holder, void* data, DWORD* size) {
    PackOut([&](Packer& packer) { PackHolderInfo(packer, holder); }, data, size);
}

void CopyHolderId(const KeyHolder& holder, void* data, DWORD* size) {
    PackOut(
        [&](Packer& packer) {
            auto* id = packer.One<CERT_ID>();
            if (holder.ByKeyIdentifier()) {
                id->dwIdChoice = CERT_ID_KEY_IDENTIFIER;
                id->KeyId = packer.Blob(holder.keyIdentifier);
                return;
            }
            const PublicHolder names = PackHolder(packer, holder);
            id->dwIdChoice = CERT_ID_ISSUER_SERIAL_NUMBER;
            id->IssuerSerialNumber.Issuer = names.issuer;
            id->IssuerSerialNumber.SerialNumber = names.serial;
        },
        data, size);
}

std::unique_ptr<std::uint8_t[]> HolderRecord(const KeyHolder& holder) {
    return PackOwned([&](Packer& packer) { PackHolderInfo(packer, holder); });
}

void CopyNobody(void* data, DWORD* size) {
    PackOut([](Packer& packer) { packer.One<CERT_INFO>(); }, data, size);
}

void CopyAlgorithm(const Algorithm& algorithm, void* data, DWORD* size) {
    PackOut(
        [&](Packer& packer) {
            auto* record = packer.One<CRYPT_ALGORITHM_IDENTIFIER>();
            *record = PackAlgorithm(packer, algorithm);
        },
        data, size);
}

void CopyAttributes(const std::vector<Bytes>& attributes, void* data, DWORD* size) {
    PackOut(
        [&](Packer& packer) {
            auto* record = packer.One<CRYPT_ATTRIBUTES>();
            *record = PackAttributes(packer, attributes);
        },
        data, size);
}

void CopySigner(const SignerInfo& signer, void* data, DWORD* size) {
    PackOut(
        [&](Packer& packer) {
            auto* record = packer.One<CMSG_SIGNER_INFO>();
            record->dwVersion = static_cast<DWORD>(signer.version);
            const PublicHolder names = PackHolder(packer, signer.signer);
            record->Issuer = names.issuer;
            record->SerialNumber = names.serial;
            record->HashAlgorithm = PackAlgorithm(packer, signer.digest);
            record->HashEncryptionAlgorithm = PackAlgorithm(packer, signer.signatureAlgorithm);
            record->EncryptedHash = packer.Blob(signer.signature);
            if (signer.signedAttributes) {
                record->AuthAttrs = PackAttributes(packer, *signer.signedAttributes);
            }
            record->UnauthAttrs = PackAttributes(packer, signer.unsignedAttributes);
        },
        data, size);
}

}  // namespace platform
