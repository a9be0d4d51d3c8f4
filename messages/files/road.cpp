// The input side of the streaming road.
#include "messages/files/road.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <utility>

#include "front/core/catalogue.h"
#include "messages/files/base64.h"
#include "messages/files/progress.h"

namespace kestrel {
namespace {

// A read that failed must not pass for the end of the file: the message would be
// complete with less content.
Reported CheckRead(const InputFile& input) {
    if (std::ferror(input.file.get()) != 0) return FailLine(kCannotOpenFile, input.name);
    return 0;
}

Reported Update(HCRYPTMSG message, const BYTE* data, DWORD length, bool isLast) {
    if (!CryptMsgUpdate(message, data, length, isLast ? TRUE : FALSE)) return FailLine(kLastError);
    return 0;
}

// The byte is put back and not sought back to, so that a pipe serves, too.
bool StartsWithText(FILE* file) {
    const int first = std::fgetc(file);
    if (first != EOF) std::ungetc(first, file);
    return first == 'M' || first == '-';
}

class DecodingRoad {
  public:
    DecodingRoad(HCRYPTMSG message, InputFile& input)
        : message_(message), input_(input), progress_(input.size) {}

    Reported Run(const AfterUpdate& afterUpdate);

  private:
    Reported Prepare();
    Reported ReadChunk(bool& isLast);
    Reported FeedText(bool isLast);
    Reported FeedBytes(bool isLast);
    [[nodiscard]] DWORD TextToDecode(bool isLast) const;

    HCRYPTMSG message_;
    InputFile& input_;
    Progress progress_;
    std::array<char, kChunkSize> chunk_{};
    DWORD length_ = 0;  // bytes in the chunk; between reads the carry
    std::unique_ptr<BYTE[]> decoded_;
};

Reported DecodingRoad::Prepare() {
    if (!StartsWithText(input_.file.get())) return 0;
    decoded_.reset(new (std::nothrow) BYTE[kChunkSize]);
    if (!decoded_) return ReportError(kNoMemory);
    return 0;
}

Reported DecodingRoad::ReadChunk(bool& isLast) {
    const DWORD wanted = kChunkSize - length_;
    const std::size_t read = std::fread(chunk_.data() + length_, 1, wanted, input_.file.get());
    progress_.Show();
    length_ += static_cast<DWORD>(read);
    isLast = read < wanted;
    return CheckRead(input_);
}

// A line must not be cut: all of the last piece, otherwise up to the last line feed.
DWORD DecodingRoad::TextToDecode(bool isLast) const {
    if (isLast) return length_;
    const auto end = chunk_.rend();
    const auto lineFeed = std::find(end - length_, end, '\n');
    return lineFeed == end ? length_ : static_cast<DWORD>(end - lineFeed);
}

Reported DecodingRoad::FeedText(bool isLast) {
    const DWORD textLength = TextToDecode(isLast);
    DWORD size = kChunkSize;
    // A result that is no shorter than its text counts as bad, an empty one included.
    if (!DecodeBase64Blocks(chunk_.data(), textLength, decoded_.get(), &size) || size >= length_) {
        return ReportError(kBadBase64);
    }
    if (const Reported failure = Update(message_, decoded_.get(), size, isLast)) return failure;
    length_ -= textLength;
    std::memmove(chunk_.data(), chunk_.data() + textLength, length_);
    return 0;
}

Reported DecodingRoad::FeedBytes(bool isLast) {
    const DWORD length = std::exchange(length_, 0);
    return Update(message_, reinterpret_cast<const BYTE*>(chunk_.data()), length, isLast);
}

Reported DecodingRoad::Run(const AfterUpdate& afterUpdate) {
    if (const Reported failure = Prepare()) return failure;
    for (bool isLast = false; !isLast;) {
        if (const Reported failure = ReadChunk(isLast)) return failure;
        if (const Reported failure = decoded_ ? FeedText(isLast) : FeedBytes(isLast)) {
            return failure;
        }
        if (const Reported failure = afterUpdate()) return failure;
    }
    return 0;
}

}  // namespace

Reported FeedEncoder(HCRYPTMSG message, InputFile& input) {
    std::array<BYTE, kChunkSize> chunk;
    Progress progress(input.size);
    for (bool isLast = false; !isLast;) {
        progress.Show();
        const std::size_t read = std::fread(chunk.data(), 1, kChunkSize, input.file.get());
        isLast = read < kChunkSize;
        if (const Reported failure = CheckRead(input)) return failure;
        const DWORD length = static_cast<DWORD>(read);
        if (const Reported failure = Update(message, chunk.data(), length, isLast)) return failure;
    }
    return 0;
}

Reported FeedDecoder(HCRYPTMSG message, InputFile& input, const AfterUpdate& afterUpdate) {
    return DecodingRoad(message, input).Run(afterUpdate);
}

}  // namespace kestrel
