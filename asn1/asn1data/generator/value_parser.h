// The part of the parser that reads values, and the constraints that are made of them.
#pragma once

#include "asn1/asn1data/generator/syntax.h"
#include "asn1/asn1data/generator/token_reader.h"

namespace asn1gen {

// All throw SyntaxError.
Value ParseValue(TokenReader& reader);
// A number with or without a sign, or the name of one.
Value ParseNumber(TokenReader& reader);
// The reader stands at "(".
Constraint ParseConstraint(TokenReader& reader);
// SIZE and its range in parentheses; the reader stands at SIZE.
Constraint ParseSize(TokenReader& reader);

}  // namespace asn1gen
