// The value behind a selector, by its type.
#include "stamps/choice.h"

#include <string>

#include "stamps/algorithm.h"
#include "stamps/date_time.h"
#include "stamps/general_name.h"

namespace Ferroline::ASN1 {

// The whole family.
template class ChoiceValueTraitsT<void*, 0>;
template class ChoiceValueTraitsT<CBlob, 1>;
template class ChoiceValueTraitsT<CBlob, 5>;
template class ChoiceValueTraitsT<CBlob, 8>;
template class ChoiceValueTraitsT<std::wstring, 2>;
template class ChoiceValueTraitsT<std::wstring, 3>;
template class ChoiceValueTraitsT<std::wstring, 7>;
template class ChoiceValueTraitsT<std::wstring, 9>;
template class ChoiceValueTraitsT<CDateTime, 1>;
template class ChoiceValueTraitsT<CDateTime, 2>;
template class ChoiceValueTraitsT<CGeneralNames, 1>;
template class ChoiceValueTraitsT<COtherHashAlgAndValue, 2>;

void Choice::Set(std::uint32_t selector, const void* value) {
    const ChoiceValueTraits* const next = GetTraits(selector);
    if (next == nullptr || value == nullptr) Fail(E_INVALIDARG);
    // Before the present value goes: `value` may be a part of it, and the copy
    // may fail.
    void* const copy = next->Clone(value);
    Release();
    selector_ = selector;
    value_ = copy;
}

void Choice::CopyFrom(const Choice& other) {
    if (this == &other) return;
    if (other.value_ == nullptr) {
        Release();
    } else if (value_ != nullptr && selector_ == other.selector_) {
        GetTraits(selector_)->Assign(value_, other.value_);
    } else {
        Set(other.selector_, other.value_);
    }
}

void Choice::Release() noexcept {
    if (value_ != nullptr) GetTraits(selector_)->Destroy(value_);
    selector_ = 0;
    value_ = nullptr;
}

}  // namespace Ferroline::ASN1
