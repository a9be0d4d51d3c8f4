// Finds what each reference means, and refuses circles.
#include <algorithm>

#include "asn1/asn1data/generator/stages.h"

namespace asn1gen {
namespace {

constexpr std::size_t kLongestTypeChain = 100;

void Link(const Module& module, Type& type, const Scope& scope, Diagnostics& diagnostics) {
    if (type.kind != Kind::kReference || type.target != nullptr) return;
    type.target = scope.FindType(module, type.reference);
    if (type.target == nullptr) {
        diagnostics.Report(type.at, "'" + type.reference + "' is not defined");
    }
}

// Follows the references of a definition; the circle is told of at its own members only.
void CheckChain(const Definition& definition, Diagnostics& diagnostics) {
    std::vector<const Definition*> passed;
    const Definition* current = &definition;
    while (current->type.kind == Kind::kReference && current->type.target != nullptr) {
        current = current->type.target;
        if (current == &definition) {
            return diagnostics.Report(definition.at,
                                      "'" + definition.name + "' is defined by nothing but itself");
        }
        if (std::find(passed.begin(), passed.end(), current) != passed.end()) return;
        passed.push_back(current);
        if (passed.size() > kLongestTypeChain) {
            return diagnostics.Report(definition.at, "too many references on the way to a type");
        }
    }
}

}  // namespace

void LinkReferences(Model& model, const Scope& scope, Diagnostics& diagnostics) {
    for (const auto& definition : model.definitions) {
        ForEachType(*definition,
                    [&](Type& type) { Link(*definition->module, type, scope, diagnostics); });
    }
    for (Module& module : model.modules) {
        for (ValueAssignment& assignment : module.values) {
            Link(module, assignment.type, scope, diagnostics);
        }
    }
    for (const auto& definition : model.definitions) CheckChain(*definition, diagnostics);
}

}  // namespace asn1gen
