// A document as a tree: made once, written as JSON, as a line of JSON, or as text.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kestrelctl::message {

// Members keep the order in which they were added: readers may rely on it (docs/verdicts.md).
class Value {
  public:
    enum class Kind : std::uint8_t { Null, Bool, Number, Text, List, Object };

    Value() = default;  // null
    Value(const char* text) : kind_(Kind::Text), text_(text) {}
    Value(std::string text) : kind_(Kind::Text), text_(std::move(text)) {}
    Value(const std::optional<std::string>& text) {
        if (text) *this = Value(*text);
    }
    static Value Of(bool flag);
    static Value Of(std::uint64_t number);
    static Value List() { return Value(Kind::List); }
    static Value Object() { return Value(Kind::Object); }

    // A member of an object, whose name lives as long as the process, and one more item of a list.
    Value& Set(const char* name, Value value);
    Value& Add(Value value);

    // What people read in one line in place of the members.
    Value& Short(std::string text);

    // Indented by two blanks a level, or all in one line.
    [[nodiscard]] std::string Json(bool oneLine) const;
    // For people: "name: value" lines, nulls and empty lists left out. Not escaped: Say does it.
    [[nodiscard]] std::vector<std::string> Lines() const;

  private:
    explicit Value(Kind kind) : kind_(kind) {}
    void WriteJson(std::string& out, bool oneLine, std::size_t depth) const;
    void WriteLines(std::vector<std::string>& out, std::size_t depth) const;
    void WriteLine(std::vector<std::string>& out, std::size_t depth,
                   const std::string& label) const;
    [[nodiscard]] bool Nested() const { return kind_ == Kind::List || kind_ == Kind::Object; }
    [[nodiscard]] bool Flat() const;
    [[nodiscard]] std::string Scalar() const;

    Kind kind_ = Kind::Null;
    // Of a text; the digits or the word of numbers and flags; the short form of the others.
    std::string text_;
    std::vector<std::pair<const char*, Value>> members_;  // of a list without names
};

}  // namespace kestrelctl::message
