// The C++ type of each schema type, and the values it starts from.
#include "asn1/asn1data/generator/cpp_types.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <string_view>

namespace asn1gen {
namespace {

constexpr std::string_view kKeywords[] = {
    "alignas",       "alignof",     "and",
    "asm",           "auto",        "bitand",
    "bitor",         "bool",        "break",
    "case",          "catch",       "char",
    "class",         "compl",       "concept",
    "const",         "continue",    "decltype",
    "default",       "delete",      "do",
    "double",        "else",        "enum",
    "explicit",      "export",      "extern",
    "false",         "float",       "for",
    "friend",        "goto",        "if",
    "inline",        "int",         "long",
    "mutable",       "namespace",   "new",
    "noexcept",      "not",         "nullptr",
    "operator",      "or",          "private",
    "protected",     "public",      "register",
    "requires",      "return",      "short",
    "signed",        "sizeof",      "static",
    "struct",        "switch",      "template",
    "this",          "throw",       "true",
    "try",           "typedef",     "typeid",
    "typename",      "union",       "unsigned",
    "using",         "virtual",     "void",
    "volatile",      "while",       "xor",
    "consteval",     "constexpr",   "constinit",
    "and_eq",        "char8_t",     "char16_t",
    "char32_t",      "const_cast",  "co_await",
    "co_return",     "co_yield",    "dynamic_cast",
    "not_eq",        "or_eq",       "reinterpret_cast",
    "static_assert", "static_cast", "thread_local",
    "wchar_t",       "xor_eq",      "m",
};

// Two's complement in the fewest octets, in the text form of a decoded INTEGER.
std::string BigText(std::int64_t number) {
    std::string digits;
    std::uint64_t bits = static_cast<std::uint64_t>(number);
    bool top = false;
    do {
        constexpr char kDigits[] = "0123456789abcdef";
        digits.insert(0, {kDigits[bits >> 4 & 15], kDigits[bits & 15]});
        top = (bits >> 7 & 1) != 0;
        number >>= 8;
        bits = static_cast<std::uint64_t>(number);
    } while (number != (top ? -1 : 0));
    return (top ? "0x0" : "0x") + digits;
}

}  // namespace

IntegerForm FormOf(const Type& integer) {
    std::int64_t low = std::numeric_limits<std::int64_t>::min();
    std::int64_t high = std::numeric_limits<std::int64_t>::max();
    for (const Constraint& constraint : integer.constraints) {
        if (constraint.extensible) continue;
        std::int64_t lowest = std::numeric_limits<std::int64_t>::max();
        std::int64_t highest = std::numeric_limits<std::int64_t>::min();
        for (const Interval& interval : constraint.intervals) {
            lowest = std::min(lowest, interval.low.number);
            highest = std::max(highest, interval.high.number);
        }
        low = std::max(low, lowest);
        high = std::min(high, highest);
    }
    if (low >= std::numeric_limits<std::int32_t>::min() &&
        high <= std::numeric_limits<std::int32_t>::max()) {
        return IntegerForm::kInt;
    }
    const bool fits = low >= 0 && high <= std::numeric_limits<std::uint32_t>::max();
    return fits ? IntegerForm::kUnsigned : IntegerForm::kBig;
}

std::string CppType(const Type& type) {
    switch (type.kind) {
        case Kind::kBoolean:
            return "ASN1BOOL";
        case Kind::kInteger:
            switch (FormOf(type)) {
                case IntegerForm::kInt:
                    return "ASN1INT";
                case IntegerForm::kUnsigned:
                    return "ASN1UINT";
                case IntegerForm::kBig:
                    return "ASN1BigInt";
            }
            break;
        case Kind::kBitString:
            return "ASN1DynBitStr";
        case Kind::kOctetString:
            return "ASN1DynOctStr";
        case Kind::kNull:
            return "ASN1NULL";
        case Kind::kObjectId:
            return "ASN1OBJID";
        case Kind::kEnumerated:
            return "ASN1ENUM";
        case Kind::kCharString:
            return "ASN1CharStr";
        case Kind::kBmpString:
            return "ASN116BitCharStr";
        case Kind::kUniversalString:
            return "ASN132BitCharStr";
        case Kind::kAny:
            return "ASN1OpenType";
        default:
            break;
    }
    return type.target->name;
}

std::string MemberName(const std::string& name) {
    const std::string member = CppName(name);
    const bool taken =
        std::find(std::begin(kKeywords), std::end(kKeywords), member) != std::end(kKeywords);
    return taken ? member + "_" : member;
}

std::string AlternativeName(const std::string& name) {
    std::string text = "k" + CppName(name);
    text[1] = static_cast<char>(text[1] - 'a' + 'A');
    return text;
}

bool HasFlag(const Component& component) {
    return component.optional || component.defaultValue.has_value() || component.addition;
}

bool HasSimpleDefault(const Component& component) {
    if (!component.defaultValue) return false;
    const Kind kind = BaseOf(component.type).kind;
    return kind == Kind::kBoolean || kind == Kind::kInteger || kind == Kind::kEnumerated;
}

std::string DefaultText(const Component& component) {
    const std::int64_t number = component.defaultValue->number;
    const Type& base = BaseOf(component.type);
    const bool big = base.kind == Kind::kInteger && FormOf(base) == IntegerForm::kBig;
    return big ? "{\"" + BigText(number) + "\"}" : NumberText(number);
}

std::string Initializer(const Component& component) {
    const Type& base = BaseOf(component.type);
    const bool big = base.kind == Kind::kInteger && FormOf(base) == IntegerForm::kBig;
    if (HasSimpleDefault(component)) return (big ? "" : " = ") + DefaultText(component);
    const bool number = base.kind == Kind::kBoolean || base.kind == Kind::kInteger ||
                        base.kind == Kind::kEnumerated;
    return number && !big ? " = 0" : "";
}

std::string NumberText(std::int64_t number) {
    if (number == std::numeric_limits<std::int64_t>::min()) return "kNoLow";
    if (number == std::numeric_limits<std::int64_t>::max()) return "kNoHigh";
    // The lowest 32-bit number has no literal of its own.
    if (number == std::numeric_limits<std::int32_t>::min()) return "(-2147483647 - 1)";
    return std::to_string(number);
}

}  // namespace asn1gen
