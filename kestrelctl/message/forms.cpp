// Which form a file has, and its text turned into octets.
#include "kestrelctl/message/forms.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "platform/base/error.h"
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

bool IsAmong(std::string_view word, std::initializer_list<std::string_view> words) {
    return std::ranges::find(words, word) != words.end();
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
    form_ = Form::Base64;
    base64_ = std::make_unique<platform::Base64Reader>();
    if (!wide_ && IsHeader(text)) {
        TakeMail(text);
    } else {
        TakeHead(text);
    }
    first_ = platform::ViewOf(text);
}

void MessageFile::TakeHead(std::string_view& text) {
    if (text.starts_with(kMark)) text.remove_prefix(kMark.size());
    text.remove_prefix(std::min(text.find_first_not_of(kBlank), text.size()));
    if (!text.starts_with(kArmourStart)) return;
    form_ = Form::Pem;
    const std::string_view line = TakeLine(text).substr(kArmourStart.size());
    label_ = std::string(line.substr(0, line.find(kArmourEnd)));
}

// Of `text` and as much behind it as is needed; `text` is what follows then.
MailHeader MessageFile::TakeHeader(std::string_view& text) {
    constexpr std::size_t kMostOfHeader = std::size_t{1} << 20;
    held_ = std::string(text);
    std::size_t size = HeaderSize(held_, 0);
    while (size == held_.npos && held_.size() <= kMostOfHeader) {
        const std::size_t line = held_.rfind('\n') + 1;
        const ByteView piece = file_.Next();
        if (piece.empty()) throw Error(CRYPT_E_STREAM_INSUFFICIENT_DATA);
        held_ += TextOf(piece);
        size = HeaderSize(held_, line);
    }
    if (size > kMostOfHeader) throw Error(CRYPT_E_BAD_ENCODE, kUnclearHeader.english);
    text = std::string_view(held_).substr(size);
    return ReadMailHeader(std::string_view(held_).substr(0, size));
}

// People are shown what is neither a message nor of two parts; it may hold anything.
void MessageFile::TakeMail(std::string_view& text) {
    form_ = Form::Mime;
    MailHeader header = TakeHeader(text);
    if (header.type == "multipart/signed") {
        header = TakeParts(header, text);
        if (header.type.empty()) header.type = "application/";
    }
    if (!header.type.starts_with("application/")) {
        throw Error(CRYPT_E_BAD_ENCODE, kNoMessagePart.english);
    }
    if (IsAmong(header.encoding, {"binary", "8bit"})) {
        base64_.reset();
    } else if (!IsAmong(header.encoding, {"", "7bit", "base64"})) {
        throw Error(CRYPT_E_BAD_ENCODE, kUnclearHeader.english);
    }
}

// The second part is an entity of its own, which may lie far behind: its header.
MailHeader MessageFile::TakeParts(const MailHeader& header, std::string_view& text) {
    const bool plain = IsAmong(header.encoding, {"", "7bit", "8bit", "binary"});  // RFC 2045 6.4
    if (header.boundary.empty() || !plain) {
        throw Error(CRYPT_E_BAD_ENCODE, kUnclearHeader.english);
    }
    const SignedParts parts = FindSignedParts(name_, header.boundary, file_.Taken() - text.size());
    content_ = parts.content;
    while (file_.Taken() <= parts.signature.begin) {
        text = TextOf(file_.Next());
        if (text.empty()) break;
    }
    const std::uint64_t start = file_.Taken() - text.size();
    const std::uint64_t skipped =
        std::min<std::uint64_t>(parts.signature.begin - start, text.size());
    text.remove_prefix(static_cast<std::size_t>(skipped));
    return TakeHeader(text);
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
