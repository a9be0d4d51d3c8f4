// The part of the parser that reads types (X.680 clauses 17 to 31).
#pragma once

#include "asn1/asn1data/generator/syntax.h"
#include "asn1/asn1data/generator/token_reader.h"

namespace asn1gen {

// Throws SyntaxError.
Type ParseType(TokenReader& reader);

}  // namespace asn1gen
