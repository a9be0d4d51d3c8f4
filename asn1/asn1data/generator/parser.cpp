// Reads modules, imports and assignments.
#include "asn1/asn1data/generator/parser.h"

#include <utility>

#include "asn1/asn1data/generator/token_reader.h"
#include "asn1/asn1data/generator/type_parser.h"
#include "asn1/asn1data/generator/value_parser.h"

namespace asn1gen {
namespace {

class ModuleParser {
  public:
    ModuleParser(TokenReader& reader, Diagnostics& diagnostics)
        : reader_(reader), diagnostics_(diagnostics) {}

    // A fault in the header is thrown; one in the body is reported.
    Module Parse() {
        ParseHeader();
        ParseBody();
        return std::move(module_);
    }

  private:
    void ParseHeader() {
        const Token& name = reader_.Take(TokenKind::kUpperName, "the name of a module");
        module_.name = name.text;
        module_.at = name.at;
        if (reader_.Is("{")) ParseValue(reader_);
        reader_.Expect("DEFINITIONS");
        if (reader_.Is("AUTOMATIC")) reader_.Refuse("AUTOMATIC TAGS is not supported");
        if (reader_.Is("EXPLICIT") || reader_.Is("IMPLICIT")) {
            module_.tagDefault = reader_.Is("IMPLICIT") ? TagMode::kImplicit : TagMode::kExplicit;
            reader_.Next();
            reader_.Expect("TAGS");
        }
        if (reader_.Is("EXTENSIBILITY")) reader_.Refuse("EXTENSIBILITY IMPLIED is not supported");
        reader_.Expect("::=");
        reader_.Expect("BEGIN");
        if (reader_.Accept("EXPORTS")) ParseExports();
        if (reader_.Accept("IMPORTS")) ParseImports();
    }

    Symbol ParseSymbol() {
        const Token& token = reader_.Peek();
        if (token.kind != TokenKind::kUpperName && token.kind != TokenKind::kLowerName) {
            reader_.Unexpected("the name of a type or value");
        }
        if (reader_.Is("{", 1)) reader_.Refuse("parameterised types are not supported");
        reader_.Next();
        return {token.text, token.at};
    }

    void ParseExports() {
        if (reader_.Accept("ALL")) return reader_.Expect(";");
        if (reader_.Accept(";")) return;
        do {
            module_.exports.push_back(ParseSymbol());
        } while (reader_.Accept(","));
        reader_.Expect(";");
    }

    void ParseImports() {
        while (!reader_.Accept(";")) {
            Import import;
            do {
                import.symbols.push_back(ParseSymbol());
            } while (reader_.Accept(","));
            reader_.Expect("FROM");
            const Token& name = reader_.Take(TokenKind::kUpperName, "the name of a module");
            import.module = {name.text, name.at};
            if (reader_.Is("{")) ParseValue(reader_);
            module_.imports.push_back(std::move(import));
        }
    }

    void ParseBody() {
        while (!reader_.Accept("END")) {
            const std::size_t start = reader_.Index();
            try {
                ParseAssignment();
            } catch (const SyntaxError& error) {
                diagnostics_.Report(error.at, error.text);
                if (reader_.AtEnd()) return;
                Recover(start);
            }
        }
    }

    void ParseAssignment() {
        const Token& name = reader_.Peek();
        if (name.kind == TokenKind::kLowerName) return ParseValueAssignment();
        if (name.kind != TokenKind::kUpperName) reader_.Unexpected("an assignment or 'END'");
        if (reader_.Is("{", 1)) reader_.Refuse("parameterised types are not supported");
        if (reader_.Is("MACRO", 1)) reader_.Refuse("MACRO is not supported");
        reader_.Next();
        reader_.Expect("::=");
        module_.types.push_back({name.text, name.at, ParseType(reader_)});
    }

    void ParseValueAssignment() {
        const Token& name = reader_.Next();
        if (reader_.Is("{")) reader_.Refuse("parameterised values are not supported");
        Type type = ParseType(reader_);
        reader_.Expect("::=");
        module_.values.push_back({name.text, name.at, std::move(type), ParseValue(reader_)});
    }

    // To the next "Name ::=", or to the END of the module.
    void Recover(std::size_t start) {
        if (reader_.Index() <= start) reader_.Next();
        while (!reader_.AtEnd() && !reader_.Is("END") && !AtTypeAssignment()) reader_.Next();
    }

    // The type at the end of a value assignment's left side looks like one.
    [[nodiscard]] bool AtTypeAssignment() const {
        return reader_.Peek().kind == TokenKind::kUpperName && reader_.Is("::=", 1) &&
               !reader_.Is("MACRO") && !reader_.Is("INTEGER") && !reader_.Is("BOOLEAN") &&
               !reader_.Is("IDENTIFIER");
    }

    TokenReader& reader_;
    Diagnostics& diagnostics_;
    Module module_;
};

}  // namespace

std::vector<Module> Parse(std::string_view text, int file, Diagnostics& diagnostics) {
    const auto tokens =
        std::make_shared<const std::vector<Token>>(Tokenize(text, file, diagnostics));
    TokenReader reader(*tokens);
    std::vector<Module> modules;
    try {
        do {
            modules.push_back(ModuleParser(reader, diagnostics).Parse());
            modules.back().tokens = tokens;
        } while (!reader.AtEnd());
    } catch (const SyntaxError& error) {
        diagnostics.Report(error.at, error.text);
    }
    return modules;
}

}  // namespace asn1gen
