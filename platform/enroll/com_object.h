// What all objects behind interfaces share: their count, the interfaces that they answer to, and
// the way from an exception to a result.
#pragma once

#include <enrollment.h>

#include <cstring>

#include "platform/base/error.h"

namespace platform {

inline bool SameId(const GUID& first, const GUID& second) {
    return std::memcmp(&first, &second, sizeof first) == 0;
}

inline constexpr IID kIUnknown = {
    0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

// An object with the one interface `Top` and those that it is derived from. It begins with one
// count, and goes with the last. `ids` are those of `Top` and of its bases that have names here.
template <class Top, const IID&... ids>
class ComObject : public Top {
  public:
    ComObject() = default;
    virtual ~ComObject() = default;
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
        if (object == nullptr) return E_POINTER;
        const bool known =
            SameId(id, kIUnknown) || SameId(id, enrollment::kIDispatch) || (SameId(id, ids) || ...);
        *object = known ? static_cast<Top*>(this) : nullptr;
        if (!known) return E_NOINTERFACE;
        ++count_;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++count_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --count_;
        if (left == 0) delete this;
        return left;
    }

  private:
    ULONG count_ = 1;
};

// The code as a result: what is none yet becomes one of the Win32 facility.
inline HRESULT ResultOf(DWORD code) {
    constexpr DWORD kFailure = 0x80000000;
    constexpr DWORD kWin32 = 0x80070000;
    return static_cast<HRESULT>((code & kFailure) != 0 ? code : kWin32 | (code & 0xFFFF));
}

// Runs the body of a method. What it throws is its result; the last error is the caller's.
template <class Body>
HRESULT Method(Body&& body,
               const std::source_location& call = std::source_location::current()) noexcept {
    const LastErrorKeeper keeper;
    try {
        std::forward<Body>(body)();
        return S_OK;
    } catch (...) {
        SetLastErrorFromException(call);
        return ResultOf(LastError());
    }
}

// The object of ours behind an interface; all are. Throws E_POINTER and E_INVALIDARG.
template <class Own, class Interface>
Own& OwnObject(Interface* object) {
    if (object == nullptr) throw Error(E_POINTER);
    auto* own = dynamic_cast<Own*>(object);
    if (own == nullptr) throw Error(E_INVALIDARG);
    return *own;
}

// Answers a value of an object. Throws E_POINTER when nobody takes it.
template <class Value>
void PutValue(Value* target, Value value) {
    if (target == nullptr) throw Error(E_POINTER);
    *target = value;
}

}  // namespace platform
