// Steps through the tokens of a file for the parser; what is not as expected is thrown as
// a SyntaxError.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "asn1/asn1data/generator/lexer.h"

namespace asn1gen {

class TokenReader {
  public:
    explicit TokenReader(const std::vector<Token>& tokens) : tokens_(tokens) {}

    [[nodiscard]] std::size_t Index() const { return index_; }
    // The token at the position or some way behind it; the last one stands for all beyond.
    [[nodiscard]] const Token& Peek(std::size_t ahead = 0) const;
    [[nodiscard]] bool AtEnd() const { return Peek().kind == TokenKind::kEnd; }
    // Whether a word or sign stands there; Accept steps over it too.
    [[nodiscard]] bool Is(std::string_view text, std::size_t ahead = 0) const;
    bool Accept(std::string_view text);
    void Expect(std::string_view text);
    const Token& Take(TokenKind kind, const char* what);
    const Token& Next();
    // "expected WHAT, found the token".
    [[noreturn]] void Unexpected(const std::string& what) const;
    [[noreturn]] void Refuse(const std::string& text) const;

  private:
    const std::vector<Token>& tokens_;
    std::size_t index_ = 0;
};

// Counts how deep the parser stands in nested braces, so that no input can exhaust the
// stack.
class Nesting {
  public:
    Nesting(int& depth, const TokenReader& reader) : depth_(depth) {
        if (depth_ == kDeepest) reader.Refuse("nested too deeply");
        ++depth_;
    }
    ~Nesting() { --depth_; }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;

  private:
    static constexpr int kDeepest = 64;
    int& depth_;
};

}  // namespace asn1gen
