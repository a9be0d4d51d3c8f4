// The layout of tables: columns by what their cells need, long cells in several lines.
#include "kestrelctl/table.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <numeric>
#include <string_view>

#include "kestrelctl/columns.h"

namespace kestrelctl {
namespace {

using TableRow = std::vector<std::string>;
using TableRows = std::vector<TableRow>;
using Widths = std::vector<std::size_t>;

constexpr std::size_t kUsualWidth = 80;
constexpr std::size_t kColumnGap = 2;
// No column gets narrower than this, nor than its words, of which a time is the longest that stays
// whole.
constexpr std::size_t kLeastColumn = 12;
constexpr std::size_t kLongestWhole = 20;

// For each column the greatest of what `measure` tells of its cells.
template <class Measure>
Widths Greatest(const TableRows& rows, Measure measure) {
    Widths widths(rows.front().size());
    for (const TableRow& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], measure(row[i]));
        }
    }
    return widths;
}

std::size_t LeastWidthOf(std::string_view text) {
    std::size_t least = std::min(ColumnsOf(text), kLeastColumn);
    for (std::size_t end = 0; !text.empty(); text.remove_prefix(std::min(end + 1, text.size()))) {
        end = std::min(text.find(' '), text.size());
        least = std::max(least, std::min(ColumnsOf(text.substr(0, end)), kLongestWhole));
    }
    return least;
}

std::size_t Sum(const Widths& widths) {
    return std::accumulate(widths.begin(), widths.end(), kColumnGap * (widths.size() - 1));
}

// The widest columns get narrower until all fit. Empty when that would break too much.
Widths FittingWidths(const TableRows& rows, std::size_t width) {
    Widths widths = Greatest(rows, [](const std::string& cell) { return ColumnsOf(cell); });
    if (width == kNoWidth) return widths;
    const Widths least = Greatest(rows, LeastWidthOf);
    for (std::size_t sum = Sum(widths); sum > width; --sum) {
        std::size_t* widest = nullptr;
        for (std::size_t i = 0; i < widths.size(); ++i) {
            const bool wider = widest == nullptr || widths[i] > *widest;
            if (widths[i] > least[i] && wider) widest = &widths[i];
        }
        if (widest == nullptr) return {};
        --*widest;
    }
    return widths;
}

void DropColumn(TableRows& rows, const std::string& name) {
    const auto column = std::ranges::find(rows.front(), name) - rows.front().begin();
    for (TableRow& row : rows) row.erase(row.begin() + column);
}

// ---- cells of several lines ------------------------------------------------------

// What fits, up to a blank where there is one in its second half.
std::string TakePiece(std::string_view& text, std::size_t width) {
    std::size_t end = BytesWithin(text, width);
    if (end < text.size()) {
        const std::size_t blank = text.substr(0, end + 1).rfind(' ');
        if (blank != text.npos && blank >= end / 2) end = blank;
    }
    const std::string piece(text.substr(0, end));
    text.remove_prefix(end);
    while (text.starts_with(' ')) text.remove_prefix(1);
    return piece;
}

std::vector<std::string> Pieces(std::string_view text, std::size_t width) {
    std::vector<std::string> pieces;
    do {
        pieces.push_back(TakePiece(text, width));
    } while (!text.empty());
    return pieces;
}

void AppendRow(std::vector<std::string>& lines, const TableRow& row, const Widths& widths) {
    const std::size_t first = lines.size();
    std::size_t left = 0;
    for (std::size_t i = 0; i < row.size(); ++i) {
        const auto pieces = Pieces(row[i], std::max<std::size_t>(widths[i], 1));
        if (lines.size() < first + pieces.size()) lines.resize(first + pieces.size());
        for (std::size_t at = 0; at < pieces.size(); ++at) {
            std::string& line = lines[first + at];
            if (pieces[at].empty()) continue;
            line.append(left - ColumnsOf(line), ' ').append(pieces[at]);
        }
        left += widths[i] + kColumnGap;
    }
}

// ---- a line for each value --------------------------------------------------------

std::vector<std::string> Records(const TableRows& rows, std::size_t width) {
    const TableRow& head = rows.front();
    std::size_t column = 0;
    for (const std::string& name : head) column = std::max(column, ColumnsOf(name) + kColumnGap);
    const Widths widths = {column - kColumnGap, std::max(width, column + kLeastColumn) - column};
    std::vector<std::string> lines;
    for (std::size_t row = 1; row < rows.size(); ++row) {
        if (row > 1) lines.emplace_back();
        for (std::size_t i = 0; i < head.size(); ++i) {
            if (!rows[row][i].empty()) AppendRow(lines, {head[i], rows[row][i]}, widths);
        }
    }
    return lines;
}

}  // namespace

std::vector<std::string> WrappedLines(std::string_view text, std::size_t width) {
    if (width == kNoWidth) return {std::string(text)};
    return Pieces(text, width);
}

std::size_t TerminalWidth() {
    if (isatty(STDOUT_FILENO) == 0) return kNoWidth;
    winsize size{};
    const bool told = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
    return told ? size.ws_col : kUsualWidth;
}

std::vector<std::string> TableLines(TableRows rows, const std::vector<std::string>& spare,
                                    std::size_t width) {
    const TableRows whole = rows;
    std::string missing;
    Widths widths = FittingWidths(rows, width);
    for (const std::string& name : spare) {
        if (!widths.empty()) break;
        missing += (missing.empty() ? "" : ", ") + name;
        DropColumn(rows, name);
        widths = FittingWidths(rows, width);
    }
    if (widths.empty()) return Records(whole, width);
    std::vector<std::string> lines;
    for (const TableRow& row : rows) AppendRow(lines, row, widths);
    if (!missing.empty()) lines.push_back("(no room for: " + missing + ")");
    return lines;
}

}  // namespace kestrelctl
