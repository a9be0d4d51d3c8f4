// Reads types (X.680 clauses 17 to 31).
#include "asn1/asn1data/generator/type_parser.h"

#include <algorithm>
#include <span>
#include <string_view>

#include "asn1/asn1data/generator/value_parser.h"

namespace asn1gen {
namespace {

struct BuiltIn {
    std::string_view word;
    Kind kind;
    std::uint32_t universal;
    std::string_view second = {};  // a word that must follow
};

// Types that are told by their words alone (X.680 8.6 has the numbers).
constexpr BuiltIn kBuiltIns[] = {
    {"BOOLEAN", Kind::kBoolean, 1},
    {"INTEGER", Kind::kInteger, 2},
    {"BIT", Kind::kBitString, 3, "STRING"},
    {"OCTET", Kind::kOctetString, 4, "STRING"},
    {"NULL", Kind::kNull, 5},
    {"OBJECT", Kind::kObjectId, 6, "IDENTIFIER"},
    {"ObjectDescriptor", Kind::kCharString, 7},
    {"ENUMERATED", Kind::kEnumerated, 10},
    {"UTF8String", Kind::kCharString, 12},
    {"NumericString", Kind::kCharString, 18},
    {"PrintableString", Kind::kCharString, 19},
    {"TeletexString", Kind::kCharString, 20},
    {"T61String", Kind::kCharString, 20},
    {"VideotexString", Kind::kCharString, 21},
    {"IA5String", Kind::kCharString, 22},
    {"UTCTime", Kind::kCharString, 23},
    {"GeneralizedTime", Kind::kCharString, 24},
    {"GraphicString", Kind::kCharString, 25},
    {"VisibleString", Kind::kCharString, 26},
    {"ISO646String", Kind::kCharString, 26},
    {"GeneralString", Kind::kCharString, 27},
    {"UniversalString", Kind::kUniversalString, 28},
    {"BMPString", Kind::kBmpString, 30},
};

constexpr std::string_view kRefused[] = {
    "REAL",  "EXTERNAL",        "EMBEDDED",        "CHARACTER",        "INSTANCE",
    "CLASS", "TYPE-IDENTIFIER", "ABSTRACT-SYNTAX", "RELATIVE-OID",     "TIME",
    "DATE",  "DATE-TIME",       "TIME-OF-DAY",     "DURATION",         "OID-IRI",
    "MACRO", "COMPONENTS",      "OPERATION",       "RELATIVE-OID-IRI", "ERROR",
};

// Words that may follow where a type is missing.
constexpr std::string_view kNoTypes[] = {"END",      "BEGIN", "OPTIONAL", "DEFAULT", "OF",
                                         "SIZE",     "FROM",  "IMPLICIT", "TRUE",    "FALSE",
                                         "EXPLICIT", "TAGS",  "IMPORTS",  "EXPORTS", "DEFINITIONS"};

bool IsIn(const std::string& word, std::span<const std::string_view> words) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

class TypeParser {
  public:
    explicit TypeParser(TokenReader& reader) : reader_(reader) {}

    Type Parse() {
        const Nesting nesting(depth_, reader_);
        Type type;
        type.at = reader_.Peek().at;
        type.firstToken = reader_.Index();
        while (reader_.Is("[")) type.prefixes.push_back(ParsePrefix());
        ParseBody(type);
        while (reader_.Is("(")) type.constraints.push_back(ParseConstraint(reader_));
        type.endToken = reader_.Index();
        return type;
    }

  private:
    TagPrefix ParsePrefix() {
        TagPrefix prefix;
        prefix.at = reader_.Peek().at;
        reader_.Expect("[");
        if (reader_.Accept("UNIVERSAL")) prefix.tagClass = TagClass::kUniversal;
        if (reader_.Accept("APPLICATION")) prefix.tagClass = TagClass::kApplication;
        if (reader_.Accept("PRIVATE")) prefix.tagClass = TagClass::kPrivate;
        prefix.number = ParseNumber(reader_);
        reader_.Expect("]");
        if (reader_.Accept("IMPLICIT")) prefix.mode = TagMode::kImplicit;
        if (reader_.Accept("EXPLICIT")) prefix.mode = TagMode::kExplicit;
        return prefix;
    }

    void ParseBody(Type& type) {
        if (reader_.Is("SEQUENCE")) return ParseCollection(type, Kind::kSequence, 16);
        if (reader_.Is("SET")) return ParseCollection(type, Kind::kSet, 17);
        if (reader_.Accept("CHOICE")) return ParseChoice(type);
        if (reader_.Accept("ANY")) return ParseAny(type);
        for (const BuiltIn& builtIn : kBuiltIns) {
            if (reader_.Accept(builtIn.word)) return ParseBuiltIn(type, builtIn);
        }
        ParseReference(type);
    }

    void ParseBuiltIn(Type& type, const BuiltIn& builtIn) {
        type.kind = builtIn.kind;
        type.universal = builtIn.universal;
        if (!builtIn.second.empty()) reader_.Expect(builtIn.second);
        const bool named = type.kind == Kind::kInteger || type.kind == Kind::kBitString;
        if (type.kind == Kind::kEnumerated || (named && reader_.Is("{"))) ParseNames(type);
    }

    void ParseNames(Type& type) {
        const bool enumerated = type.kind == Kind::kEnumerated;
        reader_.Expect("{");
        do {
            if (enumerated && reader_.Accept("...")) {
                type.extensible = true;
                continue;
            }
            const Token& token = reader_.Take(TokenKind::kLowerName, "a name");
            NamedNumber item{token.text, token.at, {}};
            if (!enumerated || reader_.Is("(")) {
                reader_.Expect("(");
                item.value = ParseNumber(reader_);
                reader_.Expect(")");
            }
            type.names.push_back(std::move(item));
        } while (reader_.Accept(","));
        reader_.Expect("}");
    }

    // SEQUENCE and SET, with components or of one element.
    void ParseCollection(Type& type, Kind kind, std::uint32_t universal) {
        reader_.Next();
        type.kind = kind;
        type.universal = universal;
        if (reader_.Is("{")) return ParseComponents(type);
        if (reader_.Is("SIZE")) {
            type.constraints.push_back(ParseSize(reader_));
        } else if (reader_.Is("(")) {
            type.constraints.push_back(ParseConstraint(reader_));
        }
        reader_.Expect("OF");
        type.kind = kind == Kind::kSequence ? Kind::kSequenceOf : Kind::kSetOf;
        if (reader_.Peek().kind == TokenKind::kLowerName) reader_.Next();  // the element's name
        type.element = std::make_unique<Type>(Parse());
    }

    void ParseChoice(Type& type) {
        type.kind = Kind::kChoice;
        ParseComponents(type);
        if (type.components.empty()) throw SyntaxError{type.at, "a CHOICE without alternatives"};
    }

    void ParseComponents(Type& type) {
        reader_.Expect("{");
        if (reader_.Accept("}")) return;
        do {
            if (reader_.Is("COMPONENTS")) reader_.Refuse("COMPONENTS OF is not supported");
            if (reader_.Is("[[")) reader_.Refuse("version brackets are not supported");
            if (!reader_.Is("...")) {
                type.components.push_back(ParseComponent(type));
                continue;
            }
            if (type.extensible) reader_.Refuse("a second extension mark is not supported");
            reader_.Next();
            type.extensible = true;
        } while (reader_.Accept(","));
        reader_.Expect("}");
    }

    Component ParseComponent(const Type& parent) {
        const Token& name = reader_.Take(TokenKind::kLowerName, "the name of a component");
        Component component{name.text, name.at, Parse(), false, parent.extensible, {}};
        const bool choice = parent.kind == Kind::kChoice;
        if (choice && (reader_.Is("OPTIONAL") || reader_.Is("DEFAULT"))) {
            reader_.Refuse("an alternative of a CHOICE is neither OPTIONAL nor DEFAULT");
        }
        component.optional = reader_.Accept("OPTIONAL");
        if (!component.optional && reader_.Accept("DEFAULT")) {
            component.defaultValue = ParseValue(reader_);
        }
        return component;
    }

    void ParseAny(Type& type) {
        type.kind = Kind::kAny;
        if (!reader_.Accept("DEFINED")) return;
        reader_.Expect("BY");
        type.definedBy = reader_.Take(TokenKind::kLowerName, "the name of a component").text;
    }

    void ParseReference(Type& type) {
        const Token& token = reader_.Peek();
        if (token.kind == TokenKind::kLowerName && reader_.Is("<", 1)) {
            reader_.Refuse("selection types are not supported");
        }
        if (token.kind != TokenKind::kUpperName || IsIn(token.text, kNoTypes)) {
            reader_.Unexpected("a type");
        }
        if (IsIn(token.text, kRefused)) reader_.Refuse(token.text + " is not supported");
        if (reader_.Is(".", 1)) reader_.Refuse("references with a dot are not supported");
        if (reader_.Is("{", 1)) reader_.Refuse("parameterised types are not supported");
        type.kind = Kind::kReference;
        type.reference = reader_.Next().text;
    }

    TokenReader& reader_;
    int depth_ = 0;
};

}  // namespace

Type ParseType(TokenReader& reader) { return TypeParser(reader).Parse(); }

}  // namespace asn1gen
