// A small suite of the documented calls that runs on either system: each case makes a few
// calls and tells what came of them in one line.
#pragma once

#include <windows.h>

#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/hex.h"

namespace calls {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

using Octets = std::vector<BYTE>;

struct Case {
    const char* name;
    std::string (*run)();
    const char* expected;
};

std::span<const Case> RecordCases();
std::span<const Case> StoreCases();
std::span<const Case> MessageCases();

using support::FromHex;
// In small letters.
std::string Hex(const BYTE* data, std::size_t size);
// "ok", or the last error as eight digits.
std::string Told(BOOL result);
std::string Told(const void* handle);
// What the parts tell, with blanks between them.
std::string Joined(std::initializer_list<std::string> parts);

// The four ways to ask for a value that is no record: with no buffer, one octet short,
// exact, one over. Tells the result and the size of each.
template <class Call>
std::string SizeQueries(Call&& call) {
    DWORD need = 0;
    std::string told = Told(call(nullptr, &need));
    told += " " + std::to_string(need);
    for (const DWORD size : {need - 1, need, need + 1}) {
        Octets buffer(need + 1);
        DWORD given = size;
        told += ", " + Told(call(buffer.data(), &given));
        told += " " + std::to_string(given);
    }
    return told;
}

}  // namespace calls
