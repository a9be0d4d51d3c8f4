// The network as the checks of one chain may use it: within its times, each address once, and
// what came is kept.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/error.h"
#include "platform/chain/answer_cache.h"

namespace platform {

// What became of one inquiry, for those who want to see it.
struct Retrieval {
    Inquiry inquiry;
    std::string outcome;  // "fetched", "kept", or why there is no answer
    Ticks until = 0;      // how long it holds

    [[nodiscard]] bool Answered() const { return outcome == kFetched || outcome == kKept; }
    static constexpr const char* kFetched = "fetched";
    static constexpr const char* kKept = "kept";
};

class Retriever {
  public:
    // 30 s for all that it fetches begin with the first.
    // `network`: whether anything may be fetched; the cache is read in any case. `waiting` has the
    // time that is left for this and other retrievers; it may be null, and outlives this one.
    Retriever(const std::vector<Side>& sides, bool network,
              std::chrono::milliseconds* waiting = nullptr);

    // The answer that is kept; a failed one when the address was asked in vain not long ago.
    [[nodiscard]] std::optional<Answer> Kept(const Inquiry& inquiry);
    // Whether Fetch would ask.
    [[nodiscard]] bool MayFetch(const Inquiry& inquiry) const;
    // What the address answers, whatever it is; from memory when this process asked it before.
    // The caller looks at it and says one of the four below. None when it may not be asked or has
    // none, which is noted.
    [[nodiscard]] std::optional<Bytes> Fetch(const Inquiry& inquiry);
    // It answers the inquiry. `nextUpdate` 0: it tells none.
    void Keep(const Inquiry& inquiry, Bytes body, Ticks nextUpdate);
    // It is no answer to this inquiry, and will be none for a while. What is kept stays.
    void Refuse(const Inquiry& inquiry, const std::string& why);
    // It is an answer to nothing: the address fails.
    void Fail(const Inquiry& inquiry, const std::string& why) { Refuse(inquiry.Anybody(), why); }
    // It may be one to others in this process. Nothing is said of this inquiry.
    void PassOn(const Inquiry& inquiry, Bytes body, const std::string& why);

    [[nodiscard]] const std::vector<Retrieval>& Log() const { return log_; }

  private:
    using Clock = std::chrono::steady_clock;

    void Store(const Inquiry& inquiry, Answer answer);
    void Note(const Inquiry& inquiry, const std::string& outcome, Ticks until);
    [[nodiscard]] std::optional<Answer> Stored(const std::string& key) const;
    [[nodiscard]] std::optional<Bytes> Said(const Inquiry& inquiry) const;
    std::optional<Bytes> Ask(const Inquiry& inquiry);
    void NoteFault(const Inquiry& inquiry, const Error& error, std::chrono::milliseconds limit);
    [[nodiscard]] std::chrono::milliseconds TimeLeft() const;

    AnswerCache cache_;
    bool network_;
    std::chrono::milliseconds* waiting_;
    std::optional<Clock::time_point> end_;
    std::vector<Retrieval> log_;
};

// Whether the settings of both sides let the platform fetch: Software\Kestrel\Platform, Retrieve.
bool RetrievalAllowed();

}  // namespace platform
