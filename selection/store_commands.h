// The back end that the copying commands share.
#pragma once

#include <windows.h>

#include "front/core/result.h"

namespace kestrel {

// Writes state.foundCertificates to the system store `destination`, which is created when
// it does not exist, or to a file of that name: one certificate as such, several as a
// certificates-only PKCS #7 message. 0 or a reported code.
Reported WriteCertificates(DWORD der, DWORD toFile, DWORD toUserStore, const char* destination);

}  // namespace kestrel
