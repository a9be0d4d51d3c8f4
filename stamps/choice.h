// Values of a CHOICE: a selector, and one value whose type the selector tells.
#pragma once

#include <cstdint>

#include "stamps/failure.h"

namespace Ferroline::ASN1 {

// How the value of one alternative is handled.
class ChoiceValueTraits {
  public:
    ChoiceValueTraits() = default;
    ChoiceValueTraits(const ChoiceValueTraits&) = delete;
    ChoiceValueTraits& operator=(const ChoiceValueTraits&) = delete;
    virtual ~ChoiceValueTraits() = default;
    [[nodiscard]] virtual bool Is(std::uint32_t selector) const = 0;
    virtual void Destroy(void* value) const = 0;
    [[nodiscard]] virtual void* Clone(const void* value) const = 0;
    virtual void Assign(void* target, const void* source) const = 0;
};

template <class T, std::uint32_t N>
class ChoiceValueTraitsT final : public ChoiceValueTraits {
  public:
    static const ChoiceValueTraitsT kInstance;

    [[nodiscard]] bool Is(std::uint32_t selector) const override { return selector == N; }
    void Destroy(void* value) const override { delete static_cast<T*>(value); }
    [[nodiscard]] void* Clone(const void* value) const override {
        return new T(*static_cast<const T*>(value));
    }
    void Assign(void* target, const void* source) const override {
        *static_cast<T*>(target) = *static_cast<const T*>(source);
    }
};

template <class T, std::uint32_t N>
inline const ChoiceValueTraitsT<T, N> ChoiceValueTraitsT<T, N>::kInstance;

// The alternative of selector 0, and of any selector that a class does not know.
using EmptyChoiceTraits = ChoiceValueTraitsT<void*, 0>;

// Owns the value. A class of a CHOICE derives from it, maps selectors to traits, and calls
// Release in its destructor, since the traits are not reachable from the base's.
class Choice {
  public:
    Choice() = default;
    Choice(const Choice&) = delete;
    Choice& operator=(const Choice&) = delete;
    virtual ~Choice() = default;
    [[nodiscard]] virtual const ChoiceValueTraits* GetTraits(std::uint32_t selector) const = 0;

    [[nodiscard]] std::uint32_t GetSelector() const { return selector_; }
    // Keeps a copy of what `value` points at, which must be of the alternative's type.
    // Throws E_INVALIDARG without traits or value.
    void Set(std::uint32_t selector, const void* value);
    // The value, if it is of this selector.
    template <class T>
    [[nodiscard]] const T* Get(std::uint32_t selector) const {
        return selector_ == selector ? static_cast<const T*>(value_) : nullptr;
    }

  protected:
    void CopyFrom(const Choice& other);
    void Release() noexcept;

  private:
    std::uint32_t selector_ = 0;
    void* value_ = nullptr;
};

// Whether two values that Get found are equal, or are both absent.
template <class T>
[[nodiscard]] bool SameValue(const T* first, const T* second) {
    return first != nullptr && second != nullptr ? *first == *second : first == second;
}

}  // namespace Ferroline::ASN1
