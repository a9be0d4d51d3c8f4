// What the emitter asks of the model: kinds of types, what references stand for, first tags.
#include "asn1/asn1data/generator/model.h"

#include <algorithm>

namespace asn1gen {

bool Definition::IsRecord() const { return IsConstructed(type.kind); }

bool IsConstructed(Kind kind) {
    return kind == Kind::kSequence || kind == Kind::kSet || kind == Kind::kChoice || IsList(kind);
}

bool IsList(Kind kind) { return kind == Kind::kSequenceOf || kind == Kind::kSetOf; }

const Type& BaseOf(const Type& type) {
    const Type* base = &type;
    while (base->kind == Kind::kReference) base = &base->target->type;
    return *base;
}

Definition* BaseDefinitionOf(const Type& type) {
    Definition* definition = type.target;
    while (definition != nullptr && definition->type.kind == Kind::kReference) {
        definition = definition->type.target;
    }
    return definition;
}

FirstTags FirstTagsOf(const Type& type) {
    if (!type.chain.empty()) return {{type.chain.front().bits}, false};
    if (BaseOf(type).kind == Kind::kAny) return {{}, true};
    return BaseDefinitionOf(type)->first;
}

std::string CppName(const std::string& name) {
    std::string result = name;
    std::replace(result.begin(), result.end(), '-', '_');
    return result;
}

}  // namespace asn1gen
