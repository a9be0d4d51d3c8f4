// All modules of a run, resolved: what the emitter works on.
#pragma once

#include <string>
#include <vector>

#include "asn1/asn1data/generator/syntax.h"

namespace asn1gen {

// The tags that an encoding may begin with.
struct FirstTags {
    std::vector<std::uint32_t> tags;  // as WireTag::bits
    bool anything = false;            // ANY
};

// A type with a name in C++: one of the schema, or one that stood inline there.
struct Definition {
    std::string name;  // in C++
    const Module* module = nullptr;
    Position at;
    bool inlined = false;
    Type type;
    std::size_t index = 0;   // in Model::definitions
    FirstTags first;         // of a CHOICE
    bool recursive = false;  // may contain itself, by a list or an alternative

    // Whether a record of its own stands for it; otherwise it is another name of what its
    // type says.
    [[nodiscard]] bool IsRecord() const;
};

struct Model {
    std::vector<Module> modules;
    std::vector<std::unique_ptr<Definition>> definitions;
    std::vector<const Definition*> aliases;  // each behind the one that it names
    std::vector<const Definition*> records;  // each behind those that it holds by value
};

[[nodiscard]] bool IsConstructed(Kind kind);
[[nodiscard]] bool IsList(Kind kind);
// The type at the end of a chain of references, and the definition it belongs to; null for
// a type that is no reference.
[[nodiscard]] const Type& BaseOf(const Type& type);
[[nodiscard]] Definition* BaseDefinitionOf(const Type& type);
[[nodiscard]] FirstTags FirstTagsOf(const Type& type);
// Hyphens become underscores.
[[nodiscard]] std::string CppName(const std::string& name);

}  // namespace asn1gen
