// Lines with their indentation.
#include "asn1/asn1data/generator/writer.h"

#include <cctype>

namespace asn1gen {
namespace {

constexpr std::size_t kIndent = 4;
constexpr std::size_t kWidth = 96;

bool IsNamePart(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

}  // namespace

void Writer::Line(const std::string& text) {
    text_.append(static_cast<std::size_t>(depth_) * kIndent, ' ');
    text_ += text;
    text_ += '\n';
}

void Writer::Open(const std::string& text) {
    Line(text);
    ++depth_;
}

void Writer::Close(const std::string& text) {
    --depth_;
    if (!text.empty()) Line(text);
}

void Writer::Middle(const std::string& text) {
    Close(text);
    ++depth_;
}

void Writer::Comment(const std::string& text) {
    std::size_t start = 0;
    while (text.size() - start > kWidth) {
        std::size_t end = text.rfind(' ', start + kWidth);
        if (end == std::string::npos || end <= start) end = text.find(' ', start + kWidth);
        if (end == std::string::npos) break;
        Line((start == 0 ? "// " : "//   ") + text.substr(start, end - start));
        start = end + 1;
    }
    Line((start == 0 ? "// " : "//   ") + text.substr(start));
}

bool Writer::Mentions(const std::string& name) const {
    for (std::size_t at = text_.find(name); at != std::string::npos;
         at = text_.find(name, at + 1)) {
        const std::size_t end = at + name.size();
        const bool begins = at == 0 || (!IsNamePart(text_[at - 1]) && text_[at - 1] != '.');
        if (begins && (end == text_.size() || !IsNamePart(text_[end]))) return true;
    }
    return false;
}

}  // namespace asn1gen
