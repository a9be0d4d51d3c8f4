// Holders and small steps that reading and making PKCS #12 files share.
#pragma once

#include <openssl/pkcs12.h>

#include <memory>

#include "platform/base/bytes.h"
#include "platform/certs/certificate.h"
#include "platform/providers/openssl.h"

namespace kestrelctl {

using Pkcs12 = std::unique_ptr<PKCS12, platform::Freer<PKCS12_free>>;
inline void FreeContents(STACK_OF(PKCS7) * list) { sk_PKCS7_pop_free(list, PKCS7_free); }
inline void FreeBags(STACK_OF(PKCS12_SAFEBAG) * list) {
    sk_PKCS12_SAFEBAG_pop_free(list, PKCS12_SAFEBAG_free);
}
using Contents = std::unique_ptr<STACK_OF(PKCS7), platform::Freer<FreeContents>>;
using Bags = std::unique_ptr<STACK_OF(PKCS12_SAFEBAG), platform::Freer<FreeBags>>;
using platform::NativeCertificate;

// The text with a terminator, wiped with its holder.
inline platform::Secret Terminated(const platform::Secret& secret) {
    platform::Bytes bytes = platform::Copy(secret.View());
    bytes.push_back(0);
    platform::Secret result{platform::ByteView(bytes)};
    platform::Wipe(bytes);
    return result;
}

}  // namespace kestrelctl
