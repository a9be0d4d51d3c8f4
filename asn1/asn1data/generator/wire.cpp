// Calls of the runtime for one value, as text.
#include "asn1/asn1data/generator/wire.h"

#include <algorithm>
#include <cstdio>

#include "asn1/asn1data/generator/cpp_types.h"

namespace asn1gen {
namespace {

constexpr std::uint32_t kNumberMask = 0x1FFFFFFF;
constexpr std::uint32_t kForm = 0x20000000;
constexpr std::uint32_t kLongTag = 31;

std::string Hex(std::uint32_t number, int digits) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%0*X", digits, static_cast<unsigned>(number));
    return text;
}

bool IsLong(std::uint32_t bits) { return (bits & kNumberMask) >= kLongTag; }

std::string ByteText(const WireTag& tag) {
    const std::uint32_t form = tag.constructed ? 0x20 : 0;
    return Hex(tag.bits >> 24 | form | (tag.bits & 0x1F), 2);
}

// The middle of the names of runtime calls: xe_boolean, xd_boolean.
const char* Primitive(const Type& type) {
    switch (type.kind) {
        case Kind::kBoolean:
            return "boolean";
        case Kind::kInteger: {
            constexpr const char* kForms[] = {"integer", "unsigned", "bigint"};
            return kForms[static_cast<int>(FormOf(type))];
        }
        case Kind::kBitString:
            return "bitstr";
        case Kind::kOctetString:
            return "octstr";
        case Kind::kNull:
            return "null";
        case Kind::kObjectId:
            return "objid";
        case Kind::kEnumerated:
            return "enum";
        case Kind::kCharString:
            return "charstr";
        case Kind::kBmpString:
            return "16BitCharStr";
        case Kind::kUniversalString:
            return "32BitCharStr";
        default:
            return "open_type";
    }
}

// Types whose calls are told their universal tag.
bool TakesTag(Kind kind) {
    return kind == Kind::kCharString || kind == Kind::kBmpString || kind == Kind::kUniversalString;
}

std::string SizeOf(const Type& base, const std::string& value) {
    constexpr std::uint32_t kUtf8 = 12;
    switch (base.kind) {
        case Kind::kOctetString:
            return value + ".numocts";
        case Kind::kBitString:
            return value + ".numbits";
        case Kind::kCharString:
            return (base.universal == kUtf8 ? "Utf8Length(" : "TextLength(") + value + ")";
        case Kind::kBmpString:
        case Kind::kUniversalString:
            return value + ".nchars";
        default:
            return value + ".count";
    }
}

std::string NumberOf(const Type& base, const std::string& value) {
    return FormOf(base) == IntegerForm::kBig ? "ClampedNumber(" + value + ")" : value;
}

void WriteFieldFailure(Writer& out, const std::string& condition, const std::string& status,
                       const std::string& field) {
    out.Open("if (" + condition + ") {");
    out.Line("return FailField(context, " + status + ", \"" + field + "\", kModule, __LINE__);");
    out.Close();
}

// A list that is too long has a status of its own.
void WriteListCheck(Writer& out, const Constraint& constraint, const std::string& size,
                    const std::string& field) {
    std::int64_t longest = 0;
    for (const Interval& interval : constraint.intervals) {
        longest = std::max(longest, interval.high.number);
    }
    if (NumberText(longest) == "kNoHigh") return;
    WriteFieldFailure(out, size + " > " + NumberText(longest), "ASN_E_SEQOVFLW", field);
}

void WriteConstraint(Writer& out, const Constraint& constraint, const Type& base,
                     const std::string& value, const std::string& field) {
    const std::string subject = constraint.size ? SizeOf(base, value) : NumberOf(base, value);
    if (IsList(base.kind)) WriteListCheck(out, constraint, subject, field);
    // DER leaves zero bits out; they count as there (X.680 22.7).
    const bool trimmed = base.kind == Kind::kBitString && !base.names.empty();
    std::string condition;
    for (const Interval& interval : constraint.intervals) {
        const std::string low = trimmed ? "0" : NumberText(interval.low.number);
        const std::string high = NumberText(interval.high.number);
        if ((low == "kNoLow" || (constraint.size && low == "0")) && high == "kNoHigh") return;
        condition += (condition.empty() ? "!Within(" : " && !Within(") + subject + ", " + low +
                     ", " + high + ")";
    }
    WriteFieldFailure(out, condition, "ASN_E_CONSVIO", field);
}

void WriteEnumCheck(Writer& out, const Type& type, const std::string& value) {
    std::string known;
    for (const NamedNumber& item : type.names) {
        known += (known.empty() ? "" : ", ") + NumberText(item.number);
    }
    out.Open("if (!IsOneOf(" + value + ", {" + known + "})) {");
    out.Line("return FailEnum(context, " + value + ", kModule, __LINE__);");
    out.Close();
}

}  // namespace

Headers HeadersOf(const Type& type) {
    std::size_t own = 0;  // headers of the called function
    if (type.kind == Kind::kReference) {
        own = type.target->type.chain.size();
    } else if (type.kind != Kind::kAny && type.kind != Kind::kChoice) {
        own = 1;
    }
    Headers headers;
    const auto first = type.chain.begin();
    const auto inner = first + static_cast<std::ptrdiff_t>(type.chain.size() - own);
    headers.wrappers.assign(first, inner);
    if (own == 0) return headers;
    const std::uint32_t ownTag =
        type.kind == Kind::kReference ? type.target->type.chain.front().bits : type.universal;
    headers.tag = *inner;
    headers.implicit = inner->bits != ownTag;
    return headers;
}

std::string TagText(const WireTag& tag) { return Hex(tag.bits | (tag.constructed ? kForm : 0), 8); }

std::string CaseText(std::uint32_t bits) { return Hex(bits, 8); }

std::string MatchCall(const WireTag& tag) {
    return IsLong(tag.bits) ? "MatchTag(context, " + TagText(tag) + ", length)"
                            : "xd_match1(context, " + ByteText(tag) + ", length)";
}

std::string NextCondition(const Type& type) {
    const FirstTags first = FirstTagsOf(type);
    if (first.anything) return "!contents.AtEnd()";
    std::string condition;
    for (const std::uint32_t bits : first.tags) {
        const WireTag tag{bits, !type.chain.empty() && type.chain.front().constructed};
        if (!condition.empty()) condition += " || ";
        condition += IsLong(bits) ? "NextIsTag(context, contents, " + TagText(tag) + ")"
                                  : "contents.NextIs(" + ByteText(tag) + ")";
    }
    return condition;
}

std::string EncodeCall(const Type& type, const std::string& value, const std::string& tagging) {
    if (type.kind == Kind::kReference) {
        return "asn1E_" + type.target->name + "(context, " + value + ", " + tagging + ")";
    }
    const bool named = type.kind == Kind::kBitString && !type.names.empty();
    std::string call = "xe_" + std::string(Primitive(type)) + "(context";
    if (type.kind != Kind::kNull) call += ", " + (named ? "TrimBits(" + value + ")" : value);
    if (type.kind != Kind::kAny) call += ", " + tagging;
    if (TakesTag(type.kind)) call += ", " + std::to_string(type.universal);
    return call + ")";
}

std::string DecodeCall(const Type& type, const std::string& value, const std::string& tagging,
                       const std::string& length) {
    if (type.kind == Kind::kReference) {
        return "asn1D_" + type.target->name + "(context, " + value + ", " + tagging + ", " +
               length + ")";
    }
    if (type.kind == Kind::kNull) return "DecodeNull(context, " + tagging + ", " + length + ")";
    std::string call = "xd_" + std::string(Primitive(type)) + "(context, " + value;
    if (type.kind == Kind::kAny) return call + ")";
    call += ", " + tagging;
    if (TakesTag(type.kind)) call += ", " + std::to_string(type.universal);
    return call + ", " + length + ")";
}

std::string EncodeExpression(const Type& type, const std::string& value, bool outermost) {
    const Headers headers = HeadersOf(type);
    std::string text = EncodeCall(type, value, headers.implicit ? "kImplicit" : "kExplicit");
    std::vector<WireTag> tags = headers.wrappers;
    if (headers.implicit) tags.push_back(headers.tag);
    if (!outermost) tags.erase(tags.begin());
    for (auto tag = tags.rbegin(); tag != tags.rend(); ++tag) {
        text = "xe_tag_len(context, " + TagText(*tag) + ", " + text + ")";
    }
    return text;
}

void WriteDecode(Writer& out, const Type& type, const std::string& value, bool tagged) {
    const Headers headers = HeadersOf(type);
    bool outermost = tagged;
    const auto match = [&](const WireTag& tag) {
        out.Line((outermost ? "if (tagging == kExplicit) status = " : "status = ") +
                 MatchCall(tag) + ";");
        outermost = false;
    };
    for (std::size_t i = 0; i < headers.wrappers.size(); ++i) {
        match(headers.wrappers[i]);
        out.Open("if (status >= 0) {");
        out.Line("ASN1Contents wrapper" + std::to_string(i) + "(context, length);");
    }
    if (headers.implicit) {
        match(headers.tag);
        out.Line("if (status >= 0) status = " + DecodeCall(type, value, "kImplicit", "length") +
                 ";");
    } else {
        out.Line("status = " +
                 DecodeCall(type, value, outermost ? "tagging" : "kExplicit",
                            outermost ? "length" : "0") +
                 ";");
    }
    for (std::size_t i = headers.wrappers.size(); i-- > 0;) {
        out.Line("if (status >= 0) status = wrapper" + std::to_string(i) + ".Finish();");
        out.Close();
    }
    WriteFail(out, "status");
}

void WriteCopy(Writer& out, const Type& type, const std::string& source,
               const std::string& destination) {
    switch (type.kind) {
        case Kind::kNull:
            return;
        case Kind::kInteger:
            if (FormOf(type) == IntegerForm::kBig) break;
            [[fallthrough]];
        case Kind::kBoolean:
        case Kind::kEnumerated:
            return out.Line(destination + " = " + source + ";");
        default:
            break;
    }
    const std::string function =
        type.kind == Kind::kReference ? "asn1Copy_" + type.target->name : "Copy";
    out.Line("status = " + function + "(owner, " + source + ", " + destination + ");");
    WriteFail(out, "status", "owner");
}

void WriteChecks(Writer& out, const Type& type, const std::string& value,
                 const std::string& field) {
    if (type.kind == Kind::kEnumerated && !type.extensible) WriteEnumCheck(out, type, value);
    for (const Constraint& constraint : type.constraints) {
        if (!constraint.extensible) WriteConstraint(out, constraint, BaseOf(type), value, field);
    }
}

void WriteFail(Writer& out, const std::string& status, const std::string& context) {
    out.Line("if (" + status + " < 0) return Fail(" + context + ", " + status + ", __LINE__);");
}

void WriteLevel(Writer& out, const Definition& definition, const std::string& context) {
    if (!definition.recursive) return;
    out.Line("const ASN1Level level(" + context + ");");
    out.Line("if (level.TooDeep()) return Fail(" + context + ", ASN_E_TOODEEP, __LINE__);");
}

}  // namespace asn1gen
