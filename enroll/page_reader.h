// Reading the authority's pages for people. Each reader is a fixed row of text searches with
// fixed markers over the bytes of a page, which is in code page 1251.
#pragma once

#include <windows.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "enroll/page_row.h"

namespace kestrel {

inline constexpr std::size_t kNotFound = std::string_view::npos;

// The position just behind the next `marker` at or after `from`, or kNotFound.
std::size_t FindAfter(std::string_view text, std::string_view marker, std::size_t from);
// The position of the first byte of `set`, or kNotFound.
std::size_t FindFirstOf(std::string_view text, std::string_view set, std::size_t from);
inline constexpr std::string_view kBlanks = " \t";

// `text` without any `part`, also one that arises where another went.
std::string Without(std::string_view text, std::string_view part);
// Without <nobr> and the entities of blanks and quotes, and without blanks at the ends.
std::string CleanCell(std::string_view text);
// The number that the text begins with, or 0; what is too large is the largest.
LONG LeadingNumber(std::string_view text);

// A text, and how far reading it may still go: a multiple of its size. Searches that missing
// tags send over the whole page, once for each row, must end (enroll-20).
class PageText {
  public:
    explicit PageText(std::string_view text);

    [[nodiscard]] std::string_view View() const { return text_; }
    // kNotFound also when the reading has gone too far.
    std::size_t Find(std::string_view marker, std::size_t from);
    // Counts what is looked at besides. False when that was too much.
    bool Spend(std::size_t bytes);
    [[nodiscard]] bool IsSpent() const { return spent_; }

  private:
    std::string_view text_;
    std::size_t left_;
    bool spent_ = false;
};

// Moves behind the next `open` and takes, cleaned, what lies before the next `close`. False when
// there is no `close`. Without `open` the search for `close` begins near the text's start
// (enroll-21).
bool ExtractBetween(PageText& page, std::size_t& position, std::string_view open,
                    std::string_view close, std::string& out);

// The disposition that a word in the column of states tells.
LONG ClassifyStatus(std::string_view text);

// From a row's marker to the next, or kNotFound.
struct RowBounds {
    std::size_t start;
    std::size_t end;
};
// The row there, and its number. False when it lacks something.
bool ParseRow(PageText& page, RowBounds bounds, RowKind kind, bool lowerCase, LONG& number,
              PageRow& row);

// How a page's table is found and read. The token pages have tags in capitals.
struct TableMarks {
    std::string_view table;
    std::string_view row;
    RowKind kind;
    bool lowerCase;
};
// False, and any rows, for a page that cannot be read.
bool ParseTable(std::string_view text, const TableMarks& marks, PageList& list);

// Headings of the tables on a certificate user's page.
inline constexpr char kCertificateTable[] =
    "\xD1\xE5\xF0\xF2\xE8\xF4\xE8\xEA\xE0\xF2\xFB:";  // Сертификаты:
inline constexpr char kRequestTable[] =
    "\xC7\xE0\xEF\xF0\xEE\xF1\xFB \xED\xE0 \xF1\xE5\xF0\xF2\xE8\xF4\xE8\xEA\xE0\xF2\xFB";  // Запросы
                                                                                           // на
                                                                                           // сертификаты
inline constexpr char kRevocationTable[] =
    "\xC7\xE0\xEF\xF0\xEE\xF1\xFB \xED\xE0 \xEE\xF2\xE7\xFB\xE2:";  // Запросы на отзыв:

// Where the value of the next element of a script's array stands, or kNotFound: behind "name(..)=".
std::size_t FindArrayValue(std::string_view text, std::string_view name, std::size_t from);

// What the page of a new request offers. The three lists go together by position.
struct RequestForm {
    std::string dn;
    std::vector<std::string> templates;
    std::vector<std::string> usages;
    std::vector<std::string> keySpecs;
};
// False for another page.
bool ParseRequestForm(std::string_view page, RequestForm& form);

}  // namespace kestrel
