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
    draft_ = platform::Draft::In(platform::FolderOf(name_));
}

void ContentFile::Write(platform::ByteView piece) {
    if (platform::WriteAll(draft_->Get(), piece)) return;
    // No fault of the message, whose own are of the platform's kind.
    throw Failure("cannot write '" + name_ + "': " + std::strerror(errno));
}

// A file that is there keeps its owner, rights and links.
void ContentFile::Keep() {
    const int file = draft_->Get();
    if (fchmod(file, draft_->OrdinaryMode()) != 0) platform::ThrowFileError(errno, name_);
    if (!IsThere(name_)) {
        if (!platform::SyncFile(file) || !draft_->RenameTo(name_)) {
            platform::ThrowFileError(errno, name_);
        }
        platform::SyncFolder(platform::FolderOf(name_));
        return;
    }
    if (!draft_->GiveName()) platform::ThrowFileError(errno, name_);
    try {
        platform::ReplaceByFile(name_, draft_->Name(), true);
    } catch (const platform::Error& error) {
        // It is the one whole copy then.
        if (error.Code() == ERROR_UNABLE_TO_MOVE_REPLACEMENT) draft_->Settle();
        throw;
    }
    draft_->Settle();
}

}  // namespace kestrelctl::message
