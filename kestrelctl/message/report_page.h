// Writing of HTML: what strangers named is escaped here, and nothing else writes it.
#pragma once

#include <string>
#include <string_view>

#include "kestrelctl/message/reasons.h"

namespace kestrelctl::message {

// For text and for values in quotation marks. Hidden characters stay visible as on a terminal.
std::string Html(std::string_view text);

// In a shape of its own for each verdict.
const char* SignOf(Verdict verdict);

// That sign, and the word.
std::string Badge(Verdict verdict, bool russian);

// The rows of a table of names and values.
class Rows {
  public:
    void Add(const char* name, std::string_view text);
    // `html` is markup already.
    void AddMarkup(const char* name, const std::string& html);
    [[nodiscard]] std::string Table() const { return "<table>" + rows_ + "</table>\n"; }

  private:
    std::string rows_;
};

// The head of the page with its style.
std::string PageStart(const std::string& title, bool russian);

}  // namespace kestrelctl::message
