// Recipients of an enveloped message that are named by the identifier of their key.
#pragma once

#include <windows.h>

namespace kestrel {

// The first of `count` recipients that is named by the key identifier of the certificate.
bool FindRecipientByKey(HCRYPTMSG message, PCCERT_CONTEXT certificate, DWORD count, DWORD& index);

}  // namespace kestrel
