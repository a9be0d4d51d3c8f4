// One file judged: what `message verify` knows of it when it writes.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "kestrelctl/message/judge.h"
#include "kestrelctl/message/reader.h"

namespace kestrelctl::message {

// Somebody who has to have signed: the certificate of a file, or a name or thumbprint.
struct Wanted {
    std::string name;
    std::shared_ptr<platform::Certificate> certificate;  // null: whoever has that name
};

// What the command line asks of every file.
struct Demands {
    std::string content;          // of --content; empty: where the names lead
    std::string folder;           // of --dir
    std::vector<Wanted> signers;  // of --signer
    bool all = false;
    bool several = false;  // this is one of several files
};

struct DemandedSigner {
    std::string name;
    std::optional<std::size_t> signer;  // the one that it is, the worst one of several
};

struct MessageVerdict {
    std::string file;
    std::string source;   // the file with the message: that one or its companion
    std::string content;  // the file that the signature is for; empty: it is in the message
    bool detached = false;
    Record record;
    bool read = false;  // false: `record` holds nothing
    std::vector<SignerVerdict> signers;
    std::optional<StampVerdict> token;  // of a message that is one
    std::vector<DemandedSigner> demanded;
    std::string output;  // where the content was put
    Findings findings;   // of the message as a whole
};

// The verdict of a signer's or token's findings, and of the message.
Verdict VerdictOf(const MessageVerdict& message);

// Reads and judges a file. `sink` gets the content as it passes. Throws what has nothing to do
// with the file: a damaged store, for example.
MessageVerdict Verify(Judge& judge, const std::string& file, const Demands& demands,
                      const ContentSink& sink);

}  // namespace kestrelctl::message
