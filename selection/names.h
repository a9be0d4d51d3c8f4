// Names on their way to and from the platform: subjects as text, and the names of
// stores and files as wide text.
#pragma once

#include <windows.h>

#include <memory>
#include <string>

#include "front/core/encoding.h"

namespace kestrel {

// `form` is a CERT_*_NAME_STR value with its flags. Null when memory runs out; nothing
// is reported.
std::unique_ptr<char[]> SubjectText(PCCERT_CONTEXT certificate, DWORD form);

// From the system's narrow code page. False when the text is not valid in it.
bool WideName(const char* name, std::wstring& wide);

}  // namespace kestrel
