// Schemas in, sources out.
#pragma once

#include <string>
#include <vector>

namespace asn1gen {

struct File {
    std::string name;  // of an output: relative to the folder
    std::string text;
};

struct Result {
    std::vector<File> files;
    std::string errors;  // "file:line:column: text" lines; there are no files then
};

Result Generate(const std::vector<File>& schemas);

}  // namespace asn1gen
