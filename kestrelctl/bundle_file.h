// Files of certificates and CRLs as the command line names them.
#pragma once

#include <string>

#include "platform/stores/store.h"

namespace kestrelctl {

// Whatever it is: file, folder or device.
bool Exists(const std::string& name);
// Throws Failure for a file that holds none, and the platform's error with the file's name.
platform::CertificateBundle ReadBundleFile(const std::string& file);

}  // namespace kestrelctl
