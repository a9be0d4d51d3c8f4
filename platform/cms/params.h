// How the values of CryptMsgGetParam reach the caller's buffer, as documented for each.
#pragma once

#include "platform/base/ground.h"

#include <memory>
#include <vector>

#include "platform/cms/model.h"

namespace platform {

// All throw as CopyOut does.
// CERT_INFO with issuer and serial number alone. A key identifier appears as an issuer of
// the one attribute szOID_KEYID_RDN with the serial number 0.
void CopyHolder(const KeyHolder& holder, void* data, DWORD* size);
// CERT_ID in the form that the message uses.
void CopyHolderId(const KeyHolder& holder, void* data, DWORD* size);
// CopyHolder's value in a block of its own, which begins with the CERT_INFO.
std::unique_ptr<std::uint8_t[]> HolderRecord(const KeyHolder& holder);
// CERT_INFO that no certificate matches.
void CopyNobody(void* data, DWORD* size);
void CopyAlgorithm(const Algorithm& algorithm, void* data, DWORD* size);
void CopyAttributes(const std::vector<Bytes>& attributes, void* data, DWORD* size);
void CopySigner(const SignerInfo& signer, void* data, DWORD* size);
// The parts one behind the other.
void CopyParts(const EncodedParts& parts, void* data, DWORD* size);

// The record that a caller's pointer leads to, or ERROR_INVALID_PARAMETER; the second for
// records that tell their size.
template <class T>
const T& RecordAt(const void* para) {
    if (para == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    return *static_cast<const T*>(para);
}
template <class T>
const T& SizedRecordAt(const void* para) {
    const T& record = RecordAt<T>(para);
    if (record.cbSize < sizeof(T)) throw Error(ERROR_INVALID_PARAMETER);
    return record;
}

// Element `index`, or CRYPT_E_INVALID_INDEX.
template <class T>
auto& ItemAt(T& items, DWORD index) {
    if (index >= items.size()) throw Error(CRYPT_E_INVALID_INDEX);
    return items[index];
}

}  // namespace platform
