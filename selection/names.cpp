// Names of certificates as text.
#include "selection/names.h"

#include <new>

namespace kestrel {

std::unique_ptr<char[]> SubjectText(PCCERT_CONTEXT certificate, DWORD form) {
    CERT_NAME_BLOB* subject = &certificate->pCertInfo->Subject;
    const DWORD size = CertNameToStrA(kMessageEncodingType, subject, form, nullptr, 0);
    // One byte more keeps the text terminated whatever the platform makes of the name.
    std::unique_ptr<char[]> text(new (std::nothrow) char[size + 1]());
    if (text) CertNameToStrA(kMessageEncodingType, subject, form, text.get(), size);
    return text;
}

bool WideName(const char* name, std::wstring& wide) {
    const int length = MultiByteToWideChar(CP_ACP, 0, name, -1, nullptr, 0);
    if (length <= 0) return false;
    wide.resize(static_cast<std::size_t>(length));
    if (MultiByteToWideChar(CP_ACP, 0, name, -1, wide.data(), length) <= 0) return false;
    wide.pop_back();  // the terminator
    return true;
}

}  // namespace kestrel
