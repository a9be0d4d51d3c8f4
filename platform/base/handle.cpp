// The table of live handles.
#include "platform/base/handle.h"

#include <unordered_map>

namespace platform {
namespace {

struct Entry {
    std::shared_ptr<Object> object;
    std::size_t count = 1;
};

// Never destroyed: handles may be released by clean-up that runs at exit.
std::unordered_map<const void*, Entry>& Table() {
    static auto* const table = new std::unordered_map<const void*, Entry>;
    return *table;
}

Entry& Live(const void* handle, Kind kind, LONG code) {
    const auto found = Table().find(handle);
    if (found == Table().end() || found->second.object->GetKind() != kind) throw Error(code);
    return found->second;
}

}  // namespace

void PublishHandle(const void* handle, std::shared_ptr<Object> object) {
    const auto [entry, added] = Table().try_emplace(handle, Entry{std::move(object), 1});
    if (!added) ++entry->second.count;
}

void AddHandleReference(const void* handle, Kind kind, LONG code) {
    ++Live(handle, kind, code).count;
}

void ReleaseHandle(const void* handle, Kind kind, LONG code) {
    Entry& entry = Live(handle, kind, code);
    if (--entry.count > 0) return;
    // The destructor may release further handles, so the entry goes first.
    const std::shared_ptr<Object> last = std::move(entry.object);
    Table().erase(handle);
}

std::shared_ptr<Object> FindHandle(const void* handle, Kind kind, LONG code) {
    return Live(handle, kind, code).object;
}

std::vector<std::shared_ptr<Object>> LiveObjects(Kind kind) {
    std::vector<std::shared_ptr<Object>> objects;
    for (const auto& [handle, entry] : Table()) {
        if (entry.object->GetKind() == kind) objects.push_back(entry.object);
    }
    return objects;
}

std::size_t LiveHandles() { return Table().size(); }

}  // namespace platform
