// A row of the authority's tables: one certificate, request or revocation.
#pragma once

#include <windows.h>

#include <map>
#include <string>

namespace kestrel {

// A default row stands for a number that is not in the table.
struct PageRow {
    DWORD present = 0;
    LONG status = -1;  // a disposition
    std::string column2;
    std::string column3;
    std::string column4;
    std::string text;  // the stored request, or a certificate's serial number
};

// By the authority's number.
using PageList = std::map<LONG, PageRow>;

enum class RowKind : LONG { Certificate = 1, Request = 2, Revocation = 3 };

}  // namespace kestrel
