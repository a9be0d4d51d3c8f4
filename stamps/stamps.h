// The entry points of the time-stamp client (RFC 3161) for the message commands.
#pragma once

#include <windows.h>

#include <vector>

namespace kestrel {

// Whether stamps can be requested at all: the HTTP library loads. Asked before any file
// is touched. False with the last error set, unreported.
bool CheckHttpLibrary();

// A stamp over `data`. A null `url` means the default of the policy; `certReq` asks for
// the service's certificate in the token. `token` gets the DER of the token. False with
// the last error set, unreported.
bool RequestTimeStamp(const BYTE* data, DWORD size, const char* url, std::vector<BYTE>& token,
                      bool certReq);

// Stamps the signature of signer 0 of a whole message. On success the malloc'ed `message`
// is freed and replaced by the stamped one; on failure it stays. 0 or an error code,
// unreported.
DWORD AddSignatureTimeStamp(BYTE*& message, DWORD& size, const char* url, bool noStampCert);

// Checks the stamps of one signer: over the content if `contentHours` is given, over the
// signature if `signatureHours` is; an empty text means without a limit of age. 0, or the
// code of the last stamp that failed, each of which was reported.
DWORD CheckMessageStamps(const BYTE* message, DWORD messageSize, const BYTE* content,
                         DWORD contentSize, const char* contentHours, const char* signatureHours,
                         DWORD signerIndex);

}  // namespace kestrel
