// For whom a message is encrypted (RFC 5652 6.2): every kind, those included that nobody here
// opens.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/cms/model.h"

namespace kestrelctl::message {

// Whose key a key agreement starts from.
struct Originator {
    const char* by;  // "issuer-and-serial", "key-identifier", "key"
    std::optional<platform::KeyHolder> holder;
    std::optional<platform::Algorithm> algorithm;  // of the key, when it stands in the message
    std::string curve;                             // dotted; empty where it is not told
};

// One recipient; of a key agreement each of its encrypted keys.
struct Recipient {
    const char* kind = "other";
    std::optional<platform::KeyHolder> holder;  // of a shared key its identifier
    std::optional<platform::Algorithm> keyEncryption;
    std::optional<platform::Algorithm> keyWrap;        // inside key agreement, or under a password
    std::optional<platform::Algorithm> keyDerivation;  // of a password
    std::shared_ptr<const Originator> originator;      // of all keys of one agreement; may be null
    std::string type;                                  // of another kind, dotted
};

// Throws what platform::ParseRecipientInfo throws.
std::vector<Recipient> ReadRecipients(platform::ByteView der);

}  // namespace kestrelctl::message
