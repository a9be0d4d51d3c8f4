// The reader of settings files.
//
//   file     = header *( blank | comment | key | value )
//   key      = "[" path "]" | "[-" path "]"
//   value    = ( quoted | "@" ) "=" ( "-" | quoted | "dword:" hex | hexType bytes )
//   hexType  = "hex:" | "hex(" number "):"
//   bytes    = one or two hex digits each, separated by ","; a "\" at a line's end continues it
//
// Quoted text has the escapes \\ and \" and may run over line ends, as exports write it.
#include <algorithm>
#include <charconv>

#include "platform/base/error.h"
#include "platform/base/language.h"
#include "platform/base/text.h"
#include "platform/registry/document.h"
#include "platform/registry/utf16.h"

namespace platform {
namespace {

constexpr std::string_view kHeader = "Windows Registry Editor Version 5.00";
constexpr std::string_view kRoots[] = {"HKEY_CURRENT_USER", "HKEY_LOCAL_MACHINE",
                                       "HKEY_CLASSES_ROOT", "HKEY_USERS", "HKEY_CURRENT_CONFIG"};

// As deep as a registry's keys may lie; each level is a call where a tree is walked.
constexpr std::ptrdiff_t kMostLevels = 512;

[[noreturn]] void Damaged(const std::string& fileName, std::size_t line,
                          const std::string& fault = {}) {
    throw Error(ERROR_BADDB, fileName + ", line " + std::to_string(line) + fault);
}

std::size_t LinesIn(std::string_view text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

// ---- encodings -----------------------------------------------------------------

bool StartsWith(ByteView content, ByteView mark) {
    return content.size() >= mark.size() && Equal(content.first(mark.size()), mark);
}

std::string FromWide(ByteView content, bool bigEndian, const std::string& fileName) {
    Bytes little = Copy(content);
    for (std::size_t i = 0; bigEndian && i + 1 < little.size(); i += 2) {
        std::swap(little[i], little[i + 1]);
    }
    std::string text;
    for (const wchar_t character : FromUtf16(little)) {
        if (IsSurrogate(character)) Damaged(fileName, 1 + LinesIn(text));
        AppendUtf8(text, character);
    }
    if (content.size() % 2 != 0) Damaged(fileName, 1 + LinesIn(text));
    return text;
}

std::string FromNarrow(ByteView content, const std::string& fileName) {
    const std::string_view text(reinterpret_cast<const char*>(content.data()), content.size());
    std::size_t line = 1;
    for (std::string_view rest = text; !rest.empty();) {
        const wchar_t character = TakeCharacter(rest);
        if (IsSurrogate(character)) Damaged(fileName, line);
        if (character == L'\n') ++line;
    }
    return std::string(text);
}

std::string Decode(ByteView content, const std::string& fileName) {
    static constexpr std::uint8_t utf8[] = {0xEF, 0xBB, 0xBF};
    static constexpr std::uint8_t little[] = {0xFF, 0xFE};
    static constexpr std::uint8_t big[] = {0xFE, 0xFF};
    if (StartsWith(content, little)) return FromWide(content.subspan(2), false, fileName);
    if (StartsWith(content, big)) return FromWide(content.subspan(2), true, fileName);
    return FromNarrow(StartsWith(content, utf8) ? content.subspan(3) : content, fileName);
}

// ---- statements ----------------------------------------------------------------

class Parser {
  public:
    Parser(std::string_view text, const std::string& fileName) : rest_(text), fileName_(fileName) {}

    std::vector<RegistryEdit> Run() {
        if (!Take(kHeader)) Fail();
        EndOfStatement();
        while (!rest_.empty()) {
            SkipBlanks();
            Statement();
            EndOfStatement();
        }
        return std::move(edits_);
    }

  private:
    void Statement() {
        switch (Peek()) {
            case '\r':
            case '\n':
            case '\0':
            case ';':
                return;
            case '[':
                return Key();
            case '"':
                return Value(Quoted());
            case '@':
                rest_.remove_prefix(1);
                return Value({});
            default:
                Fail();
        }
    }

    // Key names may hold "]": the last one of the line ends the path.
    void Key() {
        const std::string_view line = Line();
        const std::size_t end = line.rfind(']');
        if (end == std::string_view::npos) Fail();
        std::string_view path = line.substr(1, end - 1);
        const bool deletes = path.starts_with('-');
        if (deletes) path.remove_prefix(1);
        CheckPath(path);
        rest_.remove_prefix(end + 1);
        edits_.push_back(
            {deletes ? RegistryEdit::Action::DeleteKey : RegistryEdit::Action::CreateKey,
             std::string(path),
             {}});
        key_ = deletes ? std::string() : std::string(path);
    }

    void CheckPath(std::string_view path) const {
        const std::string_view root = path.substr(0, path.find('\\'));
        const bool known = std::any_of(std::begin(kRoots), std::end(kRoots),
                                       [&](std::string_view name) { return SameName(name, root); });
        if (!known || path.ends_with('\\') || path.find("\\\\") != std::string_view::npos) Fail();
        if (std::ranges::count(path, '\\') <= kMostLevels) return;
        Damaged(fileName_, line_,
                RussianUser() ? ": ключ глубже 512 уровней" : ": a key deeper than 512 levels");
    }

    void Value(std::string name) {
        if (key_.empty()) Fail();
        SkipBlanks();
        if (!Take("=")) Fail();
        SkipBlanks();
        RegistryEdit edit{RegistryEdit::Action::SetValue, key_, {std::move(name), REG_NONE, {}}};
        if (Take("-")) {
            edit.action = RegistryEdit::Action::DeleteValue;
        } else {
            Data(edit.value);
        }
        edits_.push_back(std::move(edit));
    }

    void Data(RegistryValue& value) {
        if (Peek() == '"') {
            value = TextValue(std::move(value.name), Quoted());
        } else if (Take("dword:")) {
            value = NumberValue(std::move(value.name), Hexadecimal(8));
        } else if (Take("hex:")) {
            value.type = REG_BINARY;
            value.data = ByteList();
        } else if (Take("hex(")) {
            value.type = Hexadecimal(8);
            if (!Take("):")) Fail();
            value.data = ByteList();
        } else {
            Fail();
        }
    }

    std::string Quoted() {
        const std::size_t started = line_;
        rest_.remove_prefix(1);
        std::string text;
        for (;;) {
            if (rest_.empty() || Peek() == '\0') Damaged(fileName_, started);
            if (Take("\"")) return text;
            if (rest_.starts_with("\\\\") || rest_.starts_with("\\\"")) rest_.remove_prefix(1);
            if (Peek() == '\n') ++line_;
            text += Peek();
            rest_.remove_prefix(1);
        }
    }

    DWORD Hexadecimal(std::size_t most) {
        DWORD number = 0;
        const std::string_view digits = rest_.substr(0, most);
        const auto [end, error] =
            std::from_chars(digits.data(), digits.data() + digits.size(), number, 16);
        if (error != std::errc()) Fail();
        rest_.remove_prefix(static_cast<std::size_t>(end - digits.data()));
        return number;
    }

    Bytes ByteList() {
        Bytes bytes;
        SkipContinuation();
        if (AtEnd()) return bytes;
        do {
            SkipContinuation();
            bytes.push_back(static_cast<std::uint8_t>(Hexadecimal(2)));
            SkipContinuation();
        } while (Take(","));
        return bytes;
    }

    void SkipContinuation() {
        SkipBlanks();
        while (Take("\\")) {
            SkipBlanks();
            if (!NextLine()) Fail();
            SkipBlanks();
        }
    }

    void EndOfStatement() {
        SkipBlanks();
        if (!AtEnd()) Fail();
        rest_.remove_prefix(Line().size());
        NextLine();
    }

    // ---- the text ahead ----

    [[nodiscard]] bool AtEnd() const { return rest_.empty() || Peek() == ';' || Line().empty(); }

    [[nodiscard]] char Peek() const { return rest_.empty() ? '\0' : rest_.front(); }

    // Up to the line end, which is LF or CR LF.
    [[nodiscard]] std::string_view Line() const {
        std::string_view line = rest_.substr(0, rest_.find('\n'));
        if (line.ends_with('\r')) line.remove_suffix(1);
        return line;
    }

    bool Take(std::string_view word) {
        if (!rest_.starts_with(word)) return false;
        rest_.remove_prefix(word.size());
        return true;
    }

    void SkipBlanks() {
        while (Peek() == ' ' || Peek() == '\t') rest_.remove_prefix(1);
    }

    bool NextLine() {
        Take("\r");
        if (!Take("\n")) return false;
        ++line_;
        return true;
    }

    [[noreturn]] void Fail() const { Damaged(fileName_, line_); }

    std::string_view rest_;
    const std::string& fileName_;
    std::size_t line_ = 1;
    std::string key_;
    std::vector<RegistryEdit> edits_;
};

}  // namespace

RegistryDocument RegistryDocument::Parse(ByteView content, const std::string& fileName) {
    const std::string text = Decode(content, fileName);
    RegistryDocument document;
    document.edits_ = Parser(text, fileName).Run();
    return document;
}

}  // namespace platform
