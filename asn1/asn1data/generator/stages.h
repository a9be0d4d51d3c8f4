// The stages of the resolver, in the order in which they run. Each reports its faults, and
// may rely on an input in which the earlier ones found none.
#pragma once

#include "asn1/asn1data/generator/model.h"
#include "asn1/asn1data/generator/scope.h"

namespace asn1gen {

// Gives inline constructed types a definition of their own, named Parent_component.
void LiftInlineTypes(Model& model, Diagnostics& diagnostics);
// Finds what references mean; refuses those that only lead to one another.
void LinkReferences(Model& model, const Scope& scope, Diagnostics& diagnostics);
// Numbers of names, tags, constraints and defaults.
void ResolveNumbers(Model& model, Scope& scope, Diagnostics& diagnostics);
// The headers of every type; refuses what a decoder could not tell apart.
void ResolveTags(Model& model, Diagnostics& diagnostics);
// Aliases and records in the order in which C++ can take them; marks recursive types.
void OrderDefinitions(Model& model, Diagnostics& diagnostics);

// Refuses two things of one name in C++, and names of the runtime.
void CheckCppNames(const Model& model, Diagnostics& diagnostics);

// Calls `use` with every type of a definition: its own, then components or element.
template <class Use>
void ForEachType(Definition& definition, Use use) {
    use(definition.type);
    for (Component& component : definition.type.components) use(component.type);
    if (definition.type.element != nullptr) use(*definition.type.element);
}

}  // namespace asn1gen
