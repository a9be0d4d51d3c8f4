// Boundaries found, and line ends made canonical.
#include "kestrelctl/message/multipart.h"

#include <algorithm>
#include <vector>

#include "platform/base/error.h"
#include "platform/stores/piece_reader.h"

namespace kestrelctl::message {
namespace {

using platform::ByteView;

constexpr std::size_t kBoundaries = 3;  // around two parts

[[noreturn]] void NotTwoParts() { throw platform::Error(CRYPT_E_BAD_ENCODE, kNotTwoParts.english); }

// A line that is a boundary.
struct Mark {
    std::uint64_t begin;  // of the line break in front of it, which is its own
    std::uint64_t end;    // of the line
};

// Lines of any length: no more of one is held than a boundary has. Of a line that begins like a
// boundary everything is looked at: to some readers it is one whatever follows (RFC 2046 5.1.1).
class BoundaryScanner {
  public:
    BoundaryScanner(const std::string& boundary, std::uint64_t body)
        : wanted_("--" + boundary), position_(body), breakBegin_(body) {}
    void Feed(ByteView piece);
    void Finish();
    [[nodiscard]] const std::vector<Mark>& Marks() const { return marks_; }

  private:
    void Take(char octet);
    void EndLine();

    std::string wanted_;
    std::string line_;
    bool begun_ = false;   // the line begins like a boundary
    bool blanks_ = false;  // behind what is held
    std::uint64_t position_;
    std::uint64_t breakBegin_;  // of the line break in front of this line
    bool carriage_ = false;     // the octet before was CR
    bool halfBreak_ = false;    // the line in front ended with CR alone
    std::vector<Mark> marks_;
};

// To some readers CR alone ends a line, too.
void BoundaryScanner::Feed(ByteView piece) {
    for (const std::uint8_t octet : piece) {
        if (carriage_ && octet != '\n') {
            halfBreak_ = true;
            EndLine();
            halfBreak_ = true;  // of the next line, too
        }
        ++position_;
        if (octet == '\n') {
            EndLine();
            breakBegin_ = position_ - (carriage_ ? 2 : 1);
        } else if (octet != '\r') {
            Take(static_cast<char>(octet));
        }
        carriage_ = octet == '\r';
    }
}

void BoundaryScanner::Take(char octet) {
    if (line_.size() < wanted_.size()) {
        line_ += octet;
        begun_ = line_ == wanted_;
    } else if (begun_ && (octet == ' ' || octet == '\t')) {
        blanks_ = true;
    } else if (begun_ && blanks_) {
        NotTwoParts();
    } else if (begun_ && line_.size() < wanted_.size() + 3) {
        line_ += octet;
    }
}

// Two openings and a close, in that order.
void BoundaryScanner::EndLine() {
    if (begun_) {
        const bool last = marks_.size() == kBoundaries - 1;
        const bool fits = line_ == wanted_ + (last ? "--" : "");
        if (!fits || halfBreak_ || marks_.size() == kBoundaries) NotTwoParts();
        marks_.push_back({breakBegin_, position_});
    }
    line_.clear();
    begun_ = false;
    blanks_ = false;
    halfBreak_ = false;
}

void BoundaryScanner::Finish() {
    EndLine();
    if (marks_.size() != kBoundaries) NotTwoParts();
}

// The piece that lies in the range, of one that begins at `at`.
ByteView Within(ByteView piece, std::uint64_t at, const Range& range) {
    const std::uint64_t begin = std::clamp(range.begin, at, at + piece.size());
    const std::uint64_t end = std::clamp(range.end, begin, at + piece.size());
    return piece.subspan(static_cast<std::size_t>(begin - at),
                         static_cast<std::size_t>(end - begin));
}

}  // namespace

SignedParts FindSignedParts(const std::string& file, const std::string& boundary,
                            std::uint64_t body) {
    platform::PieceReader pieces(file);
    BoundaryScanner scanner(boundary, body);
    for (ByteView piece = pieces.Next(); !piece.empty(); piece = pieces.Next()) {
        scanner.Feed(Within(piece, pieces.Taken() - piece.size(), {body, pieces.Taken()}));
    }
    scanner.Finish();
    const auto& marks = scanner.Marks();
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
