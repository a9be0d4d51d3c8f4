// The limits of fetching, and what this process learned by it.
#include "platform/chain/retriever.h"

#include <algorithm>
#include <cctype>
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

    // Whoever forges certificates may name any number of addresses at a host that says nothing.
    // One alone may be a long list.
    void NoteSilent(const std::string& host) {
        Silence& silence = silent_[host];
        silence.times = IsOver(silence) ? 1 : silence.times + 1;
        silence.last = CurrentTicks();
    }
    [[nodiscard]] bool IsSilent(const std::string& host) const {
        const auto found = silent_.find(host);
        return found != silent_.end() && found->second.times > 1 && !IsOver(found->second);
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
    struct Silence {
        int times = 0;
        Ticks last = 0;
    };
    static bool IsOver(const Silence& silence) {
        return CurrentTicks() > silence.last + kAfterFailure;
    }
    std::map<std::string, Silence> silent_;  // by host
};

Memory& TheMemory() {
    static Memory memory;
    return memory;
}

// With scheme and port, in small letters.
std::string HostOf(const std::string& address) {
    const std::size_t start = address.find("//");
    const std::size_t end =
        start == std::string::npos ? start : address.find_first_of("/?#", start + 2);
    std::string host = address.substr(0, end);
    for (char& letter : host) {
        letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    }
    return host;
}

std::string ReasonOf(const Error& error) {
    const char* text = SystemText(error.Code(), false);
    std::string message = text != nullptr ? text : "unknown error";
    if (message.ends_with('.')) message.pop_back();
    return error.Detail().empty() ? message : message + ": " + error.Detail();
}

std::string ReasonIn(const Answer& failed) { return {failed.body.begin(), failed.body.end()}; }

}  // namespace

Retriever::Retriever(const std::vector<Side>& sides, bool network, milliseconds* waiting)
    : cache_(sides), network_(network), waiting_(waiting) {}

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
    milliseconds left = kForAddress;
    if (waiting_ != nullptr) left = std::min(left, *waiting_);
    if (!end_) return left;
    return std::min(left, std::chrono::duration_cast<milliseconds>(*end_ - Clock::now()));
}

bool Retriever::MayFetch(const Inquiry& inquiry) const {
    return network_ && TimeLeft() > milliseconds(0) && IsDownloadable(inquiry.address) &&
           !TheMemory().IsSilent(HostOf(inquiry.address));
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
    const auto start = Clock::now();
    const auto pay = [&] {
        if (waiting_ == nullptr) return;
        *waiting_ -= std::chrono::duration_cast<milliseconds>(Clock::now() - start);
    };
    try {
        auto body = Download({inquiry.address, inquiry.request, type, limit, kMostOfBody});
        pay();
        return body;
    } catch (const Error& error) {
        pay();
        NoteFault(inquiry, error, limit);
        return std::nullopt;
    }
}

void Retriever::NoteFault(const Inquiry& inquiry, const Error& error, milliseconds limit) {
    const bool late = error.Code() == ERROR_WINHTTP_TIMEOUT;
    // One that came last, after others had used up the time, is not to blame.
    if (late && limit < kForAddress / 2) return Note(inquiry, ReasonOf(error), CurrentTicks());
    if (late) TheMemory().NoteSilent(HostOf(inquiry.address));
    Fail(inquiry, ReasonOf(error));
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
