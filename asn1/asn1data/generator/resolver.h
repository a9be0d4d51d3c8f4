// From parsed modules to a model: names, numbers, tags and the order of records.
#pragma once

#include <vector>

#include "asn1/asn1data/generator/model.h"

namespace asn1gen {

// The model is complete only when nothing was reported.
Model Resolve(std::vector<Module> modules, Diagnostics& diagnostics);

}  // namespace asn1gen
