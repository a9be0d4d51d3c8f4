// Resolves numbers behind names: tags, constraints, defaults, object identifiers.
#include <limits>
#include <set>

#include "asn1/asn1data/generator/stages.h"

namespace asn1gen {
namespace {

constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();

bool HasSize(Kind kind) {
    switch (kind) {
        case Kind::kBitString:
        case Kind::kOctetString:
        case Kind::kCharString:
        case Kind::kBmpString:
        case Kind::kUniversalString:
        case Kind::kSequenceOf:
        case Kind::kSetOf:
            return true;
        default:
            return false;
    }
}

class Numbers {
  public:
    Numbers(const Module& module, Scope& scope, Diagnostics& diagnostics)
        : module_(module), scope_(scope), diagnostics_(diagnostics) {}

    void ResolveNames(Type& type) {
        std::set<std::string> names;
        std::set<std::int64_t> numbers;
        for (NamedNumber& item : type.names) {
            if (item.value) item.number = scope_.NumberOf(module_, *item.value, nullptr);
            if (!names.insert(item.name).second) Twice(item.at, "name '" + item.name + "'");
            if (item.value && !numbers.insert(item.number).second) {
                Twice(item.at, "number " + std::to_string(item.number));
            }
        }
        // Items without a number take those that are left, from 0 on (X.680 20.3).
        std::int64_t next = 0;
        for (NamedNumber& item : type.names) {
            while (!item.value && numbers.count(next) != 0) ++next;
            if (!item.value) item.number = next++;
            CheckNamed(type.kind, item);
        }
    }

    void Resolve(Type& type) {
        for (TagPrefix& prefix : type.prefixes) {
            prefix.number.number = scope_.NumberOf(module_, prefix.number, nullptr);
            if (prefix.number.number < 0 || prefix.number.number >= (1 << 29)) {
                diagnostics_.Report(prefix.at, "the number of a tag must be from 0 to 536870911");
            }
        }
        for (Constraint& constraint : type.constraints) ResolveConstraint(type, constraint);
    }

    // Only what fits into an initialiser is taken; anything else is a flag.
    void ResolveDefault(Component& component) {
        if (!component.defaultValue) return;
        Value& value = *component.defaultValue;
        const Type& base = BaseOf(component.type);
        if (base.kind == Kind::kBoolean && value.form != Value::Form::kBoolean) {
            return diagnostics_.Report(value.at, "expected TRUE or FALSE");
        }
        if (base.kind == Kind::kEnumerated && value.form != Value::Form::kName) {
            return diagnostics_.Report(value.at, "expected a name of the enumeration");
        }
        if (base.kind != Kind::kInteger && base.kind != Kind::kEnumerated) return;
        value.number = scope_.NumberOf(module_, value, &base);
        for (const Type* type = &component.type;; type = &type->target->type) {
            for (const Constraint& constraint : type->constraints) CheckIn(constraint, value);
            if (type->kind != Kind::kReference) break;
        }
    }

  private:
    void Twice(const Position& at, const std::string& what) {
        diagnostics_.Report(at, "the " + what + " is used twice");
    }

    void CheckNamed(Kind kind, const NamedNumber& item) {
        const std::int64_t low =
            kind == Kind::kBitString ? 0 : std::numeric_limits<std::int32_t>::min();
        if (item.number >= low && item.number <= std::numeric_limits<std::int32_t>::max()) return;
        diagnostics_.Report(item.at, "the number of '" + item.name + "' is out of range");
    }

    void ResolveConstraint(const Type& type, Constraint& constraint) {
        const Type& base = BaseOf(type);
        if (constraint.size ? !HasSize(base.kind) : base.kind != Kind::kInteger) {
            diagnostics_.Report(constraint.at, "this constraint does not fit its type");
            return;
        }
        const Type* names = constraint.size ? nullptr : &base;
        for (Interval& interval : constraint.intervals) {
            Resolve(interval.low, constraint.size ? 0 : kMin, names);
            Resolve(interval.high, kMax, names);
            if (interval.low.number > interval.high.number ||
                (constraint.size && interval.low.number < 0)) {
                diagnostics_.Report(constraint.at, "this constraint has no values");
            }
        }
    }

    void Resolve(Bound& bound, std::int64_t end, const Type* names) {
        bound.number = bound.value ? scope_.NumberOf(module_, *bound.value, names) : end;
    }

    void CheckIn(const Constraint& constraint, const Value& value) {
        bool inside = constraint.extensible;
        for (const Interval& interval : constraint.intervals) {
            inside |= interval.low.number <= value.number && value.number <= interval.high.number;
        }
        if (!inside) diagnostics_.Report(value.at, "this default is outside its constraint");
    }

    const Module& module_;
    Scope& scope_;
    Diagnostics& diagnostics_;
};

template <class Use>
void ForEachDefinition(Model& model, Scope& scope, Diagnostics& diagnostics, Use use) {
    for (const auto& definition : model.definitions) {
        Numbers numbers(*definition->module, scope, diagnostics);
        use(*definition, numbers);
    }
}

}  // namespace

void ResolveNumbers(Model& model, Scope& scope, Diagnostics& diagnostics) {
    // Names first, since constraints and defaults anywhere may use them; then constraints,
    // which bind defaults.
    ForEachDefinition(model, scope, diagnostics, [](Definition& definition, Numbers& numbers) {
        ForEachType(definition, [&](Type& type) { numbers.ResolveNames(type); });
    });
    ForEachDefinition(model, scope, diagnostics, [](Definition& definition, Numbers& numbers) {
        ForEachType(definition, [&](Type& type) { numbers.Resolve(type); });
    });
    ForEachDefinition(model, scope, diagnostics, [](Definition& definition, Numbers& numbers) {
        for (Component& component : definition.type.components) numbers.ResolveDefault(component);
    });
    for (const Module& module : model.modules) {
        for (const ValueAssignment& assignment : module.values) {
            scope.CheckAssignment(module, assignment);
        }
    }
}

}  // namespace asn1gen
