// Writes the encoders, which run from the last component to the first.
#include <algorithm>

#include "asn1/asn1data/generator/cpp_types.h"
#include "asn1/asn1data/generator/emit.h"
#include "asn1/asn1data/generator/wire.h"

namespace asn1gen {
namespace {

// When a component is written: with its flag, and a default only where it differs
// (X.690 11.5).
std::string Condition(const Component& component, const std::string& value) {
    std::string condition = "value.m." + CppName(component.name) + "Present";
    if (!HasSimpleDefault(component)) return condition;
    const Type& base = BaseOf(component.type);
    const std::string number = NumberText(component.defaultValue->number);
    if (base.kind == Kind::kBoolean)
        return condition + " && " + value + (number == "0" ? " != 0" : " == 0");
    const bool big = base.kind == Kind::kInteger && FormOf(base) == IntegerForm::kBig;
    return condition + " && " + (big ? "ClampedNumber(" + value + ")" : value) + " != " + number;
}

void WriteComponentEncoder(Writer& out, const Component& component) {
    const std::string value = "value." + MemberName(component.name);
    if (HasFlag(component)) out.Open("if (" + Condition(component, value) + ") {");
    WriteChecks(out, component.type, value, component.name);
    out.Line("length = " + EncodeExpression(component.type, value) + ";");
    WriteFail(out, "length");
    out.Line("total += length;");
    if (HasFlag(component)) out.Close();
}

// The header of a constructed type around contents of as many bytes as the variable tells.
void WriteEnd(Writer& out, const Definition& definition, const std::string& contents) {
    out.Line("if (tagging != kExplicit) return " + contents + ";");
    out.Line("length = xe_tag_len(context, " + TagText(definition.type.chain.front()) + ", " +
             contents + ");");
    WriteFail(out, "length");
    out.Line("return length;");
}

// Components from the last to the first, as the buffer fills backwards; those of a SET by
// their tags (X.690 10.3).
void WriteComponentsEncoder(Writer& out, const Definition& definition) {
    std::vector<const Component*> components;
    for (const Component& component : definition.type.components) {
        components.push_back(&component);
    }
    if (definition.type.kind == Kind::kSet) {
        std::sort(components.begin(), components.end(),
                  [](const Component* first, const Component* second) {
                      return first->type.chain.front().bits < second->type.chain.front().bits;
                  });
    }
    WriteLevel(out, definition);
    out.Line("int total = 0;");
    out.Line("int length = 0;");
    for (auto component = components.rbegin(); component != components.rend(); ++component) {
        WriteComponentEncoder(out, **component);
    }
    WriteEnd(out, definition, "total");
}

void WriteAlternativeEncoder(Writer& out, const Definition& definition,
                             const Component& component) {
    const std::string name = MemberName(component.name);
    const bool null = BaseOf(component.type).kind == Kind::kNull;
    const std::string value = null ? "ASN1NULL{}" : "*value.u." + name;
    out.Open("case " + definition.name + "::" + AlternativeName(component.name) + ":");
    if (!null) {
        out.Line("if (value.u." + name +
                 " == nullptr) return Fail(context, ASN_E_BADVALUE, __LINE__);");
        WriteChecks(out, component.type, "(" + value + ")", component.name);
    }
    out.Line("length = " + EncodeExpression(component.type, value) + ";");
    out.Line("break;");
    out.Close({});
}

void WriteUnknownAlternativeEncoder(Writer& out, const Definition& definition) {
    out.Open("case " + definition.name + "::kUnknownAlternative:");
    out.Line(
        "if (value.u.unknownAlternative == nullptr) return Fail(context, ASN_E_BADVALUE, "
        "__LINE__);");
    out.Line("length = xe_open_type(context, *value.u.unknownAlternative);");
    out.Line("break;");
    out.Close({});
}

void WriteChoiceEncoder(Writer& out, const Definition& definition) {
    WriteLevel(out, definition);
    out.Line("int length = 0;");
    out.Open("switch (value.t) {");
    for (const Component& component : definition.type.components) {
        WriteAlternativeEncoder(out, definition, component);
    }
    if (definition.type.extensible) WriteUnknownAlternativeEncoder(out, definition);
    out.Line("default: return Fail(context, ASN_E_INVOPT, __LINE__);");
    out.Close();
    WriteFail(out, "length");
    out.Line("return length;");
}

void WriteListEncoder(Writer& out, const Definition& definition) {
    const Type& element = *definition.type.element;
    WriteLevel(out, definition);
    WriteChecks(out, definition.type, "value", definition.name);
    const std::string sorted = definition.type.kind == Kind::kSetOf ? "true" : "false";
    out.Open("int length = EncodeList(context, value, " + sorted +
             ", [](ASN1Context& context, const " + CppType(element) + "&" +
             (element.kind == Kind::kNull ? "" : " element") + ") {");
    out.Line("return " + EncodeExpression(element, "element") + ";");
    out.Close("});");
    WriteFail(out, "length");
    WriteEnd(out, definition, "length");
}

// Another name, a primitive type, or either within tags.
void WriteAliasEncoder(Writer& out, const Definition& definition) {
    const Headers headers = HeadersOf(definition.type);
    WriteChecks(out, definition.type, "value", definition.name);
    if (headers.wrappers.empty() && !headers.implicit) {
        out.Line("const int length = " + EncodeCall(definition.type, "value", "tagging") + ";");
    } else {
        out.Line("int length = " + EncodeExpression(definition.type, "value", false) + ";");
        out.Line("if (tagging == kExplicit) length = xe_tag_len(context, " +
                 TagText(definition.type.chain.front()) + ", length);");
    }
    WriteFail(out, "length");
    out.Line("return length;");
}

}  // namespace

void EmitEncoder(Writer& out, const Definition& definition) {
    Writer body(1);
    switch (definition.type.kind) {
        case Kind::kSequence:
        case Kind::kSet:
            WriteComponentsEncoder(body, definition);
            break;
        case Kind::kChoice:
            WriteChoiceEncoder(body, definition);
            break;
        case Kind::kSequenceOf:
        case Kind::kSetOf:
            WriteListEncoder(body, definition);
            break;
        default:
            WriteAliasEncoder(body, definition);
    }
    EmitFunction(out, "asn1E_" + definition.name,
                 {{"ASN1Context&", "context"},
                  {"const " + definition.name + "&", "value"},
                  {"int", "tagging"}},
                 body);
}

}  // namespace asn1gen
