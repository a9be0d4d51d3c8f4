// The values of CryptMsgGetParam, laid out.
#include "platform/cms/params.h"

#include <algorithm>
#include <limits>
#include <utility>

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

CERT_ID PackHolderId(Packer& packer, const KeyHolder& holder) {
    CERT_ID id{};
    if (holder.ByKeyIdentifier()) {
        id.dwIdChoice = CERT_ID_KEY_IDENTIFIER;
        id.KeyId = packer.Blob(holder.keyIdentifier);
        return id;
    }
    const PublicHolder names = PackHolder(packer, holder);
    id.dwIdChoice = CERT_ID_ISSUER_SERIAL_NUMBER;
    id.IssuerSerialNumber.Issuer = names.issuer;
    id.IssuerSerialNumber.SerialNumber = names.serial;
    return id;
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

void CopyHolder(const KeyHolder& holder, void* data, DWORD* size) {
    PackOut([&](Packer& packer) { PackHolderInfo(packer, holder); }, data, size);
}

void CopyHolderId(const KeyHolder& holder, void* data, DWORD* size) {
    PackOut(
        [&](Packer& packer) {
            // The record first, what it points to behind it.
            auto* id = packer.One<CERT_ID>();
            *id = PackHolderId(packer, holder);
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

void CopyParts(const EncodedParts& parts, void* data, DWORD* size) {
    if (size == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    if (parts.Size() > std::numeric_limits<DWORD>::max()) throw Error(ERROR_OUTOFMEMORY);
    const DWORD capacity = std::exchange(*size, static_cast<DWORD>(parts.Size()));
    if (data == nullptr) return;
    if (capacity < parts.Size()) throw Error(ERROR_MORE_DATA);
    auto* to = static_cast<std::uint8_t*>(data);
    for (const ByteView part : {ByteView(parts.head), parts.content, ByteView(parts.tail)}) {
        to = std::copy(part.begin(), part.end(), to);
    }
}

}  // namespace platform
