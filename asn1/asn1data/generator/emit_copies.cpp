// Writes the deep copies of records.
#include "asn1/asn1data/generator/cpp_types.h"
#include "asn1/asn1data/generator/emit.h"
#include "asn1/asn1data/generator/wire.h"

namespace asn1gen {
namespace {

void WriteComponentsCopy(Writer& out, const Definition& definition) {
    bool flags = false;
    for (const Component& component : definition.type.components) {
        const std::string member = MemberName(component.name);
        const std::string flag = "m." + CppName(component.name) + "Present";
        if (HasFlag(component) && !flags) out.Line("destination.m = {};");
        flags |= HasFlag(component);
        // A simple default counts where the flag is not set.
        const bool whenSet = HasFlag(component) && !HasSimpleDefault(component);
        if (whenSet) out.Open("if (source." + flag + ") {");
        WriteCopy(out, component.type, "source." + member, "destination." + member);
        if (HasFlag(component)) out.Line("destination." + flag + " = source." + flag + ";");
        if (whenSet) out.Close();
    }
    out.Line("return ASN_OK;");
}

void WriteAlternativeCopy(Writer& out, const std::string& constant, const std::string& name,
                          const Type& type) {
    const std::string source = "source.u." + name;
    const std::string destination = "destination.u." + name;
    out.Open("case " + constant + ":");
    if (BaseOf(type).kind != Kind::kNull) {
        out.Line("if (" + source + " == nullptr) return Fail(owner, ASN_E_BADVALUE, __LINE__);");
        out.Line(destination + " = New<" + CppType(type) + ">(owner);");
        out.Line("if (" + destination + " == nullptr) return Fail(owner, ASN_E_NOMEM, __LINE__);");
        WriteCopy(out, type, "*" + source, "*" + destination);
    }
    out.Line("break;");
    out.Close({});
}

void WriteChoiceCopy(Writer& out, const Definition& definition) {
    out.Line("destination.t = 0;");
    out.Open("switch (source.t) {");
    out.Line("case 0: break;");
    for (const Component& component : definition.type.components) {
        WriteAlternativeCopy(out, definition.name + "::" + AlternativeName(component.name),
                             MemberName(component.name), component.type);
    }
    if (definition.type.extensible) {
        Type any;
        any.kind = Kind::kAny;
        WriteAlternativeCopy(out, definition.name + "::kUnknownAlternative", "unknownAlternative",
                             any);
    }
    out.Line("default: return Fail(owner, ASN_E_INVOPT, __LINE__);");
    out.Close();
    out.Line("destination.t = source.t;");
    out.Line("return ASN_OK;");
}

void WriteListCopy(Writer& out, const Definition& definition) {
    const Type& element = *definition.type.element;
    Writer copy(2);
    WriteCopy(copy, element, "from", "to");
    Writer body(2);
    if (element.kind == Kind::kReference) {
        body.Line("return asn1Copy_" + element.target->name + "(owner, from, to);");
    } else if (copy.Mentions("status")) {
        body.Line("return Copy(owner, from, to);");
    } else {
        body.Append(copy);
        body.Line("return ASN_OK;");
    }
    const std::string type = CppType(element);
    const bool used = body.Mentions("from");
    out.Open("const int status = CopyList(owner, source, destination, [](ASN1Context&" +
             std::string(body.Mentions("owner") ? " owner" : "") + ", const " + type + "&" +
             (used ? " from" : "") + ", " + type + "&" + (used ? " to" : "") + ") {");
    out.Append(body);
    out.Close("});");
    WriteFail(out, "status", "owner");
    out.Line("return ASN_OK;");
}

}  // namespace

void EmitCopy(Writer& out, const Definition& definition) {
    Writer inner(1);
    switch (definition.type.kind) {
        case Kind::kSequence:
        case Kind::kSet:
            WriteComponentsCopy(inner, definition);
            break;
        case Kind::kChoice:
            WriteChoiceCopy(inner, definition);
            break;
        case Kind::kSequenceOf:
        case Kind::kSetOf:
            WriteListCopy(inner, definition);
            break;
        default:
            WriteCopy(inner, definition.type, "source", "destination");
            inner.Line("return ASN_OK;");
    }
    Writer body(1);
    if (inner.Mentions("source")) body.Line("if (&source == &destination) return ASN_OK;");
    WriteLevel(body, definition, "owner");
    if (!IsList(definition.type.kind) && inner.Mentions("status"))
        body.Line("int status = ASN_OK;");
    body.Append(inner);
    EmitFunction(out, "asn1Copy_" + definition.name,
                 {{"ASN1Context&", "owner"},
                  {"const " + definition.name + "&", "source"},
                  {definition.name + "&", "destination"}},
                 body);
}

}  // namespace asn1gen
