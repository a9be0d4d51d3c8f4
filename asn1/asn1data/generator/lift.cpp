// Gives inline constructed types a definition of their own.
#include <set>
#include <utility>

#include "asn1/asn1data/generator/stages.h"

namespace asn1gen {
namespace {

class Lifter {
  public:
    Lifter(Model& model, Diagnostics& diagnostics) : model_(model), diagnostics_(diagnostics) {}

    void Run() {
        for (const auto& definition : model_.definitions) names_.insert(definition->name);
        // What is lifted is appended, and has its turn too.
        for (std::size_t i = 0; i < model_.definitions.size(); ++i) {
            LiftIn(*model_.definitions[i]);
        }
    }

  private:
    void LiftIn(Definition& definition) {
        Type& type = definition.type;
        if (HasWrapper(definition)) return Lift(definition, type, definition.name + "_value");
        for (Component& component : type.components) {
            if (!IsConstructed(component.type.kind)) continue;
            Lift(definition, component.type, definition.name + "_" + CppName(component.name));
        }
        if (type.element != nullptr && NeedsFunctions(*type.element)) {
            Lift(definition, *type.element, definition.name + "_element");
        }
    }

    // A constructed type within explicit tags is two: the contents, and a name of them that
    // bears the tags.
    [[nodiscard]] static bool HasWrapper(const Definition& definition) {
        if (!definition.IsRecord()) return false;
        for (const TagPrefix& prefix : definition.type.prefixes) {
            const TagMode mode =
                prefix.mode == TagMode::kDefault ? definition.module->tagDefault : prefix.mode;
            if (mode == TagMode::kExplicit || definition.type.kind == Kind::kChoice) return true;
        }
        return false;
    }

    // Whether an element is more than one call of a primitive or of its type's functions.
    [[nodiscard]] static bool NeedsFunctions(const Type& type) {
        return IsConstructed(type.kind) || !type.constraints.empty() || !type.names.empty();
    }

    // Moves a type out into a definition; its tags stay with the reference left behind.
    void Lift(const Definition& parent, Type& type, const std::string& name) {
        auto lifted = std::make_unique<Definition>();
        lifted->name = name;
        lifted->module = parent.module;
        lifted->at = type.at;
        lifted->inlined = true;
        lifted->index = model_.definitions.size();
        Type reference;
        reference.kind = Kind::kReference;
        reference.at = type.at;
        reference.firstToken = type.firstToken;
        reference.endToken = type.endToken;
        reference.prefixes = std::exchange(type.prefixes, {});
        reference.target = lifted.get();
        lifted->type = std::exchange(type, std::move(reference));
        if (!names_.insert(name).second) {
            diagnostics_.Report(lifted->at,
                                "the type here would be named '" + name + "', which is taken");
        }
        model_.definitions.push_back(std::move(lifted));
    }

    Model& model_;
    Diagnostics& diagnostics_;
    std::set<std::string> names_;
};

}  // namespace

void LiftInlineTypes(Model& model, Diagnostics& diagnostics) { Lifter(model, diagnostics).Run(); }

}  // namespace asn1gen
