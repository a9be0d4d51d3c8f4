// A message's file in any of its forms, as the octets of the message.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "kestrelctl/message/mail_header.h"
#include "kestrelctl/message/multipart.h"
#include "kestrelctl/message/wide_text.h"
#include "platform/base/bytes.h"
#include "platform/stores/bundle_text.h"
#include "platform/stores/piece_reader.h"

namespace kestrelctl::message {

enum class Form : std::uint8_t { Der, Base64, Pem, Mime };
const char* NameOf(Form form);

// Told by the first octets: a SEQUENCE is DER (or BER), "-----BEGIN " armour, a header line an
// S/MIME entity whose body is the message, or one of two parts; anything else is BASE64. Armour and
// BASE64 may begin with the UTF-8 mark and with blanks, and may be UTF-16, too. A mail begins with
// its header: behind an empty line it would be text to whoever reads mail.
class MessageFile {
  public:
    // Throws the system's reason for a file that cannot be read, CRYPT_E_BAD_ENCODE for text
    // that is none of these, CRYPT_E_STREAM_INSUFFICIENT_DATA for a header without its end.
    explicit MessageFile(const std::string& name);
    // Empty at the end; the view lives until the next call. Throws CRYPT_E_BAD_ENCODE, also for
    // text behind the message, and CRYPT_E_STREAM_INSUFFICIENT_DATA for armour without its end.
    platform::ByteView Next();

    [[nodiscard]] Form What() const { return form_; }
    // Of armour, as "CMS".
    [[nodiscard]] const std::string& Label() const { return label_; }
    // Where the file has the content that its message is for, beside the message.
    [[nodiscard]] const std::optional<Range>& ContentPart() const { return content_; }
    // Octets of the file so far.
    [[nodiscard]] std::uint64_t Size() const { return file_.Taken(); }

  private:
    platform::ByteView NextPiece();
    platform::ByteView AsText(platform::ByteView piece);
    void TakeTail(std::string_view text);
    void CheckTail() const;
    void TakeHead(std::string_view& text);
    void TakeMail(std::string_view& text);
    MailHeader TakeHeader(std::string_view& text);
    MailHeader TakeParts(const MailHeader& header, std::string_view& text);

    std::string name_;
    platform::PieceReader file_;
    std::optional<WideText> wide_;
    std::optional<Range> content_;
    Form form_ = Form::Der;
    std::string label_;
    std::unique_ptr<platform::Base64Reader> base64_;  // null: the octets as they stand
    std::string held_;  // the header of a mail, and what was read with it
    std::string tail_;  // text from the end of the BASE64 on; not of mail, where others write on
    platform::Bytes decoded_;
    platform::ByteView first_;
    bool started_ = false;
    bool ended_ = false;
};

}  // namespace kestrelctl::message
