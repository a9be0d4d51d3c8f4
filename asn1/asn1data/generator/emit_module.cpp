// Writes one unit a module, and the header of all records.
#include <set>

#include "asn1/asn1data/generator/emit.h"

namespace asn1gen {
namespace {

std::string HeaderLine(const Module& module) { return "#include \"" + FileStem(module) + ".h\""; }

// Headers of the modules whose functions are called, this one's first.
void EmitIncludes(Writer& out, const Model& model, const Module& module) {
    std::set<std::string> lines;
    for (const auto& definition : model.definitions) {
        if (definition->module != &module) continue;
        const auto add = [&](const Type& type) {
            if (type.target != nullptr && type.target->module != &module) {
                lines.insert(HeaderLine(*type.target->module));
            }
        };
        add(definition->type);
        for (const Component& component : definition->type.components) add(component.type);
        if (definition->type.element != nullptr) add(*definition->type.element);
    }
    out.Line(HeaderLine(module));
    out.Blank();
    out.Line("#include \"asn1/rtbersrc/generated_support.h\"");
    for (const std::string& line : lines) out.Line(line);
}

}  // namespace

std::string FileStem(const Module& module) { return "asn1data/" + CppName(module.name); }

void EmitFunction(Writer& out, const std::string& name, const std::vector<Parameter>& parameters,
                  const Writer& body) {
    std::string line = "int " + name + "(";
    for (const Parameter& parameter : parameters) {
        if (&parameter != &parameters.front()) line += ", ";
        line += parameter.type;
        line +=
            body.Mentions(parameter.name) ? " " + parameter.name : " /*" + parameter.name + "*/";
    }
    out.Blank();
    out.Line(line + ") {");
    out.Append(body);
    out.Line("}");
}

std::string EmitHeader(const Model& model, const Module& module) {
    Writer out;
    out.Line("// Written by asn1gen from module " + module.name + ".");
    out.Line("#pragma once");
    out.Blank();
    out.Line("#include \"asn1/rtsrc/message_buffer.h\"");
    out.Line("#include \"asn1data/records.h\"");
    out.Blank();
    out.Line("namespace asn1data {");
    for (const auto& definition : model.definitions) {
        if (definition->module != &module) continue;
        EmitDeclarations(out, *definition);
        if (!definition->inlined) EmitControlClass(out, *definition);
    }
    out.Blank();
    out.Line("}  // namespace asn1data");
    return out.Text();
}

std::string EmitSource(const Model& model, const Module& module) {
    Writer out;
    out.Line("// Written by asn1gen from module " + module.name + ".");
    EmitIncludes(out, model, module);
    out.Blank();
    out.Line("namespace asn1data {");
    out.Line("namespace {");
    out.Blank();
    out.Line("[[maybe_unused]] constexpr char kModule[] = \"" + module.name + "\";");
    out.Blank();
    out.Line("[[maybe_unused]] int Fail(ASN1Context& context, int status, int line) {");
    out.Line("    return LogError(context, status, kModule, line);");
    out.Line("}");
    out.Blank();
    out.Line("}  // namespace");
    for (const auto& definition : model.definitions) {
        if (definition->module != &module) continue;
        EmitEncoder(out, *definition);
        EmitDecoder(out, *definition);
        EmitCopy(out, *definition);
        if (!definition->inlined) EmitControlFunctions(out, *definition);
    }
    out.Blank();
    out.Line("}  // namespace asn1data");
    return out.Text();
}

}  // namespace asn1gen
