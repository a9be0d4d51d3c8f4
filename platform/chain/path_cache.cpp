// What makes two questions the same.
#include "platform/chain/path_cache.h"

#include <sys/stat.h>

#include <algorithm>
#include <string>

#include "platform/providers/algorithms.h"
#include "platform/providers/crypto.h"

namespace platform {
namespace {

constexpr Ticks kLifetime = 300 * kTicksPerSecond;  // as long as a failed address rests
constexpr std::size_t kMostEntries = 1'000;

// Each part with its length in front, so that no two sequences of parts are alike.
class KeyMaker {
  public:
    void Add(ByteView part) {
        const std::uint64_t size = part.size();
        digest_.Update(ViewOf(&size, sizeof size));
        digest_.Update(part);
    }
    void Add(std::string_view text) { Add(ViewOf(text)); }
    void Add(std::uint64_t number) { Add(ViewOf(&number, sizeof number)); }

    // A store of the system is told by its name, since its side's generation is told too.
    void Add(const std::shared_ptr<Store>& store) {
        if (!store) return Add(std::string_view("none"));
        Add(store->SystemName());
        if (!store->SystemName().empty()) return;
        const auto certificates = store->Certificates();
        Add(certificates.size());
        for (const auto& certificate : certificates) Add(certificate->Der());
        for (const auto& crl : store->Crls()) Add(crl->Der());
    }

    [[nodiscard]] Bytes Value() const { return digest_.Value(); }

  private:
    Digest digest_{oid::kSha256};
};

// Files come into the cache by rename and go by removal: either changes the folder.
std::string CacheGeneration(Side side) {
    const std::string folder = HomeOf(side) / "cache";
    struct stat status {};
    if (stat(folder.c_str(), &status) != 0) return folder;
    return folder + '/' + std::to_string(status.st_ino) + '/' +
           std::to_string(status.st_mtim.tv_sec) + '/' + std::to_string(status.st_mtim.tv_nsec);
}

std::string CacheGenerations(const std::vector<Side>& sides) {
    std::string all;
    for (const Side side : sides) all += CacheGeneration(side) + '\n';
    return all;
}

// Certificates and stores by their content, the stores on this computer by their generation.
Bytes KeyOf(const ChainInputs& inputs) {
    KeyMaker key;
    key.Add(inputs.leaf.Der());
    key.Add(StoreHolding(inputs.leaf));
    key.Add(inputs.additional);
    key.Add(inputs.sides.size());
    for (const Side side : {Side::User, Side::Machine}) key.Add(StoresGeneration(side));
    key.Add(inputs.time == nullptr ? Ticks{0} : TicksOf(*inputs.time));
    key.Add(std::uint64_t{inputs.time == nullptr});
    key.Add(inputs.flags);
    key.Add(std::uint64_t{inputs.request.anyUsage});
    for (const std::string& usage : inputs.request.usages) key.Add(usage);
    return key.Value();
}

// Until the first moment at which the same search might end otherwise.
Ticks LastsUntil(const Path& path, Ticks now) {
    Ticks until = now + kLifetime;
    const auto end = [&](const FILETIME& moment) {
        const Ticks ticks = TicksOf(moment);
        if (ticks > now) until = std::min(until, ticks);
    };
    for (const Link& link : path.links) {
        end(link.certificate->Info().NotBefore);
        end(link.certificate->Info().NotAfter);
        end(link.evidence.nextUpdate);
    }
    return until;
}

}  // namespace

Path PathCache::Get(const ChainInputs& inputs, const std::function<Path()>& find) {
    const Bytes key = KeyOf(inputs);
    const Ticks now = CurrentTicks();
    const auto kept = entries_.find(key);
    const bool fresh = kept != entries_.end() && now >= kept->second.made &&
                       now < kept->second.until &&
                       kept->second.answers == CacheGenerations(inputs.sides);
    if (fresh) return kept->second.path;
    Path path = find();
    if (entries_.size() >= kMostEntries) entries_.clear();
    entries_[key] = {path, now, LastsUntil(path, now), CacheGenerations(inputs.sides)};
    return path;
}

}  // namespace platform
