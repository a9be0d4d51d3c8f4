// Lines of code with their indentation.
#pragma once

#include <string>

namespace asn1gen {

class Writer {
  public:
    explicit Writer(int depth = 0) : depth_(depth) {}

    void Line(const std::string& text);
    void Blank() { text_ += '\n'; }
    // A line behind which the indentation grows.
    void Open(const std::string& text);
    // Back by one, then the line unless it is empty.
    void Close(const std::string& text = "}");
    // Both: "} else {".
    void Middle(const std::string& text);
    // A comment, broken at blanks into lines of readable width.
    void Comment(const std::string& text);
    void Append(const Writer& other) { text_ += other.text_; }

    [[nodiscard]] const std::string& Text() const { return text_; }
    // Whether a name stands anywhere in the lines.
    [[nodiscard]] bool Mentions(const std::string& name) const;

  private:
    int depth_;
    std::string text_;
};

}  // namespace asn1gen
