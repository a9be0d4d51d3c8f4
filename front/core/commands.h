// The command routines: no arguments, a 32-bit result. A routine reports its own
// failures before it returns their code.
#pragma once

#include <windows.h>

namespace kestrel {

DWORD RunEncrypt();
DWORD RunDecrypt();
DWORD RunSign();
DWORD RunVerify();
DWORD RunAddSign();
DWORD RunDelSign();
DWORD RunAddAttr();
DWORD RunCopyCert();
DWORD RunCspCert();
DWORD RunDelCert();
DWORD RunHash();
DWORD RunVerifyHash();
DWORD RunSignFiles();
DWORD RunVerifyFiles();
DWORD RunCreatCert();
DWORD RunPendCert();
DWORD RunCreatRqst();
DWORD RunInstCert();
DWORD RunListDn();
DWORD RunCreatUser();
DWORD RunCheckReg();

}  // namespace kestrel
