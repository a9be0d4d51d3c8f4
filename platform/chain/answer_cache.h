// Answers of the network, kept in the cache/ folder of a side (docs/files.md).
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/base/home.h"
#include "platform/base/ticks.h"

namespace platform {

enum class AnswerKind { Crl, Ocsp, Certificates };
const char* NameOf(AnswerKind kind);

// What is asked where.
struct Inquiry {
    AnswerKind kind = AnswerKind::Crl;
    std::string address;
    Bytes request;  // of OCSP
    // Of lists: whose, since several authorities may share an address, and a stranger may name
    // one that is not his. Name and public key.
    Bytes issuer;

    // SHA-256 of all of it: the name under which the answer is kept.
    [[nodiscard]] std::string Key() const;
    // The address itself: what is kept so holds whatever was asked there.
    [[nodiscard]] Inquiry Anybody() const { return {kind, address, {}, {}}; }
};

struct Answer {
    AnswerKind kind = AnswerKind::Crl;
    bool failed = false;  // the address was asked in vain
    std::string address;
    Ticks fetched = 0;
    Ticks until = 0;
    Bytes body;  // of a failed one: why
};

class AnswerCache {
  public:
    // In the order in which they are looked into; the first one is written to.
    explicit AnswerCache(std::vector<Side> sides) : sides_(std::move(sides)) {}

    // One that holds at `now`. What is damaged, or not readable, is absent.
    [[nodiscard]] std::optional<Answer> Find(const std::string& key, Ticks now) const;
    // As a whole, by rename; in the place of whatever has its name but is no file. Past 256 MiB the
    // oldest go first. False when it cannot be kept.
    [[nodiscard]] bool Keep(const std::string& key, const Answer& answer) const;

  private:
    std::vector<Side> sides_;
};

// For showing: every whole answer of a side, whether it still holds or not, by address; without
// its body unless that tells why it failed.
struct KeptAnswer {
    Answer answer;
    std::uintmax_t size = 0;
};
std::vector<KeptAnswer> KeptAnswers(Side side);
// The files of entries that count as absent because they are no whole answer.
std::vector<std::filesystem::path> DamagedAnswers(Side side);
// Removes them all, damaged ones too; how many there were. Throws what removing throws.
std::size_t ClearAnswers(Side side);

}  // namespace platform
