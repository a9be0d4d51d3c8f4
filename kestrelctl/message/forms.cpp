// Which form a file has, and its text turned into octets.
#include "kestrelctl/message/forms.h"

#include <algorithm>
#include <utility>

#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/der/der.h"

namespace kestrelctl::message {
namespace {

using platform::ByteView;
using platform::Error;

constexpr std::string_view kArmourStart = "-----BEGIN ";
constexpr std::string_view kArmourEnd = "-----";
constexpr std::string_view kMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlank = " \t\r\n";

std::string_view TextOf(ByteView view) {
    return {reinterpret_cast<const char*>(view.data()), view.size()};
}

// A line without its end; `text` goes on behind it.
std::string_view TakeLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == text.npos ? text.size() : end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
}

// RFC 5322 2.2: a name without blanks, and a colon. BASE64 has no colon.
bool IsHeader(std::string_view text) {
    const std::string_view line = TakeLine(text);
    const std::size_t colon = line.find(':');
    return colon != line.npos && colon != 0 && line.find(' ') > colon;
}

bool StartsFolded(std::string_view text, std::string_view start) {
    return platform::SameName(text.substr(0, start.size()), start);
}

bool Contains(std::string_view text, std::string_view part) {
    for (; text.size() >= part.size(); text.remove_prefix(1)) {
        if (StartsFolded(text, part)) return true;
    }
    return false;
}

}  // namespace

const char* NameOf(Form form) {
    constexpr const char* kNames[] = {"DER", "BASE64", "PEM", "S/MIME"};
    return kNames[static_cast<std::size_t>(form)];
}

MessageFile::MessageFile(const std::string& name) : name_(name), file_(name) {
    first_ = file_.Next();
    if (first_.empty() || first_[0] == platform::der::kSequence) return;
    wide_ = WideText::Told(first_);
    if (wide_) first_ = wide_->Narrow(first_);
    std::string_view text = TextOf(first_);
    if (text.starts_with(kMark)) text.remove_prefix(kMark.size());
    text.remove_prefix(std::min(text.find_first_not_of(kBlank), text.size()));
    form_ = Form::Base64;
    base64_ = std::make_unique<platform::Base64Reader>();
    TakeHead(text);
    first_ = platform::ViewOf(text);
}

void MessageFile::TakeHead(std::string_view& text) {
    if (!wide_ && IsHeader(text)) return TakeHeaders(text);
    if (!text.starts_with(kArmourStart)) return;
    form_ = Form::Pem;
    const std::string_view line = TakeLine(text).substr(kArmourStart.size());
    label_ = std::string(line.substr(0, line.find(kArmourEnd)));
}

// The header ends with an empty line; a line that begins with a blank continues the one before.
void MessageFile::TakeHeaders(std::string_view& text) {
    form_ = Form::Mime;
    bool binary = false;
    std::string field;
    std::string boundary;
    while (!text.empty()) {
        const std::string_view line = TakeLine(text);
        const bool goesOn = line.starts_with(' ') || line.starts_with('\t');
        field = goesOn ? field + std::string(line) : std::string(line);
        if (line.empty()) break;
        if (StartsFolded(field, "Content-Type:") && Contains(field, "multipart/signed")) {
            boundary = BoundaryOf(field);
        }
        binary = binary || (StartsFolded(field, "Content-Transfer-Encoding:") &&
                            (Contains(field, "binary") || Contains(field, "8bit")));
    }
    if (!boundary.empty() && !content_) return TakeParts(boundary, text);
    if (binary) base64_.reset();
}

// The second part is an entity of its own, which may lie far behind.
void MessageFile::TakeParts(const std::string& boundary, std::string_view& text) {
    const SignedParts parts = FindSignedParts(name_, boundary);
    content_ = parts.content;
    while (file_.Taken() <= parts.signature.begin && !first_.empty()) first_ = file_.Next();
    const std::uint64_t start = file_.Taken() - first_.size();
    const std::uint64_t skipped =
        std::min<std::uint64_t>(parts.signature.begin - start, first_.size());
    text = TextOf(first_.subspan(static_cast<std::size_t>(skipped)));
    TakeHeaders(text);
}

void MessageFile::TakeTail(std::string_view text) {
    constexpr std::size_t kMostTail = 4'096;
    // One search for each is many times as fast as one for both.
    if (tail_.empty()) text.remove_prefix(std::min({text.find('='), text.find('-'), text.size()}));
    if (tail_.size() + text.size() > kMostTail)
        throw Error(CRYPT_E_BAD_ENCODE, kTextBehind.english);
    tail_ += text;
}

// One reader would take another message out of it than the next.
void MessageFile::CheckTail() const {
    std::string_view tail = tail_;
    tail.remove_prefix(std::min(tail.find_first_not_of("= \t\r\n"), tail.size()));
    tail = tail.substr(0, tail.find_last_not_of(kBlank) + 1);
    const std::string wanted = form_ == Form::Pem ? "-----END " + label_ + "-----" : std::string();
    if (tail == wanted) return;
    if (wanted.starts_with(tail)) throw Error(CRYPT_E_STREAM_INSUFFICIENT_DATA);
    throw Error(CRYPT_E_BAD_ENCODE, kTextBehind.english);
}

ByteView MessageFile::NextPiece() {
    ByteView piece = file_.Next();
    if (!wide_) return piece;
    for (; !piece.empty(); piece = file_.Next()) {
        const ByteView narrow = wide_->Narrow(piece);
        if (!narrow.empty()) return narrow;
    }
    wide_->Finish();
    return {};
}

ByteView MessageFile::AsText(ByteView piece) {
    if (!base64_) return piece;
    if (form_ != Form::Mime) TakeTail(TextOf(piece));
    decoded_ = base64_->Feed(piece);
    return decoded_;
}

ByteView MessageFile::Next() {
    while (!ended_) {
        const bool first = !std::exchange(started_, true);
        const ByteView piece = first ? first_ : NextPiece();
        if (piece.empty() && !first) {
            ended_ = true;
            if (base64_) base64_->Finish();
            if (form_ == Form::Pem || form_ == Form::Base64) CheckTail();
            break;
        }
        const ByteView octets = AsText(piece);
        if (!octets.empty()) return octets;
    }
    return {};
}

}  // namespace kestrelctl::message
