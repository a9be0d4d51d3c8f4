// Walking the values of a registry key.
#include "stamps/registry_values.h"

#include <algorithm>

#include "front/core/atl_exception.h"
#include "selection/provider_enum.h"

namespace ATL2 {
namespace {

void RequireStatus(LSTATUS status) {
    if (status == ERROR_SUCCESS) return;
    throw ATL::CAtlException(ATL::ResultOfError(static_cast<DWORD>(status)));
}

template <class Buffer>
void MakeRoom(Buffer& buffer, DWORD size) {
    if (size > buffer.Size()) buffer.Grow(size);
}

}  // namespace

CRegistryKey CRegistryKey::Open(HKEY parent, const wchar_t* path, REGSAM access) {
    HKEY key = nullptr;
    const LSTATUS status = RegOpenKeyExW(parent, path, 0, access, &key);
    if (status == ERROR_FILE_NOT_FOUND) return CRegistryKey();
    RequireStatus(status);
    return CRegistryKey(key, true);
}

void CRegistryValuesEnum::Enumerate(HKEY key) {
    DWORD count = 0;
    DWORD longestName = 0;
    DWORD largestData = 0;
    RequireStatus(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                   &count, &longestName, &largestData, nullptr, nullptr));
    CTextBufferT<wchar_t, 2048> name;
    CTextBufferT<BYTE, 4096> data;
    MakeRoom(name, static_cast<DWORD>((longestName + 1) * sizeof(wchar_t)));
    MakeRoom(data, largestData);
    if (!OnBegin(count) || count == 0) return;
    for (DWORD index = 0; index < count; ++index) {
        auto nameLength = static_cast<DWORD>(name.Size() / sizeof(wchar_t));
        DWORD dataSize = data.Size();
        DWORD type = REG_NONE;
        RequireStatus(RegEnumValueW(key, index, name.Text(), &nameLength, nullptr, &type,
                                    data.Text(), &dataSize));
        if (!OnValue(index, name.Text(), nameLength, type, data.Text(), dataSize)) break;
    }
    OnEnd();
}

}  // namespace ATL2
