// The table of keys in the text of names.
#include "platform/certs/rdn_keys.h"

#include <algorithm>
#include <iterator>

#include "platform/base/text.h"

namespace platform {
namespace {

using enum RdnValueKind;

const RdnKey kKeys[] = {
    {"2.5.4.3", "CN", "CommonName", Directory},
    {"2.5.4.7", "L", nullptr, Directory},
    {"2.5.4.10", "O", nullptr, Directory},
    {"2.5.4.11", "OU", nullptr, Directory},
    {"1.2.840.113549.1.9.1", "E", "Email", Ia5},
    {"2.5.4.6", "C", nullptr, Printable},
    {"2.5.4.8", "S", "ST", Directory},
    {"2.5.4.9", "STREET", nullptr, Directory},
    {"2.5.4.12", "T", "Title", Directory},
    {"2.5.4.42", "G", "GivenName", Directory},
    {"2.5.4.43", "I", "Initials", Directory},
    {"2.5.4.4", "SN", nullptr, Directory},
    {"0.9.2342.19200300.100.1.25", "DC", nullptr, Ia5},
    {"2.5.4.5", "SERIALNUMBER", nullptr, Printable},
    {"2.5.4.13", "Description", nullptr, Directory},
    {"2.5.4.17", "PostalCode", nullptr, Directory},
    {"2.5.4.18", "POBox", nullptr, Directory},
    {"2.5.4.20", "Phone", nullptr, Printable},
    {"2.5.4.24", "X21Address", nullptr, Numeric},
    {"2.5.4.46", "dnQualifier", nullptr, Printable},
};

template <class Test>
const RdnKey* Find(Test&& test) {
    const auto* const found = std::find_if(std::begin(kKeys), std::end(kKeys), test);
    return found == std::end(kKeys) ? nullptr : found;
}

}  // namespace

const RdnKey* RdnKeyByOid(std::string_view oid) {
    return Find([&](const RdnKey& row) { return oid == row.oid; });
}

const RdnKey* RdnKeyByName(std::string_view name) {
    return Find([&](const RdnKey& row) {
        return SameName(name, row.key) || (row.alias != nullptr && SameName(name, row.alias));
    });
}

}  // namespace platform
