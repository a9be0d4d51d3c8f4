// Which names are visible in which module, and the numbers behind value names.
#pragma once

#include <map>
#include <string>

#include "asn1/asn1data/generator/model.h"

namespace asn1gen {

class Scope {
  public:
    // Reports modules, types and values that are defined twice, and imports of what is not
    // there. The model's modules must not move afterwards.
    Scope(Model& model, Diagnostics& diagnostics);

    // Null when nothing visible has that name.
    [[nodiscard]] Definition* FindType(const Module& module, const std::string& name) const;
    // The number of a value: a number itself, one of the names of `type` (may be null), or
    // the name of an INTEGER value. Faults are reported and yield 0.
    std::int64_t NumberOf(const Module& module, const Value& value, const Type* type);
    // Reports what is wrong with the right side of a value assignment.
    void CheckAssignment(const Module& module, const ValueAssignment& assignment);

  private:
    struct Home {
        const Module* module = nullptr;
        const ValueAssignment* assignment = nullptr;
    };
    void AddModule(Module& module);
    void AddImports(const Module& module);
    [[nodiscard]] Home FindValue(const Module& module, const std::string& name) const;
    [[nodiscard]] Kind KindOf(const Home& home) const;
    void CheckObjectId(const Module& module, const Value& value);

    Model& model_;
    Diagnostics& diagnostics_;
    std::map<std::string, const Module*> modules_;
    std::map<std::string, Definition*> types_;
    std::map<const Module*, std::map<std::string, const ValueAssignment*>> values_;
    // By the importing module: the name and the module it comes from.
    std::map<const Module*, std::map<std::string, const Module*>> imports_;
};

}  // namespace asn1gen
