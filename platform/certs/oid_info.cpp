// The table of identifiers: the algorithms of the providers.
#include "platform/certs/oid_info.h"

#include <cstring>
#include <list>
#include <string>

#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/providers/crypto.h"

namespace platform {
namespace {

// The public record of a row, with the storage of its wide name.
struct OidRecord {
    std::wstring name;
    CRYPT_OID_INFO info{};
};

// Records live as long as the process: callers keep pointers to them.
const std::list<OidRecord>& Records() {
    static const std::list<OidRecord> records = [] {
        std::list<OidRecord> list;
        for (const AlgorithmRow& row : AlgorithmTable()) {
            OidRecord& record = list.emplace_back();
            record.name = Widen(row.name);
            record.info.cbSize = sizeof record.info;
            record.info.pszOID = row.oid;
            record.info.pwszName = record.name.c_str();
            record.info.dwGroupId = row.group;
            record.info.Algid = row.id;
        }
        return list;
    }();
    return records;
}

bool HasKey(const OidRecord& record, DWORD keyType, const void* key) {
    switch (keyType) {
        case CRYPT_OID_INFO_OID_KEY:
            return std::strcmp(record.info.pszOID, static_cast<const char*>(key)) == 0;
        case CRYPT_OID_INFO_NAME_KEY:
            return FoldCase(std::wstring_view(record.name)) ==
                   FoldCase(std::wstring_view(static_cast<const WCHAR*>(key)));
        case CRYPT_OID_INFO_ALGID_KEY:
            return record.info.Algid == *static_cast<const ALG_ID*>(key);
        default:
            throw Error(E_INVALIDARG);
    }
}

}  // namespace

PCCRYPT_OID_INFO FindOidInfo(DWORD keyType, const void* key, DWORD group) {
    for (const OidRecord& record : Records()) {
        if (group != 0 && record.info.dwGroupId != group) continue;
        if (HasKey(record, keyType, key)) return &record.info;
    }
    throw Error(CRYPT_E_NOT_FOUND);
}

}  // namespace platform
