// The tables of the authority's pages.
#include "enroll/page_reader.h"

#include <certcli.h>

#include <algorithm>
#include <charconv>
#include <limits>

namespace kestrel {

namespace {

constexpr LONG kRevoked = 6;  // the documented disposition, which one of the headers lacks

// A page is gone over some six times when it is what it should be. Small ones may be anything.
constexpr std::size_t kMostPasses = 16;
constexpr std::size_t kAlwaysAllowed = std::size_t{1} << 20;

struct StatusWord {
    std::string_view word;
    LONG disposition;
};
// clang-format off
constexpr StatusWord kStatusWords[] = {
    {"\xC7\xE0\xE2\xE5\xF0\xF8\xE5\xED", CR_DISP_ISSUED},  // Завершен
    {"\xD3\xF1\xF2\xE0\xED\xEE\xE2\xE8\xF2\xFC", CR_DISP_ISSUED},  // Установить
    {"\xCE\xF2\xEA\xEB\xEE\xED\xE5\xED", CR_DISP_DENIED},  // Отклонен
    {"\xC2 \xEE\xE6\xE8\xE4\xE0\xED\xE8\xE8 \xEE\xE1\xF0\xE0\xE1\xEE\xF2\xEA\xE8", CR_DISP_UNDER_SUBMISSION},  // В ожидании обработки
    {"\xCE\xE1\xF0\xE0\xE1\xEE\xF2\xEA\xE0", CR_DISP_UNDER_SUBMISSION},  // Обработка
    {"\xCE\xF2\xEE\xE7\xE2\xE0\xED", kRevoked},  // Отозван
    {"\xCF\xF0\xE8\xEE\xF1\xF2\xE0\xED\xEE\xE2\xEB\xE5\xED", kRevoked},  // Приостановлен
    {"\xC7\xE0\xEF\xF0\xEE\xF8\xE5\xED \xEA \xEE\xF2\xE7\xFB\xE2\xF3", CR_DISP_ISSUED},  // Запрошен к отзыву
};
// clang-format on

// The tags of a row.
struct RowMarks {
    std::string_view cellOpen;
    std::string_view cellClose;
    std::string_view requestOpen;
};
constexpr RowMarks kUpperMarks = {"<TD class=\"View\">", "</TD>",
                                  "<INPUT TYPE=\"HIDDEN\" NAME=\"PKCS10\" VALUE=\""};
constexpr RowMarks kLowerMarks = {"<td class=\"View\">", "</td>",
                                  "<INPUT TYPE=\"hidden\" NAME=\"PKCS10\" VALUE=\""};
constexpr std::string_view kRequestClose = "\">";

class RowReader {
  public:
    RowReader(PageText& page, RowBounds bounds, bool lowerCase)
        : page_(page),
          bounds_(bounds),
          position_(bounds.start),
          marks_(lowerCase ? kLowerMarks : kUpperMarks),
          lowerCase_(lowerCase) {}

    bool Request(LONG& number, PageRow& row) {
        return (lowerCase_ || NumberCell(number)) && Cell(row.column2) && Cell(row.column3) &&
               Cell(row.column4) && State(row.status) &&
               (!lowerCase_ || Number("ID=\"frmPrintRequestPage", "\"", number)) &&
               StoredRequest(row.text);
    }

    bool Certificate(LONG& number, PageRow& row) {
        return Cell(row.text) && Cell(row.column2) && Cell(row.column3) && State(row.status) &&
               Number("ViewCert(", ")", number);
    }

  private:
    bool Cell(std::string& out) {
        return ExtractBetween(page_, position_, marks_.cellOpen, marks_.cellClose, out);
    }
    bool NumberCell(LONG& number) { return Number(marks_.cellOpen, marks_.cellClose, number); }
    bool Number(std::string_view open, std::string_view close, LONG& number) {
        std::string text;
        if (!ExtractBetween(page_, position_, open, close, text)) return false;
        number = LeadingNumber(text);
        return true;
    }
    // That of another row will not do: a row without one makes the page unreadable.
    bool StoredRequest(std::string& text) {
        position_ = page_.Find(marks_.requestOpen, position_);
        const bool own = position_ >= bounds_.start && position_ < bounds_.end;
        return own && ExtractBetween(page_, position_, marks_.requestOpen, kRequestClose, text);
    }
    // On the lower-case pages the word is a link's.
    bool State(LONG& status) {
        std::string cell;
        if (!Cell(cell)) return false;
        const std::size_t first = cell.find('>');
        const std::size_t last = cell.rfind('<');
        const bool link = lowerCase_ && first != kNotFound && last != kNotFound && first < last;
        if (link) cell = CleanCell(std::string_view(cell).substr(first + 1, last - first - 1));
        status = ClassifyStatus(cell);
        return true;
    }

    PageText& page_;
    RowBounds bounds_;
    std::size_t position_;
    const RowMarks& marks_;
    bool lowerCase_;
};

}  // namespace

std::size_t FindAfter(std::string_view text, std::string_view marker, std::size_t from) {
    const std::size_t found = text.find(marker, from);
    return found == kNotFound ? kNotFound : found + marker.size();
}

std::size_t FindFirstOf(std::string_view text, std::string_view set, std::size_t from) {
    return text.find_first_of(set, from);
}

std::string Without(std::string_view text, std::string_view part) {
    if (text.find(part) == kNotFound) return std::string(text);
    std::string kept;
    kept.reserve(text.size());
    for (const char byte : text) {
        kept += byte;
        if (byte == part.back() && kept.ends_with(part)) kept.resize(kept.size() - part.size());
    }
    return kept;
}

std::string CleanCell(std::string_view text) {
    std::string cell(text);
    for (const std::string_view part : {"<nobr>", "&nbsp;", "</nobr>", "&quot;"}) {
        cell = Without(cell, part);
    }
    constexpr std::string_view kSpace = " \t\r\n";
    const std::size_t first = cell.find_first_not_of(kSpace);
    if (first == kNotFound) return {};
    return cell.substr(first, cell.find_last_not_of(kSpace) - first + 1);
}

LONG LeadingNumber(std::string_view text) {
    LONG number = 0;
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    if (parsed.ec == std::errc::result_out_of_range) number = std::numeric_limits<LONG>::max();
    return number;
}

PageText::PageText(std::string_view text)
    : text_(text), left_(std::max(text.size() * kMostPasses, kAlwaysAllowed)) {}

bool PageText::Spend(std::size_t bytes) {
    if (bytes > left_) spent_ = true;
    left_ -= std::min(bytes, left_);
    return !spent_;
}

std::size_t PageText::Find(std::string_view marker, std::size_t from) {
    if (spent_ || from > text_.size()) return kNotFound;
    const std::size_t found = text_.find(marker, from);
    return Spend(std::min(found, text_.size()) - from) ? found : kNotFound;
}

bool ExtractBetween(PageText& page, std::size_t& position, std::string_view open,
                    std::string_view close, std::string& out) {
    // Where nothing is found, the sum wraps to one less than the marker's length.
    position = page.Find(open, position) + open.size();
    const std::size_t end = page.Find(close, position);
    if (end == kNotFound || !page.Spend(end - position)) return false;
    out = CleanCell(page.View().substr(position, end - position));
    return true;
}

LONG ClassifyStatus(std::string_view text) {
    const auto* const found = std::find_if(std::begin(kStatusWords), std::end(kStatusWords),
                                           [&](const StatusWord& row) { return row.word == text; });
    return found == std::end(kStatusWords) ? CR_DISP_ERROR : found->disposition;
}

// Tables of certificates and revocations stand on the lower-case pages alone.
bool ParseRow(PageText& page, RowBounds bounds, RowKind kind, bool lowerCase, LONG& number,
              PageRow& row) {
    if (kind != RowKind::Request && !lowerCase) return false;
    row.present = 1;
    number = 0;
    RowReader reader(page, bounds, lowerCase);
    switch (kind) {
        case RowKind::Certificate:
            return reader.Certificate(number, row);
        case RowKind::Request:
            return reader.Request(number, row);
        case RowKind::Revocation:
            return true;  // enroll-22: that there is one is all that counts
    }
    return false;
}

bool ParseTable(std::string_view text, const TableMarks& marks, PageList& list) {
    const std::size_t table = text.find(marks.table);
    if (table == kNotFound) return false;
    text.remove_prefix(table);
    text = text.substr(0, text.find("</table>"));
    text = text.substr(0, text.find("</TABLE>"));
    PageText page(text);
    const std::size_t head = page.Find(marks.row, 0);
    if (head == kNotFound) return marks.kind == RowKind::Revocation;
    list.clear();
    std::size_t start = page.Find(marks.row, head + marks.row.size());
    while (start != kNotFound) {
        const std::size_t next = page.Find(marks.row, start + marks.row.size());
        LONG number = 0;
        PageRow row;
        if (!ParseRow(page, {start, next}, marks.kind, marks.lowerCase, number, row)) return false;
        list[number] = std::move(row);
        start = next;
    }
    return !page.IsSpent();
}

}  // namespace kestrel
