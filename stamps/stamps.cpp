// The entry points of the time-stamp client.
#include "stamps/stamps.h"

#include "front/core/catalogue.h"

namespace kestrel {
namespace {

DWORD NotBuilt() {
    SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
    return ERROR_CALL_NOT_IMPLEMENTED;
}

}  // namespace

bool CheckHttpLibrary() { return NotBuilt() == 0; }

bool RequestTimeStamp(const BYTE*, DWORD, const char*, std::vector<BYTE>& token, bool) {
    token.clear();
    return NotBuilt() == 0;
}

DWORD AddSignatureTimeStamp(BYTE*&, DWORD&, const char*, bool) { return NotBuilt(); }

DWORD CheckMessageStamps(const BYTE*, DWORD, const BYTE*, DWORD, const char* contentHours,
                         const char* signatureHours, DWORD) {
    if (contentHours == nullptr && signatureHours == nullptr) return 0;
    NotBuilt();
    return ReportError(kLastError);
}

}  // namespace kestrel
