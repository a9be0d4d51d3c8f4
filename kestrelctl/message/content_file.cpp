// The verified content of a message.
#include "kestrelctl/message/content_file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "kestrelctl/bundle_file.h"
#include "kestrelctl/cli.h"
#include "platform/base/descriptor.h"
#include "platform/base/error.h"
#include "platform/base/file_name.h"
#include "platform/base/replace_file.h"

namespace kestrelctl::message {
namespace {

constexpr std::size_t kBufferSize = std::size_t{16} << 10;

}  // namespace

ContentFile::ContentFile(std::string name) : name_(std::move(name)) {
    std::error_code error;
    if (Exists(name_) && !std::filesystem::is_regular_file(name_, error)) {
        throw Failure("'" + name_ + "' is no file that could wait for the verdict");
    }
    try {
        place_ = platform::BehindLinks(name_);
        draft_ = platform::Draft::In(platform::FolderOf(place_));
    } catch (const platform::Error& error) {
        throw platform::Error(error.Code(), name_);  // nobody knows the draft's name
    }
    buffer_.reserve(kBufferSize);
}

// No fault of the message, whose own are of the platform's kind.
void ContentFile::Put(platform::ByteView octets) {
    if (platform::WriteAll(draft_->Get(), octets)) return;
    throw Failure("cannot write '" + name_ + "': " + std::strerror(errno));
}

void ContentFile::Flush() {
    Put(buffer_);
    buffer_.clear();
}

// Content in pieces of a few octets is written in larger ones.
void ContentFile::Write(platform::ByteView piece) {
    if (buffer_.size() + piece.size() > kBufferSize) Flush();
    if (piece.size() > kBufferSize) return Put(piece);
    buffer_.insert(buffer_.end(), piece.begin(), piece.end());
}

// A file that is there keeps its owner, rights and links. Nobody waits for the disk: whoever has
// the message has the content.
void ContentFile::Keep() {
    Flush();
    const bool arrived = platform::WritesArrived(draft_->Get());
    if (!arrived || (!Exists(place_) && !draft_->Widen())) platform::ThrowFileError(errno, name_);
    platform::ReplaceByDraft(place_, *draft_, false);
}

}  // namespace kestrelctl::message
