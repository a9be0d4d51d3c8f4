// Names of folders and companion files, as text: nothing here looks at the disk.
//
// "/" and "\" both separate. The last of them in a path is its separator, and takes the
// place of all others; a path with neither has "\".
#pragma once

#include <string>
#include <string_view>

namespace kestrel {

// Up to and including the last separator; ".\" when there is none.
std::string FolderPart(std::string_view path);

// The value of -dir, with a separator at its end.
std::string CompanionFolder(std::string_view value);

// `folder` is a CompanionFolder. What is taken of the source's name begins with its last
// separator, so two may follow one another, which the file system takes as one.
std::string CompanionName(std::string_view folder, std::string_view source,
                          std::string_view extension);

}  // namespace kestrel
