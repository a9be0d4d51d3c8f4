// The search criterion of the command line.
#include <cstdint>

#include "front/core/catalogue.h"
#include "front/core/keys.h"
#include "selection/search.h"

namespace kestrel {

namespace {

constexpr char kOwnStore[] = "My";
constexpr char kAddressBook[] = "Addressbook";
constexpr CountPolicy kExactlyOne = -1;
constexpr CountPolicy kAll = 0;
constexpr CountPolicy kDefaultListBound = 10;

void AddStore(StoreKind kind, const char* name) {
    state.storeSpecs->push_back({kind, name, nullptr});
}

void AddDefaultStores(StoreKind kind, bool broad) {
    AddStore(kind, kOwnStore);
    if (broad) AddStore(kind, kAddressBook);
}

void TakeFilterStrings() {
    const char* value = nullptr;
    // The search cuts these up in place; the argument copies that they point into are ours.
    while (TakeKey("dn", &value)) state.dnStrings->push_back(const_cast<char*>(value));
}

void TakeSystemStores(const char* word, StoreKind kind, bool broad) {
    const char* name = nullptr;
    while (TakeKey(word, &name)) {
        if (name != nullptr) {
            AddStore(kind, name);
        } else {
            AddDefaultStores(kind, broad);
        }
    }
}

void TakeStores(bool broad) {
    TakeSystemStores("m", kMachineStore, broad);
    TakeSystemStores("u", kUserStore, broad);
    const char* name = nullptr;
    while (TakeKey("f", &name)) AddStore(kFileStore, name);
    if (state.storeSpecs->empty()) AddDefaultStores(kUserStore, broad);
}

// With -nochain the other two are left where they are: asking for both is a mistake that
// the user hears of.
void TakeChainKeys() {
    if (TakeKey("nochain")) {
        state.chainChecking = 0;
        return;
    }
    if (TakeKey("errchain")) state.chainErrorsFatal = 1;
    if (TakeKey("norev")) state.revocationOff = 1;
}

// Digits only; they wrap around in 32 bits. False for anything else and below 1.
bool ParseListBound(const char* digits, CountPolicy& bound) {
    std::uint32_t number = 0;
    for (; *digits; ++digits) {
        if (*digits < '0' || *digits > '9') return false;
        number = number * 10 + static_cast<std::uint32_t>(*digits - '0');
    }
    bound = static_cast<std::int32_t>(number);
    return bound >= 1;
}

// One key decides. A second one of the group stays behind and fails as a leftover.
Reported TakeCountPolicy(bool broad) {
    const char* bound = nullptr;
    if (TakeKey("all")) {
        state.countPolicy = kAll;
    } else if (TakeKey("1")) {
        state.countPolicy = kExactlyOne;
    } else if (!TakeKey("q", &bound)) {
        state.countPolicy = broad ? kAll : kExactlyOne;
    } else if (bound == nullptr) {
        state.countPolicy = kDefaultListBound;
    } else if (!ParseListBound(bound, state.countPolicy)) {
        return ReportError(kIntegerRequired);
    }
    return 0;
}

}  // namespace

Reported ParseSearchCriterion(bool broad) {
    TakeFilterStrings();
    TakeStores(broad);
    TakeChainKeys();
    return TakeCountPolicy(broad);
}

bool HasSearchKeys() {
    for (const char* word : {"dn", "m", "u", "f", "all", "1", "q", "nochain"}) {
        if (FindKey(word)) return true;
    }
    return false;
}

}  // namespace kestrel
