// Writes the records and their constants.
#include "asn1/asn1data/generator/cpp_types.h"
#include "asn1/asn1data/generator/emit.h"

namespace asn1gen {
namespace {

void EmitFlags(Writer& out, const Type& type) {
    bool any = false;
    for (const Component& component : type.components) {
        if (!HasFlag(component)) continue;
        if (!any) out.Open("struct {");
        any = true;
        out.Line("unsigned " + CppName(component.name) + "Present : 1;");
    }
    if (any) out.Close("} m{};");
}

// The constructor leaves the room of object identifiers as it is, where initialisation by
// value would clear it.
void EmitStructure(Writer& out, const Definition& definition) {
    out.Open("struct " + definition.name + " : ASN1Record {");
    out.Line(definition.name + "() {}");
    EmitFlags(out, definition.type);
    for (const Component& component : definition.type.components) {
        out.Line(CppType(component.type) + " " + MemberName(component.name) +
                 Initializer(component) + ";");
    }
    out.Close("};");
}

void EmitChoice(Writer& out, const Definition& definition) {
    out.Open("struct " + definition.name + " : ASN1Record {");
    out.Line("int t = 0;");
    Writer members(2);
    for (const Component& component : definition.type.components) {
        if (BaseOf(component.type).kind == Kind::kNull) continue;
        members.Line(CppType(component.type) + "* " + MemberName(component.name) + ";");
    }
    if (definition.type.extensible) members.Line("ASN1OpenType* unknownAlternative;");
    if (!members.Text().empty()) {
        out.Open("union {");
        out.Append(members);
        out.Close("} u{};");
    }
    out.Open("enum : int {");
    int number = 0;
    for (const Component& component : definition.type.components) {
        out.Line(AlternativeName(component.name) + " = " + std::to_string(++number) + ",");
    }
    if (definition.type.extensible) {
        out.Line("kUnknownAlternative = " + std::to_string(++number) + ",");
    }
    out.Close("};");
    out.Close("};");
}

void EmitRecord(Writer& out, const Definition& definition) {
    out.Blank();
    EmitNotation(out, definition);
    if (definition.type.kind == Kind::kChoice) return EmitChoice(out, definition);
    if (!IsList(definition.type.kind)) return EmitStructure(out, definition);
    out.Line("struct " + definition.name + " : ASN1TList<" + CppType(*definition.type.element) +
             "> {};");
}

void EmitNames(Writer& out, const Type& type, const std::string& prefix) {
    for (const NamedNumber& item : type.names) {
        out.Line("inline constexpr int " + prefix + "_" + CppName(item.name) + " = " +
                 NumberText(item.number) + ";");
    }
}

}  // namespace

void EmitConstants(Writer& out, const Definition& definition) {
    EmitNames(out, definition.type, definition.name);
    for (const Component& component : definition.type.components) {
        EmitNames(out, component.type, definition.name + "_" + CppName(component.name));
    }
}

void EmitNotation(Writer& out, const Definition& definition) {
    const std::vector<Token>& tokens = *definition.module->tokens;
    std::string text = definition.name + " ::=";
    for (std::size_t i = definition.type.firstToken; i < definition.type.endToken; ++i) {
        const bool tight = tokens[i].text == "," || tokens[i].text == ")" ||
                           tokens[i].text == "]" || text.back() == '(' || text.back() == '[';
        text += (tight ? "" : " ") + tokens[i].text;
    }
    for (char& c : text) {
        if (c == '\n' || c == '\r' || c == '\\') c = ' ';  // from a quoted text
    }
    out.Comment(text);
}

std::string EmitRecords(const Model& model) {
    Writer out;
    out.Line("// Written by asn1gen from the schemas.");
    out.Line("#pragma once");
    out.Blank();
    out.Line("#include \"asn1/rtsrc/context.h\"");
    out.Blank();
    out.Line("namespace asn1data {");
    out.Blank();
    out.Line("using namespace asn1rt;");
    out.Blank();
    for (const Definition* definition : model.records) out.Line("struct " + definition->name + ";");
    for (const Definition* definition : model.aliases) {
        out.Blank();
        EmitNotation(out, *definition);
        out.Line("using " + definition->name + " = " + CppType(definition->type) + ";");
        EmitConstants(out, *definition);
    }
    for (const Definition* definition : model.records) {
        EmitRecord(out, *definition);
        EmitConstants(out, *definition);
    }
    out.Blank();
    out.Line("}  // namespace asn1data");
    return out.Text();
}

}  // namespace asn1gen
