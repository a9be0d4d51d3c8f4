// The tree as JSON (RFC 8259) and as text.
#include "kestrelctl/message/value.h"

#include <algorithm>

#include "kestrelctl/output.h"

namespace kestrelctl::message {
namespace {

void Break(std::string& out, bool oneLine, std::size_t depth) {
    if (oneLine) return;
    out += '\n';
    out.append(2 * depth, ' ');
}

// "signatureAlgorithm" as "signature algorithm".
std::string LabelOf(const std::string& name) {
    std::string label;
    for (const char c : name) {
        const bool upper = c >= 'A' && c <= 'Z';
        if (upper) label += ' ';
        label += upper ? static_cast<char>(c + 32) : c;
    }
    return label;
}

}  // namespace

Value Value::Of(bool flag) {
    Value value(Kind::Bool);
    value.text_ = flag ? "true" : "false";
    return value;
}

Value Value::Of(std::uint64_t number) {
    Value value(Kind::Number);
    value.text_ = std::to_string(number);
    return value;
}

Value& Value::Set(const char* name, Value value) {
    members_.emplace_back(name, std::move(value));
    return *this;
}

Value& Value::Add(Value value) {
    members_.emplace_back(nullptr, std::move(value));
    return *this;
}

Value& Value::Short(std::string text) {
    text_ = std::move(text);
    return *this;
}

std::string Value::Scalar() const {
    switch (kind_) {
        case Kind::Null:
            return "null";
        case Kind::Text:
            return JsonText(text_);
        default:
            return text_;
    }
}

std::string Value::Json(bool oneLine) const {
    std::string out;
    WriteJson(out, oneLine, 0);
    return out;
}

void Value::WriteJson(std::string& out, bool oneLine, std::size_t depth) const {
    if (!Nested()) {
        out += Scalar();
        return;
    }
    const bool named = kind_ == Kind::Object;
    out += named ? '{' : '[';
    for (std::size_t i = 0; i < members_.size(); ++i) {
        if (i != 0) out += ',';
        if (i != 0 && oneLine) out += ' ';
        Break(out, oneLine, depth + 1);
        if (named) out += JsonText(members_[i].first) + ": ";
        members_[i].second.WriteJson(out, oneLine, depth + 1);
    }
    if (!members_.empty()) Break(out, oneLine, depth);
    out += named ? '}' : ']';
}

std::vector<std::string> Value::Lines() const {
    std::vector<std::string> out;
    WriteLines(out, 0);
    return out;
}

bool Value::Flat() const {
    return std::ranges::none_of(members_, [](const auto& member) {
        return member.second.Nested() && member.second.text_.empty();
    });
}

// A list of values that need one line each stands in one; items of others are counted.
void Value::WriteLine(std::vector<std::string>& out, std::size_t depth,
                      const std::string& label) const {
    const std::string start = std::string(2 * depth, ' ') + label;
    if (!Nested() || !text_.empty()) {
        if (kind_ != Kind::Null) out.push_back(start + ": " + text_);
        return;
    }
    if (members_.empty()) return;
    if (kind_ == Kind::List && Flat()) {
        std::string line;
        for (const auto& member : members_)
            line += (line.empty() ? "" : ", ") + member.second.text_;
        out.push_back(start + ": " + line);
        return;
    }
    out.push_back(start + ":");
    WriteLines(out, depth + 1);
}

void Value::WriteLines(std::vector<std::string>& out, std::size_t depth) const {
    std::size_t number = 0;
    for (const auto& [name, value] : members_) {
        value.WriteLine(out, depth,
                        kind_ == Kind::Object ? LabelOf(name) : std::to_string(++number));
    }
}

}  // namespace kestrelctl::message
