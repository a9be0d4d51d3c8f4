// Stores on files: read once, into memory.
#include <algorithm>
#include <memory>

#include "platform/base/error.h"
#include "platform/base/home.h"
#include "platform/stores/bundle_message.h"
#include "platform/stores/bundle_text.h"
#include "platform/stores/piece_reader.h"
#include "platform/stores/store.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

// Files up to here are read whole. Of larger ones only messages make sense, and they
// are read in pieces.
constexpr std::uintmax_t kWholeFileLimit = std::uintmax_t{64} << 20;
constexpr std::uint8_t kSequenceTag = 0x30;

// What stands behind the line that opens armour, which must lie in the first piece.
ByteView WithoutArmour(ByteView text) {
    const auto first = std::find_if(text.begin(), text.end(),
                                    [](std::uint8_t c) { return c != ' ' && (c < 9 || c > 13); });
    if (first == text.end() || *first != '-') return text;
    const auto lineEnd = std::find(first, text.end(), '\n');
    return text.subspan(static_cast<std::size_t>(lineEnd - text.begin()));
}

CertificateBundle ReadLargeMessage(const fs::path& file) {
    PieceReader pieces(file.string());
    MessageReader message;
    ByteView piece = pieces.Next();
    if (!piece.empty() && piece[0] == kSequenceTag) {
        for (; !piece.empty(); piece = pieces.Next()) message.Feed(piece);
        return message.Finish();
    }
    Base64Reader base64;
    for (piece = WithoutArmour(piece); !piece.empty(); piece = pieces.Next()) {
        message.Feed(base64.Feed(piece));
    }
    base64.Finish();
    return message.Finish();
}

bool IsLarge(const fs::path& file) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(file, error);
    return !error && size > kWholeFileLimit;
}

// What cannot be read is told as a fault of the file, since nobody asked for a
// certificate's inside; faults of the system keep their own codes.
CertificateBundle ReadFileBundle(const fs::path& file) {
    const bool large = IsLarge(file);
    const Bytes whole = large ? Bytes() : ReadWholeFile(file);
    try {
        return large ? ReadLargeMessage(file) : ReadBundle(whole);
    } catch (const Error& error) {
        const bool ofContent = (error.Code() >> 16) == 0x8009;
        if (!ofContent) throw;
        throw Error(CRYPT_E_FILE_ERROR, file.string());
    }
}

}  // namespace

std::shared_ptr<Store> OpenFileStore(const fs::path& file) { return StoreOf(ReadFileBundle(file)); }

}  // namespace platform
