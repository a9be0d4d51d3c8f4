// How a type of the model stands in C++.
#pragma once

#include <string>

#include "asn1/asn1data/generator/model.h"

namespace asn1gen {

enum class IntegerForm { kInt, kUnsigned, kBig };

// By the constraints at the INTEGER itself: whoever names the type shares its form.
[[nodiscard]] IntegerForm FormOf(const Type& integer);
[[nodiscard]] std::string CppType(const Type& type);
// A component's name as a member; keywords and "m", the flags, get an underscore.
[[nodiscard]] std::string MemberName(const std::string& name);
// "k" and the name, of an alternative.
[[nodiscard]] std::string AlternativeName(const std::string& name);
// Whether a component has a flag.
[[nodiscard]] bool HasFlag(const Component& component);
// BOOLEAN, INTEGER, ENUMERATED: a default that stands in the record.
[[nodiscard]] bool HasSimpleDefault(const Component& component);
// What initialises a component, with its sign: " = 0", "{\"0x00\"}", or nothing.
[[nodiscard]] std::string Initializer(const Component& component);
// The default as an assignment's right side.
[[nodiscard]] std::string DefaultText(const Component& component);
[[nodiscard]] std::string NumberText(std::int64_t number);

}  // namespace asn1gen
