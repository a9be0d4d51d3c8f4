// The limits of fetching, and what this process learned by it.
#include "platform/chain/retriever.h"

#include <algorithm>
#include <map>

#include "platform/base/error.h"
#include "platform/http/download.h"
#include "platform/http/ground.h"
#include "platform/registry/registry.h"

namespace platform {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kForAddress{15'000};
constexpr milliseconds kForChain{30'000};
constexpr std::size_t kMostOfBody = 64UL * 1024 * 1024;
constexpr Ticks kUntold = 3600 * kTicksPerSecond;
// However well the address may be again (chain-6).
constexpr Ticks kAfterFailure = 300 * kTicksPerSecond;

// What the cache folder did not take, and failed addresses for as long as the process lives.
class Memory {
  public:
    // What an address said: under which key it is kept, or the words themselves when nobody has a
    // use for them yet. The last words alone: they may be 64 MiB.
    void Remember(const Inquiry& inquiry, const std::string& key) {
        said_[inquiry.Anybody().Key()] = {key, CurrentTicks()};
    }
    void Remember(const Inquiry& inquiry, Bytes body) {
        const std::string key = inquiry.Anybody().Key();
        Remember(inquiry, std::string());
        unclaimed_ = {key, std::move(body)};
    }
    // Under the key, and the words when they are here.
    [[nodiscard]] std::optional<std::pair<std::string, Bytes>> Said(const Inquiry& inquiry) const {
        const std::string address = inquiry.Anybody().Key();
        const auto found = said_.find(address);
        if (found == said_.end() || CurrentTicks() > found->second.second + kAfterFailure)
            return {};
        const bool here = found->second.first.empty() && unclaimed_.first == address;
        return std::pair(found->second.first, here ? unclaimed_.second : Bytes());
    }

    void Add(const std::string& key, Answer answer) {
        if (size_ + answer.body.size() > kMostOfBody) {
            std::erase_if(answers_, [](const auto& entry) { return !entry.second.failed; });
            size_ = 0;
        }
        size_ += answer.body.size();
        answers_[key] = std::move(answer);
    }
    [[nodiscard]] std::optional<Answer> Find(const std::string& key, Ticks now) const {
        const auto found = answers_.find(key);
        const bool holds =
            found != answers_.end() && (found->second.failed || now < found->second.until);
        return holds ? std::optional(found->second) : std::nullopt;
    }

  private:
    std::map<std::string, Answer> answers_;
    std::size_t size_ = 0;
    std::map<std::string, std::pair<std::string, Ticks>> said_;
    std::pair<std::string, Bytes> unclaimed_;
};

Memory& TheMemory() {
    static Memory memory;
    return memory;
}

std::string ReasonOf(const Error& error) {
    const char* text = SystemText(error.Code(), false);
    std::string message = text != nullptr ? text : "unknown error";
    if (message.ends_with('.')) message.pop_back();
    return error.Detail().empty() ? message : message + ": " + error.Detail();
}

std::string ReasonIn(const Answer& failed) { return {failed.body.begin(), failed.body.end()}; }

}  // namespace

Retriever::Retriever(const std::vector<Side>& sides, bool network)
    : cache_(sides), network_(network) {}

std::optional<Answer> Retriever::Kept(const Inquiry& inquiry) {
    auto found = Stored(inquiry.Key());
    // What nobody answered at, nobody answers at for another request.
    if (!found) found = Stored(inquiry.Anybody().Key());
    if (found) Note(inquiry, found->failed ? ReasonIn(*found) : Retrieval::kKept, found->until);
    return found;
}

std::optional<Answer> Retriever::Stored(const std::string& key) const {
    const Ticks now = CurrentTicks();
    auto found = TheMemory().Find(key, now);
    return found ? found : cache_.Find(key, now);
}

void Retriever::Note(const Inquiry& inquiry, const std::string& outcome, Ticks until) {
    const bool known = std::any_of(log_.begin(), log_.end(), [&](const Retrieval& one) {
        return one.inquiry.Key() == inquiry.Key();
    });
    if (!known) log_.push_back({inquiry, outcome, until});
}

milliseconds Retriever::TimeLeft() const {
    if (!end_) return kForAddress;
    const auto left = std::chrono::duration_cast<milliseconds>(*end_ - Clock::now());
    return std::min(kForAddress, left);
}

bool Retriever::MayFetch(const Inquiry& inquiry) const {
    return network_ && TimeLeft() > milliseconds(0) && IsDownloadable(inquiry.address);
}

std::optional<Bytes> Retriever::Fetch(const Inquiry& inquiry) {
    if (!network_) return std::nullopt;
    auto said = inquiry.request.empty() ? Said(inquiry) : std::nullopt;
    return said ? said : Ask(inquiry);
}

std::optional<Bytes> Retriever::Said(const Inquiry& inquiry) const {
    auto said = TheMemory().Said(inquiry);
    if (!said) return std::nullopt;
    if (!said->second.empty()) return std::move(said->second);
    auto stored = said->first.empty() ? std::nullopt : Stored(said->first);
    return stored && !stored->failed ? std::optional(std::move(stored->body)) : std::nullopt;
}

std::optional<Bytes> Retriever::Ask(const Inquiry& inquiry) {
    if (!MayFetch(inquiry)) return std::nullopt;
    if (!end_) end_ = Clock::now() + kForChain;
    const std::string type = inquiry.request.empty() ? "" : "application/ocsp-request";
    const milliseconds limit = TimeLeft();
    try {
        return Download({inquiry.address, inquiry.request, type, limit, kMostOfBody});
    } catch (const Error& error) {
        // One that came last, after others had used up the time, is not to blame.
        const bool hurried = limit < kForAddress / 2 && error.Code() == ERROR_WINHTTP_TIMEOUT;
        if (hurried) {
            Note(inquiry, ReasonOf(error), CurrentTicks());
        } else {
            Fail(inquiry, ReasonOf(error));
        }
        return std::nullopt;
    }
}

void Retriever::Keep(const Inquiry& inquiry, Bytes body, Ticks nextUpdate) {
    const Ticks now = CurrentTicks();
    const Ticks until = nextUpdate != 0 ? nextUpdate : now + kUntold;
    Note(inquiry, Retrieval::kFetched, until);
    if (inquiry.request.empty()) TheMemory().Remember(inquiry, inquiry.Key());
    Store(inquiry, {inquiry.kind, false, inquiry.address, now, until, std::move(body)});
}

void Retriever::Refuse(const Inquiry& inquiry, const std::string& why) {
    const Ticks now = CurrentTicks();
    const Answer answer{inquiry.kind,     true, inquiry.address, now, now + kAfterFailure,
                        Copy(ViewOf(why))};
    Note(inquiry, why, answer.until);
    const auto stored = Stored(inquiry.Key());
    if (stored && !stored->failed) return;
    TheMemory().Add(inquiry.Key(), answer);
    static_cast<void>(cache_.Keep(inquiry.Key(), answer));  // this process knows already
}

void Retriever::PassOn(const Inquiry& inquiry, Bytes body, const std::string& why) {
    Note(inquiry, why, CurrentTicks());
    TheMemory().Remember(inquiry, std::move(body));
}

void Retriever::Store(const Inquiry& inquiry, Answer answer) {
    const std::string key = inquiry.Key();
    if (!cache_.Keep(key, answer)) TheMemory().Add(key, std::move(answer));
}

bool RetrievalAllowed() {
    for (const Side side : {Side::User, Side::Machine}) {
        const auto key = FindKey(LoadSide(side)->Root(), "Software\\Kestrel\\Platform");
        const RegistryValue* value = key == nullptr ? nullptr : key->FindValue("Retrieve");
        if (value != nullptr && NumberOf(*value).value_or(1) == 0) return false;
    }
    return true;
}

}  // namespace platform
