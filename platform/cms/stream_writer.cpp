// The writer of elements around passing content.
#include "platform/cms/stream_writer.h"

#include "platform/base/error.h"
#include "platform/der/der.h"

namespace platform {
namespace {

constexpr std::uint8_t kIndefinite[] = {0x80};
constexpr std::uint8_t kEndOfContents[] = {0x00, 0x00};

}  // namespace

StreamWriter::StreamWriter(const CMSG_STREAM_INFO& info) : sink_(info) {
    if (info.pfnStreamOutput == nullptr) throw Error(ERROR_INVALID_PARAMETER);
}

void StreamWriter::Append(ByteView small) { der::Append(gathered_, small); }

void StreamWriter::Open(std::uint8_t tag) {
    gathered_.push_back(tag);
    Append(kIndefinite);
}

void StreamWriter::Close(unsigned elements) {
    for (unsigned i = 0; i < elements; ++i) Append(kEndOfContents);
}

void StreamWriter::OpenMessage(const char* type, ByteView head, const std::string& innerType) {
    Open(der::kSequence);
    Append(der::Oid(type));
    Open(der::ContextConstructed(0));
    Open(der::kSequence);
    Append(head);
    Open(der::kSequence);
    Append(der::Oid(innerType));
}

void StreamWriter::Piece(ByteView content) {
    if (content.empty()) return;
    der::AppendHeader(gathered_, der::kOctetString, content.size());
    Flush(false);
    sink_.Write(content, false);
}

void StreamWriter::Finish() { Flush(true); }

void StreamWriter::Flush(bool isFinal) {
    sink_.Write(gathered_, isFinal);
    gathered_.clear();
}

AnnouncedLength::AnnouncedLength(const CMSG_STREAM_INFO& info) {
    if (info.cbContent != CMSG_INDEFINITE_LENGTH) announced_ = info.cbContent;
}

void AnnouncedLength::Count(std::size_t size, bool isFinal) {
    passed_ += size;
    if (!announced_) return;
    if (passed_ > *announced_ || (isFinal && passed_ != *announced_)) throw Error(CRYPT_E_BAD_LEN);
}

}  // namespace platform
