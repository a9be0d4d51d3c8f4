// Where something stands in a schema, and what is wrong there.
#pragma once

#include <string>
#include <vector>

namespace asn1gen {

// Lines and columns count from 1; a column is a byte.
struct Position {
    int file = 0;  // index in the list of inputs
    int line = 1;
    int column = 1;
};

// A fault that ends the reading of one assignment.
struct SyntaxError {
    Position at;
    std::string text;
};

// Faults in the order of the input. The list is cut when it has become long: what follows a
// hundred faults helps nobody.
class Diagnostics {
  public:
    void Report(const Position& at, std::string text);
    [[nodiscard]] bool Empty() const { return faults_.empty(); }
    // One line a fault: "file:line:column: text".
    [[nodiscard]] std::string Format(const std::vector<std::string>& fileNames) const;

  private:
    std::vector<SyntaxError> faults_;
};

}  // namespace asn1gen
