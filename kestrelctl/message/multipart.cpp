// Boundaries found, and line ends made canonical.
#include "kestrelctl/message/multipart.h"

#include <algorithm>
#include <vector>

#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/der/der.h"
#include "platform/stores/piece_reader.h"

namespace kestrelctl::message {
namespace {

using platform::ByteView;

constexpr std::size_t kBoundaries = 3;  // around two parts

// A line that is a boundary.
struct Mark {
    std::uint64_t begin;  // of the line break in front of it, which is its own
    std::uint64_t end;    // of the line
};

// Lines of any length: no more of one is held than a boundary has.
class BoundaryScanner {
  public:
    explicit BoundaryScanner(const std::string& boundary) : wanted_("--" + boundary) {}
    void Feed(ByteView piece);
    void Finish() { EndLine(); }
    [[nodiscard]] const std::vector<Mark>& Marks() const { return marks_; }

  private:
    void EndLine();
    [[nodiscard]] bool IsBoundary() const;

    std::string wanted_;
    std::string line_;
    std::uint64_t position_ = 0;
    std::uint64_t breakBegin_ = 0;  // of the line break in front of this line
    bool carriage_ = false;         // the octet before was CR
    std::vector<Mark> marks_;
};

void BoundaryScanner::Feed(ByteView piece) {
    for (const std::uint8_t octet : piece) {
        ++position_;
        if (octet == '\n') {
            EndLine();
            breakBegin_ = position_ - (carriage_ ? 2 : 1);
        } else if (line_.size() < wanted_.size() + 4) {
            line_ += static_cast<char>(octet);
        }
        carriage_ = octet == '\r';
    }
}

bool BoundaryScanner::IsBoundary() const {
    if (!line_.starts_with(wanted_)) return false;
    std::string_view rest = std::string_view(line_).substr(wanted_.size());
    if (rest.starts_with("--")) rest.remove_prefix(2);
    return rest.find_first_not_of(" \t\r") == rest.npos;
}

void BoundaryScanner::EndLine() {
    if (IsBoundary()) {
        if (marks_.size() == kBoundaries)
            throw platform::Error(CRYPT_E_BAD_ENCODE, kNotTwoParts.english);
        marks_.push_back({breakBegin_, position_});
    }
    line_.clear();
}

// The piece that lies in the range, of one that begins at `at`.
ByteView Within(ByteView piece, std::uint64_t at, const Range& range) {
    const std::uint64_t begin = std::clamp(range.begin, at, at + piece.size());
    const std::uint64_t end = std::clamp(range.end, begin, at + piece.size());
    return piece.subspan(static_cast<std::size_t>(begin - at),
                         static_cast<std::size_t>(end - begin));
}

}  // namespace

std::string BoundaryOf(std::string_view field) {
    constexpr std::string_view kName = "boundary=";
    for (; field.size() > kName.size(); field.remove_prefix(1)) {
        if (!platform::SameName(field.substr(0, kName.size()), kName)) continue;
        field.remove_prefix(kName.size());
        if (!field.starts_with('"'))
            return std::string(field.substr(0, field.find_first_of("; \t")));
        field.remove_prefix(1);
        return std::string(field.substr(0, field.find('"')));
    }
    return {};
}

SignedParts FindSignedParts(const std::string& file, const std::string& boundary) {
    platform::PieceReader pieces(file);
    BoundaryScanner scanner(boundary);
    for (ByteView piece = pieces.Next(); !piece.empty(); piece = pieces.Next()) scanner.Feed(piece);
    scanner.Finish();
    const auto& marks = scanner.Marks();
    if (boundary.empty() || marks.size() != kBoundaries) {
        throw platform::Error(CRYPT_E_BAD_ENCODE, kNotTwoParts.english);
    }
    return {{marks[0].end, std::max(marks[0].end, marks[1].begin)},
            {marks[1].end, std::max(marks[1].end, marks[2].begin)}};
}

void FeedCanonical(const std::string& file, const Range& range,
                   const std::function<void(ByteView)>& sink) {
    platform::PieceReader pieces(file);
    bool carriage = false;
    platform::Bytes lines;
    for (ByteView whole = pieces.Next(); !whole.empty(); whole = pieces.Next()) {
        lines.clear();
        for (const std::uint8_t octet : Within(whole, pieces.Taken() - whole.size(), range)) {
            if (octet == '\n' && !carriage) lines.push_back('\r');
            carriage = octet == '\r';
            lines.push_back(octet);
        }
        if (!lines.empty()) sink(lines);
    }
}

}  // namespace kestrelctl::message
