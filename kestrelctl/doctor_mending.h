// What doctor advises for damaged containers: lines for the shell that keep every key that is
// whole.
#pragma once

#include <filesystem>
#include <string>

#include "kestrelctl/ancestry.h"
#include "kestrelctl/findings.h"
#include "kestrelctl/identities.h"

namespace kestrelctl {

std::filesystem::path CertificateFile(const KeyPlace& place);

// For a certificate in the container that is damaged, or another key's: the key's own one of "My"
// takes its place. Throws when the key itself is damaged.
std::string MendCertificate(const Findings& findings, const Certificates& my,
                            const KeyPlace& place);

// For the file that the failure to read a container tells.
std::string MendContainer(const Findings& findings, const Certificates& my, const std::string& name,
                          const platform::Error& error);

}  // namespace kestrelctl
