// The property that leads from a certificate to its key, in a form that stores keep.
#pragma once

#include "platform/base/ground.h"

#include <string>

#include "platform/base/bytes.h"

namespace platform {

struct KeyProviderInfo {
    std::string container;
    std::string provider;  // empty: the default provider of the type
    DWORD type = 0;
    DWORD flags = 0;  // CRYPT_MACHINE_KEYSET
    DWORD keySpec = AT_KEYEXCHANGE;
};

Bytes Serialize(const KeyProviderInfo& info);
// Throws NTE_BAD_DATA.
KeyProviderInfo ParseKeyProviderInfo(ByteView value);

KeyProviderInfo FromPublic(const CRYPT_KEY_PROV_INFO& info);
// Lays the public record out for CertGetCertificateContextProperty.
void CopyPublicOut(const KeyProviderInfo& info, void* buffer, DWORD* size);

}  // namespace platform
