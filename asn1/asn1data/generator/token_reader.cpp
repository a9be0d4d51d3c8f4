// Steps through tokens, and throws at the first that does not fit.
#include "asn1/asn1data/generator/token_reader.h"

#include <algorithm>

namespace asn1gen {

const Token& TokenReader::Peek(std::size_t ahead) const {
    return tokens_[std::min(index_ + ahead, tokens_.size() - 1)];
}

bool TokenReader::Is(std::string_view text, std::size_t ahead) const {
    const Token& token = Peek(ahead);
    return (token.kind == TokenKind::kSign || token.kind == TokenKind::kUpperName) &&
           token.text == text;
}

bool TokenReader::Accept(std::string_view text) {
    if (!Is(text)) return false;
    ++index_;
    return true;
}

void TokenReader::Expect(std::string_view text) {
    if (!Accept(text)) Unexpected("'" + std::string(text) + "'");
}

const Token& TokenReader::Take(TokenKind kind, const char* what) {
    if (Peek().kind != kind) Unexpected(what);
    return Next();
}

const Token& TokenReader::Next() {
    const Token& token = Peek();
    if (!AtEnd()) ++index_;
    return token;
}

void TokenReader::Unexpected(const std::string& what) const {
    Refuse("expected " + what + ", found " +
           (AtEnd() ? "the end of the file" : "'" + Peek().text + "'"));
}

void TokenReader::Refuse(const std::string& text) const { throw SyntaxError{Peek().at, text}; }

}  // namespace asn1gen
