// One owner for each thing that the enrolment objects hand out.
#pragma once

#include <objbase.h>

#include <string>
#include <string_view>
#include <utility>

#include "front/core/holders.h"

namespace kestrel {

// A count of an object.
template <typename Interface>
class ComHolder {
  public:
    ComHolder() = default;
    explicit ComHolder(Interface* object) : object_(object) {}
    ~ComHolder() {
        const LastErrorKeeper keeper;
        if (object_ != nullptr) object_->Release();
    }
    ComHolder(const ComHolder&) = delete;
    ComHolder& operator=(const ComHolder&) = delete;

    [[nodiscard]] Interface* Get() const { return object_; }
    Interface* operator->() const { return object_; }
    // For a call that fills it on success.
    Interface** Fill() { return &object_; }
    void** FillAny() { return reinterpret_cast<void**>(&object_); }

  private:
    Interface* object_ = nullptr;
};

inline HRESULT Create(REFCLSID id, REFIID interfaceId, void** object) {
    return CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, interfaceId, object);
}

// A length-prefixed text; null is none.
class ComText {
  public:
    ComText() = default;
    // Throws std::bad_alloc.
    explicit ComText(std::wstring_view text);
    ~ComText() { Clear(); }
    ComText(const ComText&) = delete;
    ComText& operator=(const ComText&) = delete;
    ComText(ComText&& other) noexcept : text_(std::exchange(other.text_, nullptr)) {}
    ComText& operator=(ComText&& other) noexcept {
        std::swap(text_, other.text_);
        return *this;
    }

    void Clear() {
        SysFreeString(text_);
        text_ = nullptr;
    }
    [[nodiscard]] BSTR Get() const { return text_; }
    [[nodiscard]] bool IsEmpty() const { return SysStringLen(text_) == 0; }
    [[nodiscard]] std::wstring_view View() const { return {text_, SysStringLen(text_)}; }
    // For a caller that frees it.
    BSTR Release() { return std::exchange(text_, nullptr); }
    BSTR* Fill() {
        Clear();
        return &text_;
    }

  private:
    BSTR text_ = nullptr;
};

// From and to the narrow code page. Both are false with the last error set.
bool Widen(const char* narrow, ComText& wide);
bool Narrow(const ComText& wide, std::string& narrow);

}  // namespace kestrel
