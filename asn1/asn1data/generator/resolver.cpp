// Runs the resolver's stages as long as they find no fault.
#include "asn1/asn1data/generator/resolver.h"

#include <utility>

#include "asn1/asn1data/generator/stages.h"

namespace asn1gen {

Model Resolve(std::vector<Module> modules, Diagnostics& diagnostics) {
    Model model;
    model.modules = std::move(modules);
    Scope scope(model, diagnostics);
    LiftInlineTypes(model, diagnostics);
    LinkReferences(model, scope, diagnostics);
    if (diagnostics.Empty()) ResolveNumbers(model, scope, diagnostics);
    if (diagnostics.Empty()) ResolveTags(model, diagnostics);
    if (diagnostics.Empty()) OrderDefinitions(model, diagnostics);
    if (diagnostics.Empty()) CheckCppNames(model, diagnostics);
    return model;
}

}  // namespace asn1gen
