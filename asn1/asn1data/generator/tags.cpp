// The headers of every type, and what a decoder could not tell apart.
#include <algorithm>
#include <map>
#include <set>

#include "asn1/asn1data/generator/stages.h"

namespace asn1gen {
namespace {

constexpr std::size_t kMostHeaders = 16;     // one within the other
constexpr std::size_t kMostFirstTags = 500;  // of one CHOICE
constexpr int kDeepestChoice = 64;           // within one another, without tags between

class Tags {
  public:
    Tags(Model& model, Diagnostics& diagnostics)
        : model_(model),
          diagnostics_(diagnostics),
          chained_(model.definitions.size()),
          firstState_(model.definitions.size()) {}

    void Run() {
        for (const auto& definition : model_.definitions) Chain(*definition);
        for (const auto& definition : model_.definitions) {
            for (Component& component : definition->type.components) {
                Chain(*definition->module, component.type);
            }
            if (definition->type.element != nullptr) {
                Chain(*definition->module, *definition->type.element);
            }
        }
        if (!diagnostics_.Empty()) return;
        for (const auto& definition : model_.definitions) First(*definition, 0);
        if (!diagnostics_.Empty()) return;
        for (const auto& definition : model_.definitions) Check(*definition);
    }

  private:
    // The recursion is as deep as a chain of references, which is bounded.
    void Chain(Definition& definition) {
        if (chained_[definition.index]) return;
        chained_[definition.index] = true;
        Chain(*definition.module, definition.type);
    }

    void Chain(const Module& module, Type& type) {
        if (type.kind == Kind::kReference) {
            Chain(*type.target);
            type.chain = type.target->type.chain;
        } else if (type.kind != Kind::kChoice && type.kind != Kind::kAny) {
            type.chain = {{type.universal, IsConstructed(type.kind)}};
        }
        for (auto prefix = type.prefixes.rbegin(); prefix != type.prefixes.rend(); ++prefix) {
            const TagMode mode =
                prefix->mode == TagMode::kDefault ? module.tagDefault : prefix->mode;
            // There is no tag to replace on a CHOICE or ANY (X.680 31.2.7).
            if (mode == TagMode::kExplicit || type.chain.empty()) {
                type.chain.insert(type.chain.begin(), WireTag{0, true});
            }
            type.chain.front().bits = static_cast<std::uint32_t>(prefix->tagClass) << 30 |
                                      static_cast<std::uint32_t>(prefix->number.number);
            if (type.chain.size() > kMostHeaders) {
                diagnostics_.Report(prefix->at, "too many tags one within the other");
                type.chain.resize(1);
                return;
            }
        }
    }

    void First(Definition& definition, int depth) {
        enum : char { kNew, kBusy, kDone };
        char& state = firstState_[definition.index];
        if (definition.type.kind != Kind::kChoice || state == kDone) return;
        if (state == kBusy || depth > kDeepestChoice) {
            return diagnostics_.Report(definition.at,
                                       state == kBusy
                                           ? "'" + definition.name + "' is an alternative of itself"
                                           : "CHOICE nested too deeply");
        }
        state = kBusy;
        std::set<std::uint32_t> tags;
        for (const Component& component : definition.type.components) {
            Definition* inner = BaseDefinitionOf(component.type);
            if (component.type.chain.empty() && inner != nullptr) First(*inner, depth + 1);
            const FirstTags first = FirstTagsOf(component.type);
            tags.insert(first.tags.begin(), first.tags.end());
            definition.first.anything |= first.anything;
        }
        definition.first.tags.assign(tags.begin(), tags.end());
        if (tags.size() > kMostFirstTags) {
            diagnostics_.Report(definition.at, "a CHOICE of too many tags");
            definition.first.tags.resize(1);
        }
        state = kDone;
    }

    void Check(const Definition& definition) {
        const Type& type = definition.type;
        std::set<std::string> names;
        Rivals rivals;
        for (const Component& component : type.components) {
            if (!names.insert(component.name).second) {
                diagnostics_.Report(component.at,
                                    "the name '" + component.name + "' is used twice");
            }
            CheckDefinedBy(type, component);
            if (type.kind == Kind::kSet && component.type.chain.empty()) {
                diagnostics_.Report(component.at,
                                    "a CHOICE or ANY without a tag within a SET is not supported");
                continue;
            }
            Compare(component, rivals);
            const bool mayBeAbsent =
                component.optional || component.defaultValue || component.addition;
            if (type.kind == Kind::kSequence && !mayBeAbsent) rivals = {};
        }
        if (type.kind == Kind::kSet && type.components.size() > 64) {
            diagnostics_.Report(definition.at, "a SET of more than 64 components");
        }
    }

    // Components that may stand at the place of the next one.
    struct Rivals {
        std::map<std::uint32_t, const Component*> byTag;
        const Component* anything = nullptr;
    };

    void Compare(const Component& component, Rivals& rivals) {
        const FirstTags first = FirstTagsOf(component.type);
        const Component* rival = rivals.anything;
        if (first.anything && !rivals.byTag.empty()) rival = rivals.byTag.begin()->second;
        for (const std::uint32_t tag : first.tags) {
            const auto [place, isNew] = rivals.byTag.emplace(tag, &component);
            if (!isNew) rival = place->second;
        }
        if (first.anything) rivals.anything = &component;
        if (rival != nullptr) {
            diagnostics_.Report(component.at, "'" + component.name + "' cannot be told from '" +
                                                  rival->name + "' by its tag");
        }
    }

    void CheckDefinedBy(const Type& parent, const Component& component) {
        const std::string& name = component.type.definedBy;
        if (name.empty()) return;
        const bool found = std::any_of(parent.components.begin(), parent.components.end(),
                                       [&](const Component& other) { return other.name == name; });
        if (!found) diagnostics_.Report(component.at, "there is no '" + name + "' beside this one");
    }

    Model& model_;
    Diagnostics& diagnostics_;
    std::vector<bool> chained_;
    std::vector<char> firstState_;
};

}  // namespace

void ResolveTags(Model& model, Diagnostics& diagnostics) { Tags(model, diagnostics).Run(); }

}  // namespace asn1gen
