// Whether two names lead to one file.
#pragma once

#include <string>

namespace kestrelctl::message {

// By device and number, through links; names of files that do not exist yet by their folder and
// last part. A name that cannot be looked at leads to no other's file.
bool IsSameFile(const std::string& first, const std::string& second);

}  // namespace kestrelctl::message
