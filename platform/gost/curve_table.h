// The published parameter sets of GOST R 34.10, in hexadecimal digits.
#pragma once

#include <string_view>

namespace platform::gost {

struct CurveRow {
    std::string_view oid;
    std::string_view p;
    std::string_view a;
    std::string_view b;
    std::string_view q;
    std::string_view x;
    std::string_view y;
    unsigned cofactorBits;  // the cofactor is 2 to this power
};

// Null when unknown. Sets that are published under several identifiers have one row.
const CurveRow* FindCurveRow(std::string_view oid);

}  // namespace platform::gost
