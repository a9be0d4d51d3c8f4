// Reads values and constraints.
#include "asn1/asn1data/generator/value_parser.h"

#include <charconv>

namespace asn1gen {
namespace {

std::int64_t NumberOf(TokenReader& reader, bool negative) {
    const Token& token = reader.Peek();
    const std::string text = (negative ? "-" : "") + token.text;
    std::int64_t number = 0;
    if (std::from_chars(text.data(), text.data() + text.size(), number).ec != std::errc()) {
        reader.Refuse("the number " + text + " does not fit in 64 bits");
    }
    reader.Next();
    return number;
}

// Up to the brace that closes the one at the position; flat, whatever is inside.
std::vector<Token> TakeBraced(TokenReader& reader) {
    std::vector<Token> inside;
    reader.Expect("{");
    for (int depth = 1;; inside.push_back(reader.Next())) {
        if (reader.AtEnd()) reader.Unexpected("'}'");
        depth += reader.Is("{") ? 1 : 0;
        depth -= reader.Is("}") ? 1 : 0;
        if (depth == 0) break;
    }
    reader.Next();
    return inside;
}

Bound ParseBound(TokenReader& reader, const char* open) {
    Bound bound;
    if (!reader.Accept(open)) bound.value = ParseNumber(reader);
    return bound;
}

// What stands inside the parentheses of a constraint and is not understood.
void RefuseOddConstraint(const TokenReader& reader) {
    if (reader.Is("{")) reader.Refuse("table constraints are not supported");
    for (const char* word : {"FROM", "WITH", "CONTAINING", "ENCODED", "CONSTRAINED", "PATTERN",
                             "SETTINGS", "ALL", "INCLUDES", "EXCEPT", "INTERSECTION", "SIZE"}) {
        if (reader.Is(word)) {
            reader.Refuse("a constraint with " + std::string(word) + " is not supported here");
        }
    }
    if (reader.Peek().kind == TokenKind::kText) {
        reader.Refuse("a constraint to a text is not supported");
    }
}

// Alternatives of values and ranges, up to the closing parenthesis.
void ParseIntervals(TokenReader& reader, Constraint& constraint) {
    do {
        RefuseOddConstraint(reader);
        Interval interval;
        const bool fromMin = reader.Is("MIN");
        interval.low = ParseBound(reader, "MIN");
        if (reader.Accept("..")) {
            interval.high = ParseBound(reader, "MAX");
        } else if (fromMin) {
            reader.Unexpected("'..'");
        } else {
            interval.high = interval.low;
        }
        constraint.intervals.push_back(std::move(interval));
    } while (reader.Accept("|") || reader.Accept("UNION"));
    RefuseOddConstraint(reader);
    if (reader.Accept(",")) {
        reader.Expect("...");
        constraint.extensible = true;
    }
    reader.Expect(")");
}

}  // namespace

Value ParseNumber(TokenReader& reader) {
    Value value;
    value.at = reader.Peek().at;
    if (reader.Peek().kind == TokenKind::kLowerName) {
        value.form = Value::Form::kName;
        value.name = reader.Next().text;
        return value;
    }
    const bool negative = reader.Accept("-");
    if (reader.Peek().kind != TokenKind::kNumber) reader.Unexpected("a number");
    value.form = Value::Form::kNumber;
    value.number = NumberOf(reader, negative);
    return value;
}

Value ParseValue(TokenReader& reader) {
    Value value;
    const Token& token = reader.Peek();
    value.at = token.at;
    switch (token.kind) {
        case TokenKind::kBits:
        case TokenKind::kHex:
        case TokenKind::kText:
            reader.Next();
            return value;
        case TokenKind::kUpperName:
            if (reader.Accept("NULL")) return value;
            value.form = Value::Form::kBoolean;
            value.number = reader.Is("TRUE") ? 1 : 0;
            if (!reader.Accept("TRUE") && !reader.Accept("FALSE")) reader.Unexpected("a value");
            return value;
        case TokenKind::kSign:
            if (reader.Is("{")) {
                value.form = Value::Form::kBraced;
                value.inside = TakeBraced(reader);
                return value;
            }
            if (!reader.Is("-")) reader.Unexpected("a value");
            return ParseNumber(reader);
        case TokenKind::kLowerName:
            if (reader.Is(":", 1)) reader.Refuse("a value of a CHOICE is not supported");
            return ParseNumber(reader);
        case TokenKind::kNumber:
            return ParseNumber(reader);
        case TokenKind::kEnd:
            break;
    }
    reader.Unexpected("a value");
}

Constraint ParseSize(TokenReader& reader) {
    Constraint constraint;
    constraint.at = reader.Peek().at;
    constraint.size = true;
    reader.Expect("SIZE");
    reader.Expect("(");
    ParseIntervals(reader, constraint);
    return constraint;
}

Constraint ParseConstraint(TokenReader& reader) {
    reader.Expect("(");
    if (!reader.Is("SIZE")) {
        Constraint constraint;
        constraint.at = reader.Peek().at;
        ParseIntervals(reader, constraint);
        return constraint;
    }
    Constraint constraint = ParseSize(reader);
    RefuseOddConstraint(reader);
    if (reader.Accept(",")) {
        reader.Expect("...");
        constraint.extensible = true;
    }
    reader.Expect(")");
    return constraint;
}

}  // namespace asn1gen
