// Writes the decoders.
#include <algorithm>

#include "asn1/asn1data/generator/cpp_types.h"
#include "asn1/asn1data/generator/emit.h"
#include "asn1/asn1data/generator/wire.h"

namespace asn1gen {
namespace {

bool HasFlags(const Type& type) {
    return std::any_of(type.components.begin(), type.components.end(), HasFlag);
}

// Matches the tag of a constructed type, and opens its contents.
void WriteStart(Writer& out, const Definition& definition) {
    out.Line("int status = ASN_OK;");
    out.Line("if (tagging == kExplicit) status = " + MatchCall(definition.type.chain.front()) +
             ";");
    WriteFail(out, "status");
    WriteLevel(out, definition);
}

void WriteContents(Writer& out, const Definition& definition) {
    out.Line("ASN1Contents contents(context, length);");
    if (HasFlags(definition.type)) out.Line("value.m = {};");
}

void WriteFinish(Writer& out) {
    out.Line("status = contents.Finish();");
    WriteFail(out, "status");
    out.Line("return status;");
}

std::string Member(const Component& component) { return "value." + MemberName(component.name); }

std::string SetFlag(const Component& component) {
    return "value.m." + CppName(component.name) + "Present = 1;";
}

std::string SetDefault(const Component& component) {
    return Member(component) + " = " + DefaultText(component) + ";";
}

void WriteComponentDecoder(Writer& out, const Component& component) {
    if (!HasFlag(component)) {
        if (FirstTagsOf(component.type).anything) {
            out.Line("if (contents.AtEnd()) return Fail(context, ASN_E_SETMISRQ, __LINE__);");
        }
        WriteDecode(out, component.type, Member(component));
        return WriteChecks(out, component.type, Member(component), component.name);
    }
    out.Open("if (" + NextCondition(component.type) + ") {");
    WriteDecode(out, component.type, Member(component));
    WriteChecks(out, component.type, Member(component), component.name);
    out.Line(SetFlag(component));
    if (HasSimpleDefault(component)) {
        out.Middle("} else {");
        out.Line(SetDefault(component));
    }
    out.Close();
}

void WriteSkip(Writer& out) {
    out.Open("while (!contents.AtEnd()) {");
    out.Line("status = xd_skip(context);");
    WriteFail(out, "status");
    out.Close();
}

void WriteSequence(Writer& out, const Definition& definition) {
    WriteStart(out, definition);
    WriteContents(out, definition);
    for (const Component& component : definition.type.components)
        WriteComponentDecoder(out, component);
    if (definition.type.extensible) WriteSkip(out);
    WriteFinish(out);
}

// ---- SET ---------------------------------------------------------------------

std::string Bit(std::size_t index) { return "std::uint64_t{1} << " + std::to_string(index); }

void WriteMember(Writer& out, const Component& component, std::size_t index) {
    out.Open("case " + CaseText(component.type.chain.front().bits) + ":");
    out.Line("if ((seen & " + Bit(index) +
             ") != 0) return Fail(context, ASN_E_SETDUPL, __LINE__);");
    out.Line("seen |= " + Bit(index) + ";");
    WriteDecode(out, component.type, Member(component));
    WriteChecks(out, component.type, Member(component), component.name);
    if (HasFlag(component)) out.Line(SetFlag(component));
    out.Line("break;");
    out.Close({});
}

void WriteMembers(Writer& out, const Type& type) {
    out.Open("while (!contents.AtEnd()) {");
    out.Line("ASN1TAG tag = 0;");
    out.Line("status = NextTag(context, tag);");
    WriteFail(out, "status");
    out.Open("switch (tag) {");
    for (std::size_t i = 0; i < type.components.size(); ++i) {
        WriteMember(out, type.components[i], i);
    }
    out.Open("default:");
    if (type.extensible) {
        out.Line("status = xd_skip(context);");
        WriteFail(out, "status");
    } else {
        out.Line("return FailTag(context, ASN_E_NOTINSET, tag, kModule, __LINE__);");
    }
    out.Close({});
    out.Close();
    out.Close();
}

void WriteSet(Writer& out, const Definition& definition) {
    WriteStart(out, definition);
    WriteContents(out, definition);
    std::uint64_t required = 0;
    const std::vector<Component>& components = definition.type.components;
    for (std::size_t i = 0; i < components.size(); ++i) {
        if (!HasFlag(components[i])) required |= std::uint64_t{1} << i;
        if (HasSimpleDefault(components[i])) out.Line(SetDefault(components[i]));
    }
    if (!components.empty()) out.Line("std::uint64_t seen = 0;");
    WriteMembers(out, definition.type);
    if (required != 0) {
        out.Line("constexpr std::uint64_t kRequired = " + std::to_string(required) + "U;");
        out.Line(
            "if ((seen & kRequired) != kRequired) return Fail(context, ASN_E_SETMISRQ, "
            "__LINE__);");
    }
    WriteFinish(out);
}

// ---- CHOICE ------------------------------------------------------------------

void WriteAllocation(Writer& out, const std::string& member, const std::string& type) {
    out.Line(member + " = New<" + type + ">(context);");
    out.Line("if (" + member + " == nullptr) return Fail(context, ASN_E_NOMEM, __LINE__);");
}

void WriteAlternativeDecoder(Writer& out, const Definition& definition,
                             const Component& component) {
    const FirstTags first = FirstTagsOf(component.type);
    std::string cases = first.anything ? "default: {" : "";
    for (const std::uint32_t bits : first.tags) {
        if (bits != first.tags.back()) out.Line("case " + CaseText(bits) + ":");
        if (bits == first.tags.back()) cases = "case " + CaseText(bits) + ": {";
    }
    out.Open(cases);
    const std::string member = "value.u." + MemberName(component.name);
    if (BaseOf(component.type).kind == Kind::kNull) {
        if (component.type.kind == Kind::kReference) out.Line("ASN1NULL null;");
        WriteDecode(out, component.type, "null");
    } else {
        WriteAllocation(out, member, CppType(component.type));
        WriteDecode(out, component.type, "*" + member);
        WriteChecks(out, component.type, "(*" + member + ")", component.name);
    }
    out.Line("value.t = " + definition.name + "::" + AlternativeName(component.name) + ";");
    out.Line("break;");
    out.Close();
}

void WriteUnknownAlternativeDecoder(Writer& out, const Definition& definition) {
    WriteAllocation(out, "value.u.unknownAlternative", "ASN1OpenType");
    out.Line("status = xd_open_type(context, *value.u.unknownAlternative);");
    WriteFail(out, "status");
    out.Line("value.t = " + definition.name + "::kUnknownAlternative;");
}

void WriteChoiceDecoder(Writer& out, const Definition& definition) {
    WriteLevel(out, definition);
    out.Line("value.t = 0;");
    out.Line("ASN1TAG tag = 0;");
    out.Line("int status = NextTag(context, tag);");
    WriteFail(out, "status");
    out.Open("switch (tag) {");
    for (const Component& component : definition.type.components) {
        WriteAlternativeDecoder(out, definition, component);
    }
    if (!definition.first.anything) {
        out.Open("default:");
        if (definition.type.extensible) {
            WriteUnknownAlternativeDecoder(out, definition);
        } else {
            out.Line("return FailTag(context, ASN_E_INVOPT, tag, kModule, __LINE__);");
        }
        out.Close({});
    }
    out.Close();
    out.Line("return status;");
}

// ---- lists and aliases -------------------------------------------------------

std::string Maximum(const Type& type) {
    std::int64_t most = 0xFFFFFFFF;
    for (const Constraint& constraint : type.constraints) {
        if (constraint.extensible) continue;
        std::int64_t longest = 0;
        for (const Interval& interval : constraint.intervals) {
            longest = std::max(longest, interval.high.number);
        }
        most = std::min(most, longest);
    }
    return most == 0xFFFFFFFF ? "kNoMaximum" : std::to_string(most);
}

void WriteListDecoder(Writer& out, const Definition& definition) {
    const Type& element = *definition.type.element;
    WriteStart(out, definition);
    Writer body(2);
    if (HeadersOf(element).wrappers.empty() && !HeadersOf(element).implicit) {
        body.Line("return " + DecodeCall(element, "element", "kExplicit", "0") + ";");
    } else {
        body.Line("int status = ASN_OK;");
        body.Line("int length = 0;");
        WriteDecode(body, element, "element");
        body.Line("return status;");
    }
    out.Open("status = DecodeList(context, value, length, " + Maximum(definition.type) +
             ", [](ASN1Context& context, " + CppType(element) + "&" +
             (body.Mentions("element") ? " element" : "") + ") {");
    out.Append(body);
    out.Close("});");
    WriteFail(out, "status");
    WriteChecks(out, definition.type, "value", definition.name);
    out.Line("return status;");
}

// Another name, a primitive type, or either within tags.
void WriteAliasDecoder(Writer& out, const Definition& definition) {
    out.Line("int status = ASN_OK;");
    WriteDecode(out, definition.type, "value", true);
    WriteChecks(out, definition.type, "value", definition.name);
    out.Line("return status;");
}

}  // namespace

void EmitDecoder(Writer& out, const Definition& definition) {
    Writer body(1);
    switch (definition.type.kind) {
        case Kind::kSequence:
            WriteSequence(body, definition);
            break;
        case Kind::kSet:
            WriteSet(body, definition);
            break;
        case Kind::kChoice:
            WriteChoiceDecoder(body, definition);
            break;
        case Kind::kSequenceOf:
        case Kind::kSetOf:
            WriteListDecoder(body, definition);
            break;
        default:
            WriteAliasDecoder(body, definition);
    }
    EmitFunction(out, "asn1D_" + definition.name,
                 {{"ASN1Context&", "context"},
                  {definition.name + "&", "value"},
                  {"int", "tagging"},
                  {"int", "length"}},
                 body);
}

}  // namespace asn1gen
