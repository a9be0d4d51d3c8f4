// Reading of a file in pieces.
#include "platform/stores/piece_reader.h"

#include <cerrno>
#include <utility>

#include "platform/base/file_name.h"

namespace platform {
namespace {

constexpr std::size_t kPieceSize = 0x10000;

}  // namespace

PieceReader::PieceReader(std::string name)
    : name_(std::move(name)),
      file_(std::fopen(name_.c_str(), "rbe")),
      buffer_(std::make_unique_for_overwrite<std::uint8_t[]>(kPieceSize)) {
    if (!file_) ThrowFileError(errno, name_);
    static_cast<void>(std::setvbuf(file_.get(), nullptr, _IONBF, 0));
}

ByteView PieceReader::Next() {
    const std::size_t size = std::fread(buffer_.get(), 1, kPieceSize, file_.get());
    if (size == 0 && std::ferror(file_.get()) != 0) ThrowFileError(errno, name_);
    taken_ += size;
    return {buffer_.get(), size};
}

}  // namespace platform
