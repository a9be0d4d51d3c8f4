// Cuts a schema into tokens (X.680 clause 12).
#include "asn1/asn1data/generator/lexer.h"

#include <cstdio>
#include <utility>

namespace asn1gen {
namespace {

bool IsUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool IsLower(char c) { return c >= 'a' && c <= 'z'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

class Lexer {
  public:
    Lexer(std::string_view text, int file, Diagnostics& diagnostics)
        : text_(text), diagnostics_(diagnostics) {
        here_.file = file;
    }

    std::vector<Token> Run() {
        while (index_ < text_.size()) Next();
        tokens_.push_back({TokenKind::kEnd, "", here_});
        return std::move(tokens_);
    }

  private:
    [[nodiscard]] char Peek(std::size_t ahead = 0) const {
        return index_ + ahead < text_.size() ? text_[index_ + ahead] : '\0';
    }
    [[nodiscard]] bool StartsWith(std::string_view what) const {
        return text_.substr(index_, what.size()) == what;
    }
    void Step(std::size_t count = 1) {
        for (; count > 0 && index_ < text_.size(); --count, ++index_) {
            const bool newLine = text_[index_] == '\n';
            here_.line += newLine ? 1 : 0;
            here_.column = newLine ? 1 : here_.column + 1;
        }
    }
    void Take(TokenKind kind, std::size_t length) {
        tokens_.push_back({kind, std::string(text_.substr(index_, length)), here_});
        Step(length);
    }

    void Next() {
        const char c = Peek();
        if (IsSpace(c)) return Step();
        if (StartsWith("--")) return LineComment();
        if (StartsWith("/*")) return BlockComment();
        if (IsUpper(c) || IsLower(c)) return Name();
        if (IsDigit(c)) return Number();
        if (c == '\'') return BitsOrHex();
        if (c == '"') return Text();
        Sign();
    }

    // Ends at the line's end or at the next pair of hyphens (X.680 12.6.3).
    void LineComment() {
        Step(2);
        while (index_ < text_.size() && Peek() != '\n' && !StartsWith("--")) Step();
        if (StartsWith("--")) Step(2);
    }

    void BlockComment() {
        const Position start = here_;
        int depth = 0;
        do {
            if (StartsWith("/*")) {
                ++depth;
                Step(2);
            } else if (StartsWith("*/")) {
                --depth;
                Step(2);
            } else {
                Step();
            }
        } while (depth > 0 && index_ < text_.size());
        if (depth > 0) diagnostics_.Report(start, "this comment has no end");
    }

    // A hyphen belongs to a name only between two letters or digits.
    void Name() {
        const auto isNameChar = [](char c) { return IsUpper(c) || IsLower(c) || IsDigit(c); };
        std::size_t length = 1;
        while (isNameChar(Peek(length)) || (Peek(length) == '-' && isNameChar(Peek(length + 1)))) {
            ++length;
        }
        Take(IsUpper(Peek()) ? TokenKind::kUpperName : TokenKind::kLowerName, length);
    }

    void Number() {
        std::size_t length = 1;
        while (IsDigit(Peek(length))) ++length;
        if (length > 1 && Peek() == '0') {
            diagnostics_.Report(here_, "a number does not begin with 0");
        }
        Take(TokenKind::kNumber, length);
    }

    void BitsOrHex() {
        const std::size_t end = text_.find('\'', index_ + 1);
        const char kind = end == std::string_view::npos ? '\0' : Peek(end - index_ + 1);
        if (kind != 'B' && kind != 'H') {
            diagnostics_.Report(here_, "this quoted string does not end in 'B or 'H");
            return Step(end == std::string_view::npos ? 1 : end - index_ + 1);
        }
        for (const char c : text_.substr(index_ + 1, end - index_ - 1)) {
            const bool hex = IsDigit(c) || (c >= 'A' && c <= 'F');
            if (!IsSpace(c) && !(kind == 'B' ? c == '0' || c == '1' : hex)) {
                diagnostics_.Report(here_, "this quoted string holds a wrong digit");
                break;
            }
        }
        Take(kind == 'B' ? TokenKind::kBits : TokenKind::kHex, end - index_ + 2);
    }

    // A doubled quotation mark stands for one inside the text.
    void Text() {
        std::size_t end = index_ + 1;
        while (end < text_.size() && (text_[end] != '"' || text_.substr(end, 2) == "\"\"")) {
            end += text_[end] == '"' ? 2 : 1;
        }
        if (end >= text_.size()) {
            diagnostics_.Report(here_, "this text has no end");
            return Step(text_.size() - index_);
        }
        Take(TokenKind::kText, end - index_ + 1);
    }

    void Sign() {
        for (const std::string_view sign : {"::=", "...", "..", "[[", "]]"}) {
            if (StartsWith(sign)) return Take(TokenKind::kSign, sign.size());
        }
        constexpr std::string_view kSigns = "{}()[],;|.:-<>^!@&*";
        if (Peek() != '\0' && kSigns.find(Peek()) != std::string_view::npos) {
            return Take(TokenKind::kSign, 1);
        }
        char text[40];
        std::snprintf(text, sizeof text, "unexpected byte 0x%02X",
                      static_cast<unsigned>(static_cast<unsigned char>(Peek())));
        diagnostics_.Report(here_, text);
        Step();
    }

    std::string_view text_;
    Diagnostics& diagnostics_;
    std::size_t index_ = 0;
    Position here_;
    std::vector<Token> tokens_;
};

}  // namespace

std::vector<Token> Tokenize(std::string_view text, int file, Diagnostics& diagnostics) {
    return Lexer(text, file, diagnostics).Run();
}

}  // namespace asn1gen
