// Words and signs of the notation (X.680 clause 12).
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "asn1/asn1data/generator/diagnostics.h"

namespace asn1gen {

enum class TokenKind {
    kUpperName,  // type and module names, and every reserved word
    kLowerName,  // identifiers and value names
    kNumber,
    kBits,  // '0101'B
    kHex,   // 'AF01'H
    kText,  // "text"
    kSign,  // ::= .. ... and single characters
    kEnd,
};

struct Token {
    TokenKind kind = TokenKind::kEnd;
    std::string text;  // as it stands in the input, quotes included
    Position at;
};

// The tokens of one file, kEnd last. Faults are reported and left out.
std::vector<Token> Tokenize(std::string_view text, int file, Diagnostics& diagnostics);

}  // namespace asn1gen
