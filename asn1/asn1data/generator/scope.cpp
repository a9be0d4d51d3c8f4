// Names by module, imports followed, and object identifier values.
#include "asn1/asn1data/generator/scope.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace asn1gen {
namespace {

constexpr int kLongestValueChain = 100;  // of values that name one another

// Arcs that may be written without their number (X.660), at the root and below it.
constexpr std::string_view kRootArcs[] = {"itu-t", "ccitt", "iso", "joint-iso-itu-t",
                                          "joint-iso-ccitt"};
constexpr std::string_view kOtherArcs[] = {"standard",       "registration-authority",
                                           "member-body",    "identified-organization",
                                           "recommendation", "question",
                                           "administration", "network-operator"};

template <class List>
bool Contains(const List& list, std::string_view name) {
    return std::find(std::begin(list), std::end(list), name) != std::end(list);
}

std::string Quoted(const std::string& name) { return "'" + name + "'"; }

}  // namespace

Scope::Scope(Model& model, Diagnostics& diagnostics) : model_(model), diagnostics_(diagnostics) {
    for (Module& module : model_.modules) AddModule(module);
    for (const Module& module : model_.modules) AddImports(module);
}

void Scope::AddModule(Module& module) {
    if (!modules_.emplace(module.name, &module).second) {
        diagnostics_.Report(module.at, "the module " + Quoted(module.name) + " is there twice");
    }
    for (TypeAssignment& assignment : module.types) {
        auto definition = std::make_unique<Definition>();
        definition->name = CppName(assignment.name);
        definition->module = &module;
        definition->at = assignment.at;
        definition->type = std::move(assignment.type);
        definition->index = model_.definitions.size();
        if (!types_.emplace(assignment.name, definition.get()).second) {
            diagnostics_.Report(assignment.at,
                                "the type " + Quoted(assignment.name) + " is defined twice");
        }
        model_.definitions.push_back(std::move(definition));
    }
    for (const ValueAssignment& assignment : module.values) {
        if (!values_[&module].emplace(assignment.name, &assignment).second) {
            diagnostics_.Report(assignment.at,
                                "the value " + Quoted(assignment.name) + " is defined twice");
        }
    }
}

void Scope::AddImports(const Module& module) {
    for (const Import& import : module.imports) {
        const auto source = modules_.find(import.module.name);
        if (source == modules_.end()) {
            diagnostics_.Report(import.module.at,
                                "no module " + Quoted(import.module.name) + " is given");
            continue;
        }
        const Module* from = source->second;
        for (const Symbol& symbol : import.symbols) {
            const auto type = types_.find(symbol.name);
            const bool defined = (type != types_.end() && type->second->module == from) ||
                                 values_[from].count(symbol.name) != 0;
            const bool exported =
                from->exports.empty() ||
                std::any_of(from->exports.begin(), from->exports.end(),
                            [&](const Symbol& one) { return one.name == symbol.name; });
            if (!defined || !exported) {
                diagnostics_.Report(symbol.at, Quoted(from->name) + " has no " +
                                                   Quoted(symbol.name) + " to import");
            }
            imports_[&module].emplace(symbol.name, from);
        }
    }
}

Definition* Scope::FindType(const Module& module, const std::string& name) const {
    const auto found = types_.find(name);
    if (found == types_.end()) return nullptr;
    if (found->second->module == &module) return found->second;
    const auto imports = imports_.find(&module);
    return imports != imports_.end() && imports->second.count(name) != 0 ? found->second : nullptr;
}

Scope::Home Scope::FindValue(const Module& module, const std::string& name) const {
    const Module* home = &module;
    if (const auto imports = imports_.find(&module); imports != imports_.end()) {
        const auto import = imports->second.find(name);
        if (import != imports->second.end()) home = import->second;
    }
    const auto values = values_.find(home);
    if (values == values_.end()) return {};
    const auto found = values->second.find(name);
    return found == values->second.end() ? Home{} : Home{home, found->second};
}

Kind Scope::KindOf(const Home& home) const { return BaseOf(home.assignment->type).kind; }

std::int64_t Scope::NumberOf(const Module& module, const Value& value, const Type* type) {
    Home home{&module, nullptr};
    const Value* current = &value;
    for (int step = 0; step < kLongestValueChain; ++step) {
        if (current->form == Value::Form::kNumber) return current->number;
        if (current->form != Value::Form::kName) {
            diagnostics_.Report(value.at, "this is no number");
            return 0;
        }
        if (type != nullptr) {
            for (const NamedNumber& item : type->names) {
                if (item.name == current->name) return item.number;
            }
        }
        home = FindValue(*home.module, current->name);
        if (home.assignment == nullptr) {
            diagnostics_.Report(value.at, Quoted(current->name) + " is not defined");
            return 0;
        }
        if (KindOf(home) != Kind::kInteger) {
            diagnostics_.Report(value.at, Quoted(current->name) + " is no number");
            return 0;
        }
        current = &home.assignment->value;
        type = &BaseOf(home.assignment->type);
    }
    diagnostics_.Report(value.at, "the values behind this one name one another in a circle");
    return 0;
}

void Scope::CheckAssignment(const Module& module, const ValueAssignment& assignment) {
    const Type& base = BaseOf(assignment.type);
    const Value& value = assignment.value;
    switch (base.kind) {
        case Kind::kInteger:
            NumberOf(module, value, &base);
            return;
        case Kind::kObjectId:
            return CheckObjectId(module, value);
        case Kind::kBoolean:
            if (value.form == Value::Form::kBoolean) return;
            return diagnostics_.Report(value.at, "expected TRUE or FALSE");
        default:
            diagnostics_.Report(assignment.at, "values of this type are not supported");
    }
}

// Names with numbers, numbers, and in front the name of another such value.
void Scope::CheckObjectId(const Module& module, const Value& value) {
    if (value.form == Value::Form::kName) {
        const Home home = FindValue(module, value.name);
        if (home.assignment == nullptr || KindOf(home) != Kind::kObjectId) {
            diagnostics_.Report(value.at, Quoted(value.name) + " is no OBJECT IDENTIFIER");
        }
        return;
    }
    if (value.form != Value::Form::kBraced || value.inside.empty()) {
        return diagnostics_.Report(value.at, "expected an OBJECT IDENTIFIER in braces");
    }
    const std::vector<Token>& inside = value.inside;
    for (std::size_t i = 0; i < inside.size(); ++i) {
        const Token& token = inside[i];
        if (token.kind == TokenKind::kNumber) continue;
        if (token.kind != TokenKind::kLowerName) {
            return diagnostics_.Report(token.at,
                                       "expected a name or number, found '" + token.text + "'");
        }
        if (i + 3 < inside.size() && inside[i + 1].text == "(" &&
            inside[i + 2].kind == TokenKind::kNumber && inside[i + 3].text == ")") {
            i += 3;
            continue;
        }
        if (i == 0 && Contains(kRootArcs, token.text)) continue;
        const Home home = i == 0 ? FindValue(module, token.text) : Home{};
        if (home.assignment != nullptr && KindOf(home) == Kind::kObjectId) continue;
        if (i > 0 && Contains(kOtherArcs, token.text)) continue;
        diagnostics_.Report(token.at, Quoted(token.text) + " is not defined");
    }
}

}  // namespace asn1gen
