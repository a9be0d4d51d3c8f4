// The verified content of a message.
#include "kestrelctl/message/content_file.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "kestrelctl/cli.h"
#include "platform/base/descriptor.h"
#include "platform/base/error.h"
#include "platform/base/file_name.h"
#include "platform/base/replace_file.h"

namespace kestrelctl::message {
namespace {

constexpr std::size_t kBufferSize = std::size_t{16} << 10;

bool IsThere(const std::string& name) {
    std::error_code error;
    return std::filesystem::exists(name, error);
}

}  // namespace

ContentFile::ContentFile(std::string name) : name_(std::move(name)) {
    std::error_code error;
    if (IsThere(name_) && !std::filesystem::is_regular_file(name_, error)) {
        throw Failure("'" + name_ + "' is no file that could wait for the verdict");
    }
    place_ = platform::BehindLinks(name_);
    draft_ = platform::Draft::In(platform::FolderOf(place_));
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
    const int file = draft_->Get();
    if (!platform::WritesArrived(file) || fchmod(file, draft_->OrdinaryMode()) != 0) {
        platform::ThrowFileError(errno, name_);
    }
    if (!IsThere(place_)) {
        if (!draft_->RenameTo(place_)) platform::ThrowFileError(errno, name_);
        return;
    }
    if (!draft_->GiveName()) platform::ThrowFileError(errno, name_);
    try {
        platform::ReplaceByFile(place_, draft_->Name(), false);
    } catch (const platform::Error& error) {
        // It is the one whole copy then.
        if (error.Code() == ERROR_UNABLE_TO_MOVE_REPLACEMENT) draft_->Settle();
        throw;
    }
    draft_->Settle();
}

}  // namespace kestrelctl::message
