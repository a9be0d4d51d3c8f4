// What is in a message, but for its content.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kestrelctl/message/forms.h"
#include "kestrelctl/message/recipients.h"
#include "kestrelctl/message/shapes.h"
#include "platform/certs/certificate.h"
#include "platform/cms/model.h"
#include "platform/cms/signed_decoder.h"

namespace kestrelctl::message {

// The head of a service's answer (RFC 3161 2.4.2).
struct StampAnswer {
    long status = 0;
    std::string text;
    bool hasToken = false;
};

struct Record {
    Form form = Form::Der;
    std::string label;           // of armour
    std::uint64_t fileSize = 0;  // octets of the file
    Kind kind = Kind::Unknown;
    std::string typeOid;  // of the ContentInfo
    long version = 0;
    std::string contentType;        // dotted; empty where the type has none
    bool hasContent = false;        // false: detached
    bool strayPart = false;         // a mail whose first part is not what its second is about
    std::uint64_t contentSize = 0;  // octets of it, encrypted or not
    std::vector<platform::Algorithm> digests;
    std::optional<platform::Algorithm> contentAlgorithm;  // cipher, code or compression
    std::vector<Recipient> recipients;
    // Of the whole message: those that its code covers, and others.
    std::vector<platform::Bytes> protectedAttributes;
    std::vector<platform::Bytes> unprotectedAttributes;
    std::optional<StampAnswer> answer;

    // Of signed data: its records, and the digests that ran over the content. Null otherwise.
    std::shared_ptr<platform::SignedBody> signedBody;
    std::vector<std::shared_ptr<platform::Certificate>> certificates;
    std::vector<std::shared_ptr<platform::Crl>> crls;
    std::size_t otherChoices = 0;  // kinds of certificates and lists that are not of X.509
    // What a time-stamp service says: kept for a token alone, which is small.
    platform::Bytes tokenContent;

    [[nodiscard]] const std::vector<platform::SignerInfo>& Signers() const;
};

// The time-stamp token of RFC 3161 by its content's type.
inline constexpr const char* kTstInfoOid = "1.2.840.113549.1.9.16.1.4";

}  // namespace kestrelctl::message
