// Reading a bundle, with its name in every error.
#include "kestrelctl/bundle_file.h"

#include <filesystem>

#include "kestrelctl/cli.h"
#include "platform/base/error.h"

namespace kestrelctl {

bool Exists(const std::string& name) {
    std::error_code error;
    return std::filesystem::exists(name, error);
}

platform::CertificateBundle ReadBundleFile(const std::string& file) {
    platform::CertificateBundle bundle;
    try {
        bundle = platform::ReadBundle(platform::ReadWholeFile(file));
    } catch (const platform::Error& error) {
        if (!error.Detail().empty()) throw;
        throw platform::Error(error.Code(), file);
    }
    if (bundle.certificates.empty() && bundle.crls.empty()) {
        throw Failure(file + " holds no certificate and no CRL");
    }
    return bundle;
}

}  // namespace kestrelctl
