// The short keys that stand for attribute types in the X.500 text form of names.
#pragma once

#include <cstdint>
#include <string_view>

namespace platform {

// What a value is encoded as when a name is made from text.
enum class RdnValueKind : std::uint8_t {
    Directory,  // PrintableString where it fits, otherwise UTF8String (RFC 5280 4.1.2.4)
    Printable,
    Ia5,
    Numeric,
};

struct RdnKey {
    const char* oid;
    const char* key;    // as written, and read without regard to case
    const char* alias;  // read only, or null
    RdnValueKind kind;
};

// Null when there is none.
const RdnKey* RdnKeyByOid(std::string_view oid);
const RdnKey* RdnKeyByName(std::string_view name);

}  // namespace platform
