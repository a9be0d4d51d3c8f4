// A standard authority by its web pages.
#pragma once

#include <string_view>

#include "enroll/options.h"

namespace kestrel {

// `address` begins with kHttpScheme (ca_page.h). Both are 0 or a reported code.
//
// Hands a request in, and installs what is issued at once. The number of one that has to wait is
// told as TellRequestId has it.
Reported CreateOverWeb(const EnrollOptions& options, std::string_view address,
                       const ComText& request, const char* idFile);
// Installs what was issued meanwhile.
Reported FetchOverWeb(const EnrollOptions& options, std::string_view address, int id);

}  // namespace kestrel
