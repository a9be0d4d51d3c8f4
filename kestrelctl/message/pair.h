// Which file has the signature, and which the content (docs/verdicts.md, "Which file is what").
#pragma once

#include <string>

#include "kestrelctl/message/verify.h"

namespace kestrelctl::message {

// A file and the one with its signature; `content` empty: the message has its own.
struct Pair {
    std::string message;
    std::string content;
    bool named = false;  // the content was named by the user, who wants that file proven
    bool alone = false;  // nothing but what is in the file tells whether it is a message
};

// Looks for companions that exist; opens none.
Pair PairOf(const std::string& file, const Demands& demands);

// The name of a file's signature.
bool IsSignatureName(const std::string& file);

// True when an ordinary file's first octets are those of a message in any form, damaged further
// on or not. Throws what reading the file throws.
bool BeginsAsMessage(const std::string& file);

}  // namespace kestrelctl::message
