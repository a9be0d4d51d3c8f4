#include "messages/files/road.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

#include "front/core/catalogue.h"
#include "messages/files/base64.h"
#include "messages/files/progress.h"

namespace kestrel {
namespace {

DWORD FailLine(DWORD code, const char* argument = nullptr) {
    Progress::End();
    return ReportError(code, argument);
}

// A read that failed must not pass for the end of the file: the message would be
// complete with less content.
DWORD CheckRead(const InputFile& input) {
    return std::ferror(input.file.get()) == 0 ? 0 : FailLine(kCannotOpenFile, input.name);
}

DWORD Update(HCRYPTMSG message, const BYTE* data, DWORD length, bool isLast) {
    return CryptMsgUpdate(message, data, length, isLast ? TRUE : FALSE) ? 0 : FailLine(kLastError);
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

    DWORD Run(const AfterUpdate& afterUpdate);

  private:
    DWORD Prepare();
    DWORD ReadChunk(bool& isLast);
    DWORD FeedText(bool isLast);
    [[nodiscard]] DWORD TextToDecode(bool isLast) const;

    HCRYPTMSG message_;
    InputFile& input_;
    Progress progress_;
    std::array<char, kChunkSize> chunk_{};
    DWORD length_ = 0;  // bytes in the chunk; between reads the carry
    std::unique_ptr<BYTE[]> decoded_;
};

DWORD DecodingRoad::Prepare() {
    if (!StartsWithText(input_.file.get())) return 0;
    decoded_.reset(new (std::nothrow) BYTE[kChunkSize]);
    return decoded_ ? 0 : ReportError(kNoMemory);
}

DWORD DecodingRoad::ReadChunk(bool& isLast) {
    const DWORD wanted = kChunkSize - length_;
    const size_t read = std::fread(chunk_.data() + length_, 1, wanted, input_.file.get());
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

DWORD DecodingRoad::FeedText(bool isLast) {
    const DWORD textLength = TextToDecode(isLast);
    DWORD size = kChunkSize;
    // A result that is no shorter than its text counts as bad, an empty one included.
    if (!DecodeBase64Blocks(chunk_.data(), textLength, decoded_.get(), &size) || size >= length_) {
        return ReportError(kBadBase64);
    }
    if (const DWORD code = Update(message_, decoded_.get(), size, isLast); code != 0) return code;
    length_ -= textLength;
    std::memmove(chunk_.data(), chunk_.data() + textLength, length_);
    return 0;
}

DWORD DecodingRoad::Run(const AfterUpdate& afterUpdate) {
    DWORD code = Prepare();
    for (bool isLast = false; code == 0 && !isLast;) {
        code = ReadChunk(isLast);
        if (code != 0) break;
        if (decoded_) {
            code = FeedText(isLast);
        } else {
            code = Update(message_, reinterpret_cast<const BYTE*>(chunk_.data()), length_, isLast);
            length_ = 0;
        }
        if (code == 0) code = afterUpdate();
    }
    return code;
}

}  // namespace

DWORD FeedEncoder(HCRYPTMSG message, InputFile& input) {
    std::array<BYTE, kChunkSize> chunk;
    Progress progress(input.size);
    for (bool isLast = false; !isLast;) {
        progress.Show();
        const size_t read = std::fread(chunk.data(), 1, kChunkSize, input.file.get());
        isLast = read < kChunkSize;
        if (const DWORD code = CheckRead(input); code != 0) return code;
        const DWORD length = static_cast<DWORD>(read);
        if (const DWORD code = Update(message, chunk.data(), length, isLast); code != 0) {
            return code;
        }
    }
    return 0;
}

DWORD FeedDecoder(HCRYPTMSG message, InputFile& input, const AfterUpdate& afterUpdate) {
    return DecodingRoad(message, input).Run(afterUpdate);
}

}  // namespace kestrel
