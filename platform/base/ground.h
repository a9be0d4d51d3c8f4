// The ground headers as the platform's own units include them. A few names of encoded
// structures are type names of OpenSSL too; here they go by a constant instead.
#pragma once

#include <windows.h>

#undef X509_NAME
#undef X509_EXTENSIONS
#undef X509_CERT

namespace platform {

inline const LPCSTR kEncodeX509Cert = reinterpret_cast<LPCSTR>(1);
inline const LPCSTR kEncodeX509Extensions = reinterpret_cast<LPCSTR>(5);
inline const LPCSTR kEncodeX509Name = reinterpret_cast<LPCSTR>(7);

}  // namespace platform
