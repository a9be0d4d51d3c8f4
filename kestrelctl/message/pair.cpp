// A file's companion by name, and whether a file without one could be a message.
#include "kestrelctl/message/pair.h"

#include <algorithm>
#include <filesystem>

#include "kestrelctl/bundle_file.h"
#include "kestrelctl/message/wide_text.h"
#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/der/der.h"
#include "platform/stores/bundle_text.h"
#include "platform/stores/piece_reader.h"

namespace kestrelctl::message {
namespace {

using platform::Bytes;
using platform::ByteView;
namespace der = platform::der;

constexpr std::string_view kExtension = ".sgn";
constexpr std::string_view kBlanks = " \t\r\n";

std::string SignatureIn(const std::filesystem::path& folder, const std::string& file) {
    return (folder / std::filesystem::path(file).filename()).string() + std::string(kExtension);
}

// ---- the beginning of a file ---------------------------------------------------

// What is behind the header of a sequence; none for anything else. A header that is cut ends in
// nothing.
std::optional<ByteView> InSequence(ByteView octets) {
    if (octets.empty() || octets[0] != der::kSequence) return std::nullopt;
    const std::uint8_t length = octets.size() > 1 ? octets[1] : 0;
    const std::size_t more = length > 0x80 ? length & 0x7Fu : 0;
    return octets.subspan(std::min(octets.size(), 2 + more));
}

// A ContentInfo begins with its type, the answer of a time-stamp service with a sequence that
// begins with a number.
bool BeginsMessage(ByteView octets) {
    const auto inside = InSequence(octets);
    if (!inside || inside->empty() || (*inside)[0] == der::kOid) return inside.has_value();
    const auto answer = InSequence(*inside);
    return answer && (answer->empty() || (*answer)[0] == der::kInteger);
}

bool BeginsBase64(std::string_view text) {
    constexpr std::size_t kEnough = 32;
    std::string head;
    for (const char character : text.substr(0, 4 * kEnough)) {
        if (head.size() == kEnough) break;
        if (kBlanks.find(character) == kBlanks.npos) head.push_back(character);
    }
    head.resize(head.size() / 4 * 4);
    try {
        platform::Base64Reader reader;
        return BeginsMessage(reader.Feed(platform::ViewOf(head)));
    } catch (const platform::Error&) {
        return false;
    }
}

bool BeginsText(std::string_view text) {
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    constexpr std::string_view kLabels[] = {"-----BEGIN CMS-----", "-----BEGIN PKCS"};
    if (text.starts_with(kMark)) text.remove_prefix(kMark.size());
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    for (const std::string_view label : kLabels) {
        if (text.starts_with(label)) return true;
    }
    if (text.starts_with("-----BEGIN ")) text.remove_prefix(std::min(text.find('\n'), text.size()));
    return BeginsBase64(text);
}

// The header of a mail, which ends with an empty line, tells that it is one (RFC 8551 3.2, 3.5).
bool BeginsMail(std::string_view text) {
    constexpr std::string_view kTypes[] = {"pkcs7-mime", "multipart/signed"};
    text = text.substr(0, std::min(text.find("\n\n"), text.find("\n\r\n")));
    for (; !text.empty(); text.remove_prefix(1)) {
        for (const std::string_view type : kTypes) {
            if (platform::SameName(text.substr(0, type.size()), type)) return true;
        }
    }
    return false;
}

}  // namespace

bool IsSignatureName(const std::string& file) { return file.ends_with(kExtension); }

Pair PairOf(const std::string& file, const Demands& demands) {
    if (!demands.content.empty()) return {file, demands.content, true};
    if (IsSignatureName(file)) {
        const std::string content = file.substr(0, file.size() - kExtension.size());
        return {file, Exists(content) ? content : std::string()};
    }
    if (!demands.folder.empty()) return {SignatureIn(demands.folder, file), file, true};
    // -signf without -dir puts it into the current folder, wherever the file is.
    for (const std::string& name : {file + std::string(kExtension), SignatureIn("", file)}) {
        if (Exists(name)) return {name, file, true};
    }
    return {file, {}, false, true};
}

bool BeginsAsMessage(const std::string& file) {
    platform::PieceReader reader(file);
    ByteView head = reader.Next();
    if (!head.empty() && head[0] == der::kSequence) return BeginsMessage(head);
    std::optional<WideText> wide = WideText::Told(head);
    if (wide) head = wide->Narrow(head);
    const std::string_view text(reinterpret_cast<const char*>(head.data()), head.size());
    return BeginsText(text) || BeginsMail(text);
}

}  // namespace kestrelctl::message
