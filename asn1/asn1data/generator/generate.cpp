// Runs the stages: parse, resolve, emit.
#include "asn1/asn1data/generator/generate.h"

#include <iterator>
#include <utility>

#include "asn1/asn1data/generator/emit.h"
#include "asn1/asn1data/generator/parser.h"
#include "asn1/asn1data/generator/resolver.h"

namespace asn1gen {

Result Generate(const std::vector<File>& schemas) {
    Diagnostics diagnostics;
    std::vector<std::string> names;
    std::vector<Module> modules;
    for (const File& schema : schemas) {
        std::vector<Module> some = Parse(schema.text, static_cast<int>(names.size()), diagnostics);
        std::move(some.begin(), some.end(), std::back_inserter(modules));
        names.push_back(schema.name);
    }
    if (!diagnostics.Empty()) return {{}, diagnostics.Format(names)};
    const Model model = Resolve(std::move(modules), diagnostics);
    if (!diagnostics.Empty()) return {{}, diagnostics.Format(names)};
    Result result;
    result.files.push_back({"asn1data/records.h", EmitRecords(model)});
    for (const Module& module : model.modules) {
        result.files.push_back({FileStem(module) + ".h", EmitHeader(model, module)});
        result.files.push_back({FileStem(module) + ".cpp", EmitSource(model, module)});
    }
    return result;
}

}  // namespace asn1gen
