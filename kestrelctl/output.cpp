// Printing, escaping and listings.
#include "kestrelctl/output.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>

#include "kestrelctl/cli.h"
#include "kestrelctl/table.h"
#include "platform/base/process.h"
#include "platform/base/replace_file.h"
#include "platform/base/text.h"

namespace kestrelctl {
namespace {

constexpr char32_t kNoCharacter = 0xFFFFFFFF;

bool IsHidden(char32_t character) { return platform::IsHidden(static_cast<wchar_t>(character)); }

// How many bytes the character that begins with `lead` has, 0 for none (RFC 3629 3).
std::size_t LengthOf(unsigned char lead) {
    if (lead < 0x80) return 1;
    if (lead >= 0xC2 && lead < 0xE0) return 2;
    if (lead >= 0xE0 && lead < 0xF0) return 3;
    return lead >= 0xF0 && lead < 0xF5 ? 4 : 0;
}

struct Character {
    char32_t value = kNoCharacter;
    std::string_view bytes;
};

bool IsScalar(char32_t value, std::size_t length) {
    constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    return value >= kLeast[length] && value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
}

// The first character; one byte without a value where it is no UTF-8.
Character Next(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    const std::size_t length = LengthOf(lead);
    if (length == 1) return {lead, text.substr(0, 1)};
    if (length == 0 || text.size() < length) return {kNoCharacter, text.substr(0, 1)};
    char32_t value = lead & (0x7FU >> length);
    for (const char c : text.substr(1, length - 1)) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xC0) != 0x80) return {kNoCharacter, text.substr(0, 1)};
        value = value << 6 | (byte & 0x3F);
    }
    if (!IsScalar(value, length)) return {kNoCharacter, text.substr(0, 1)};
    return {value, text.substr(0, length)};
}

std::string Escape(const char* format, char32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, format, static_cast<unsigned>(value));
    return text;
}

std::string VisibleForm(const Character& character) {
    if (character.value == kNoCharacter) {
        return Escape("\\x%02x", static_cast<unsigned char>(character.bytes[0]));
    }
    if (!IsHidden(character.value)) return std::string(character.bytes);
    if (character.value >= 0x10000) return Escape("\\U%08x", character.value);
    return Escape(character.value < 0x80 ? "\\x%02x" : "\\u%04x", character.value);
}

std::string JsonForm(const Character& character) {
    if (character.value == kNoCharacter) return "\\ufffd";
    if (character.value == '"' || character.value == '\\') {
        return "\\" + std::string(character.bytes);
    }
    if (!IsHidden(character.value)) return std::string(character.bytes);
    if (character.value < 0x10000) return Escape("\\u%04x", character.value);
    const char32_t beyond = character.value - 0x10000;  // two surrogates (RFC 8259, 7)
    return Escape("\\u%04x", 0xD800 + (beyond >> 10)) +
           Escape("\\u%04x", 0xDC00 + (beyond & 0x3FF));
}

// How many bytes at the start are themselves in every form.
std::size_t PlainLength(std::string_view text) {
    const auto plain = [](char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; };
    return static_cast<std::size_t>(std::ranges::find_if_not(text, plain) - text.begin());
}

template <class Form>
std::string Rewrite(std::string_view text, Form form) {
    std::string out;
    out.reserve(text.size() + 2);
    while (!text.empty()) {
        const std::size_t plain = PlainLength(text);
        out += text.substr(0, plain);
        text.remove_prefix(plain);
        if (text.empty()) break;
        const Character character = Next(text);
        out += form(character);
        text.remove_prefix(character.bytes.size());
    }
    return out;
}

}  // namespace

std::string Visible(std::string_view text) { return Rewrite(text, VisibleForm); }

std::string JsonText(std::string_view text) { return '"' + Rewrite(text, JsonForm) + '"'; }

void Say(const std::string& line) { std::printf("%s\n", Visible(line).c_str()); }

void Complain(const std::string& line) { std::fprintf(stderr, "%s\n", Visible(line).c_str()); }

void FinishOutput() {
    if (!platform::OutputArrived()) throw Failure("cannot write the output");
}

void Listing::Print(bool json) const { json ? PrintJson() : PrintTable(); }

void Listing::PrintJson() const {
    std::printf("[");
    for (std::size_t row = 0; row < rows_.size(); ++row) {
        std::printf(row == 0 ? "\n  {" : ",\n  {");
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            std::printf("%s%s: %s", i == 0 ? "" : ", ", JsonText(columns_[i]).c_str(),
                        JsonText(rows_[row][i]).c_str());
        }
        std::printf("}");
    }
    std::printf(rows_.empty() ? "]\n" : "\n]\n");
}

void Listing::PrintTable() const {
    std::vector<std::vector<std::string>> lines = {columns_};
    for (const auto& row : rows_) {
        lines.emplace_back();
        for (const std::string& cell : row) lines.back().push_back(Visible(cell));
    }
    for (const std::string& line : TableLines(std::move(lines), spare_, TerminalWidth())) {
        std::printf("%s\n", line.c_str());
    }
}

ExportFile::ExportFile(std::string name, bool force) : name_(std::move(name)), force_(force) {
    std::error_code error;
    if (!force && std::filesystem::is_regular_file(name_, error)) {
        throw Failure("'" + name_ + "' exists; --force overwrites it");
    }
}

bool ExportFile::IsStream() const {
    std::error_code error;
    return name_ == "-" || (std::filesystem::exists(name_, error) &&
                            !std::filesystem::is_regular_file(name_, error));
}

void ExportFile::Write(platform::ByteView content, unsigned mode) const {
    using platform::IfExists;
    if (name_ != "-") {
        return platform::ReplaceFile(name_, content, mode,
                                     force_ ? IfExists::Replace : IfExists::Refuse);
    }
    std::fwrite(content.data(), 1, content.size(), stdout);
    FinishOutput();
}

std::string ExportFile::Target() const {
    return name_ == "-" ? "standard output" : "'" + name_ + "'";
}

void ExportFile::Report(const std::string& line) const { IsStream() ? Complain(line) : Say(line); }

}  // namespace kestrelctl
