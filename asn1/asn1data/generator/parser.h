// Modules and their assignments (X.680 clauses 12 and 15).
#pragma once

#include <string_view>
#include <vector>

#include "asn1/asn1data/generator/syntax.h"

namespace asn1gen {

// The modules of one file. After a fault reading goes on with the next assignment.
std::vector<Module> Parse(std::string_view text, int file, Diagnostics& diagnostics);

}  // namespace asn1gen
