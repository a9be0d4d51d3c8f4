// Types.
#pragma once

#include "asn1/asn1data/generator/syntax.h"
#include "asn1/asn1data/generator/token_reader.h"

namespace asn1gen {

// Throws SyntaxError.
Type ParseType(TokenReader& reader);

}  // namespace asn1gen
