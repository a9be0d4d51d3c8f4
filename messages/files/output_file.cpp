// Where a streaming command puts what it makes.
#include "messages/files/output_file.h"

#include <io.h>
#include <share.h>

#include <cerrno>
#include <new>

#include "messages/files/files.h"

namespace kestrel {
namespace {

// What a stream hands out in small pieces is written in larger ones.
constexpr std::size_t kBufferSize = 0x4000;

// A link to what a process has open counts as no plain file.
bool IsPlain(const char* name) {
    constexpr DWORD kOthers =
        FILE_ATTRIBUTE_DEVICE | FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    const DWORD attributes = GetFileAttributesA(name);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & kOthers) == 0;
}

// One that may not be read may hold anything.
bool IsEmpty(const char* name) {
    const FileHolder file = OpenToRead(name);
    return file && _filelengthi64(_fileno(file.get())) == 0;
}

// Pipes and devices count as empty; a disk has its length for good.
bool EmptyFile(FILE* file) {
    const int descriptor = _fileno(file);
    if (_filelengthi64(descriptor) <= 0) return true;
    const int error = _chsize_s(descriptor, 0);
    return error == 0 || error == EINVAL;
}

}  // namespace

// Appending is the one mode that makes a file and does not empty one.
OutputHolder OutputFile::Open(const char* name) {
    FileHolder file(_fsopen(name, "ab", _SH_DENYNO));
    if (!file) return nullptr;
    static_cast<void>(std::setvbuf(file.get(), nullptr, _IONBF, 0));
    OutputHolder output(new OutputFile(name, std::move(file)));
    output->buffer_.reserve(kBufferSize);
    return output;
}

OutputFile::~OutputFile() {
    if (step_ != Step::Writing) return;
    const LastErrorKeeper keeper;
    Close();
}

// What was opened before counts as another writer of the file.
bool OutputFile::BeginPlainFile() {
    opened_.reset();
    held_ = HoldFile(CreateFileA(name_.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE,
                                 nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!held_) return false;
    if (IsEmpty(name_.c_str())) return true;
    temporary_ = std::make_unique<TemporaryFile>(name_);
    if (temporary_->IsMade()) return true;
    const bool inPlace = TemporaryFile::MaySkip();
    temporary_.reset();
    return inPlace && SetEndOfFile(held_.get());
}

bool OutputFile::Begin() {
    step_ = Step::Failed;
    if (!(IsPlain(name_.c_str()) ? BeginPlainFile() : EmptyFile(opened_.get()))) return false;
    step_ = Step::Writing;
    return true;
}

bool OutputFile::Put(const void* data, std::size_t length) {
    if (opened_) return std::fwrite(data, 1, length, opened_.get()) == length;
    return WriteAll(temporary_ ? temporary_->Get() : held_.get(), data, length);
}

bool OutputFile::Flush() {
    const bool good = Put(buffer_.data(), buffer_.size());
    buffer_.clear();
    return good;
}

bool OutputFile::Write(const void* data, std::size_t length) {
    if (step_ == Step::Opened && !Begin()) return false;
    if (step_ != Step::Writing) return false;
    bool good = true;
    if (buffer_.size() + length > kBufferSize) good = Flush();
    if (good && length > kBufferSize) {
        good = Put(data, length);
    } else if (good) {
        const auto* const bytes = static_cast<const BYTE*>(data);
        buffer_.insert(buffer_.end(), bytes, bytes + length);
    }
    if (!good) step_ = Step::Failed;
    return good;
}

bool OutputFile::Finish() {
    if (!Flush()) return false;
    if (opened_) return std::fclose(opened_.release()) == 0;
    if (temporary_) return temporary_->Finish(false) && temporary_->Replace(name_.c_str(), false);
    return CloseHandle(held_.release());
}

bool OutputFile::Close() {
    if (step_ != Step::Writing) return false;
    step_ = Step::Closed;
    const bool good = Finish();
    temporary_.reset();
    held_.reset();
    return good;
}

}  // namespace kestrel
