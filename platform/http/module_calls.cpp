// Loading modules and finding their procedures. What was loaded stays to the process's end.
#include <algorithm>
#include <array>
#include <string_view>

#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/http/modules.h"

namespace platform {
namespace {

struct Row {
    const Module& module;
    std::size_t count = 0;  // of loads that were not freed

    [[nodiscard]] bool There() const { return module.linked || count > 0; }
};

std::span<Row> Rows() {
    static std::array<Row, 2> rows = {{{WinHttpModule()}, {WinInetModule()}}};
    return rows;
}

// Null for a name that is no module of ours.
Row* RowNamed(LPCSTR name) {
    if (name == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    std::string_view plain = name;
    constexpr std::string_view kExtension = ".dll";
    if (plain.size() > kExtension.size() &&
        SameName(plain.substr(plain.size() - kExtension.size()), kExtension)) {
        plain.remove_suffix(kExtension.size());
    }
    const auto rows = Rows();
    const auto found = std::find_if(
        rows.begin(), rows.end(), [&](const Row& row) { return SameName(row.module.name, plain); });
    return found == rows.end() ? nullptr : &*found;
}

HMODULE HandleOf(Row& row) { return reinterpret_cast<HMODULE>(&row); }

Row& RowOf(HMODULE handle) {
    for (Row& row : Rows()) {
        if (HandleOf(row) == handle && row.There()) return row;
    }
    throw Error(ERROR_INVALID_HANDLE);
}

}  // namespace
}  // namespace platform

using namespace platform;

HMODULE WINAPI LoadLibraryA(LPCSTR name) {
    return Guarded<HMODULE>(nullptr, [&] {
        Row* row = RowNamed(name);
        if (row == nullptr) throw Error(ERROR_MOD_NOT_FOUND, name);
        row->module.load();
        ++row->count;
        return HandleOf(*row);
    });
}

BOOL WINAPI FreeLibrary(HMODULE module) {
    return GuardedBool([&] {
        Row& row = RowOf(module);
        if (row.count > 0) --row.count;
    });
}

HMODULE WINAPI GetModuleHandleA(LPCSTR name) {
    return Guarded<HMODULE>(nullptr, [&] {
        Row* row = RowNamed(name);
        if (row == nullptr || !row->There()) throw Error(ERROR_MOD_NOT_FOUND);
        return HandleOf(*row);
    });
}

FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name) {
    return Guarded<FARPROC>(nullptr, [&] {
        const auto procedures = RowOf(module).module.procedures;
        if (name == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        const std::string_view wanted = name;
        for (const Procedure& procedure : procedures) {
            if (wanted == procedure.name) return procedure.address;
        }
        throw Error(ERROR_PROC_NOT_FOUND, name);
    });
}
