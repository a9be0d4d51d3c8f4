// Handles: an exported handle is the address of an Object (or of the public record
// inside one), and every seam call looks it up among the live ones before use, so
// that a stale, foreign or null handle is an error and never a read of freed memory.
#pragma once

#include "platform/base/ground.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "platform/base/error.h"

namespace platform {

enum class Kind : std::uint8_t {
    Provider,
    Key,
    Hash,
    Certificate,
    Crl,
    Store,
    Chain,
    Message,
    RegistryKey,
    File,
    Search,
    Internet,
};

// Base of everything behind a handle. Counted from outside the process only: each
// exported handle is one count; the last Release destroys the object.
class Object {
  public:
    explicit Object(Kind kind) : kind_(kind) {}
    virtual ~Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    [[nodiscard]] Kind GetKind() const { return kind_; }

  private:
    Kind kind_;
};

// Registers `object` under `handle` with one count.
void PublishHandle(const void* handle, std::shared_ptr<Object> object);
// One count more or less; throws `code` unless `handle` is a live one of `kind`.
void AddHandleReference(const void* handle, Kind kind, LONG code);
// The object leaves when its last count and every internal owner are gone.
void ReleaseHandle(const void* handle, Kind kind, LONG code);
std::shared_ptr<Object> FindHandle(const void* handle, Kind kind, LONG code);

// What stands behind the live handles of one kind.
std::vector<std::shared_ptr<Object>> LiveObjects(Kind kind);

// Live handles of all kinds, for tests that demand zero at their end.
std::size_t LiveHandles();

// The object behind a handle, or a thrown `code`.
template <class T>
std::shared_ptr<T> Resolve(const void* handle, LONG code = ERROR_INVALID_HANDLE) {
    return std::static_pointer_cast<T>(FindHandle(handle, T::kKind, code));
}

template <class T>
std::shared_ptr<T> Resolve(ULONG_PTR handle, LONG code = ERROR_INVALID_HANDLE) {
    return Resolve<T>(reinterpret_cast<const void*>(handle), code);
}

// Publishes an object under its own address.
template <class T>
T* Publish(std::shared_ptr<T> object) {
    T* raw = object.get();
    PublishHandle(raw, std::move(object));
    return raw;
}

}  // namespace platform
