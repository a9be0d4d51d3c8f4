// What the parser makes of a schema. The resolver fills in the members that are named so.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "asn1/asn1data/generator/lexer.h"

namespace asn1gen {

struct Definition;

// ---- values ------------------------------------------------------------------

struct Value {
    enum class Form { kBoolean, kNumber, kName, kBraced, kOther };
    Form form = Form::kOther;
    Position at;
    std::int64_t number = 0;    // 0 and 1 for a BOOLEAN; the resolver's for a simple name
    std::string name;           // kName
    std::vector<Token> inside;  // kBraced: what stands between the braces
};

struct NamedNumber {
    std::string name;
    Position at;
    std::optional<Value> value;  // an item of an ENUMERATED may have none
    std::int64_t number = 0;     // the resolver's
};

// One end of a range; without a value MIN or MAX.
struct Bound {
    std::optional<Value> value;
    std::int64_t number = 0;  // the resolver's; MIN and MAX are the ends of the type
};

struct Interval {
    Bound low, high;
};

struct Constraint {
    Position at;
    bool size = false;        // of the length, or of the value
    bool extensible = false;  // "...": nothing is refused then
    std::vector<Interval> intervals;
};

// ---- types -------------------------------------------------------------------

enum class TagClass : std::uint32_t { kUniversal, kApplication, kContext, kPrivate };
enum class TagMode { kDefault, kImplicit, kExplicit };

struct TagPrefix {
    Position at;
    TagClass tagClass = TagClass::kContext;
    Value number;
    TagMode mode = TagMode::kDefault;
};

enum class Kind {
    kBoolean,
    kInteger,
    kBitString,
    kOctetString,
    kNull,
    kObjectId,
    kEnumerated,
    kCharString,  // every string of 8-bit units; Type::universal tells them apart
    kBmpString,
    kUniversalString,
    kAny,
    kSequence,
    kSet,
    kSequenceOf,
    kSetOf,
    kChoice,
    kReference,
};

// A tag on the wire, and whether what it heads is constructed.
struct WireTag {
    std::uint32_t bits = 0;  // class in the top two bits, number in the low 29; no form
    bool constructed = false;
};

struct Component;

struct Type {
    Kind kind = Kind::kNull;
    Position at;
    std::size_t firstToken = 0, endToken = 0;  // in the module's tokens
    std::vector<TagPrefix> prefixes;           // the outermost first
    std::vector<Constraint> constraints;
    std::uint32_t universal = 0;  // number of the universal tag; none for kAny and kChoice
    std::string reference;        // kReference
    std::string definedBy;        // kAny
    std::vector<NamedNumber> names;
    std::vector<Component> components;
    std::unique_ptr<Type> element;  // of a list
    bool extensible = false;

    Definition* target = nullptr;  // the resolver's: what the reference means
    std::vector<WireTag> chain;    // the resolver's: all headers, the outermost first
};

struct Component {
    std::string name;
    Position at;
    Type type;
    bool optional = false;
    bool addition = false;  // stands behind the extension mark: older senders leave it out
    std::optional<Value> defaultValue;
};

// ---- modules -----------------------------------------------------------------

struct TypeAssignment {
    std::string name;
    Position at;
    Type type;
};

struct ValueAssignment {
    std::string name;
    Position at;
    Type type;
    Value value;
};

struct Symbol {
    std::string name;
    Position at;
};

struct Import {
    std::vector<Symbol> symbols;
    Symbol module;
};

struct Module {
    std::string name;
    Position at;
    std::shared_ptr<const std::vector<Token>> tokens;  // of the whole file
    TagMode tagDefault = TagMode::kExplicit;
    std::vector<Symbol> exports;
    std::vector<Import> imports;
    std::vector<TypeAssignment> types;
    std::vector<ValueAssignment> values;
};

}  // namespace asn1gen
