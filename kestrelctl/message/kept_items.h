// Certificates and lists that messages bring, each of the same octets one object.
#pragma once

#include <algorithm>
#include <map>
#include <memory>

#include "platform/base/bytes.h"

namespace kestrelctl::message {

// Many files have one signer, and what was decoded of his certificate for the first serves the
// others. What is handed out is shared: nobody changes it. Forgets all when it holds too much.
template <class Item>
class KeptItems {
  public:
    // Throws what Item::Parse throws.
    std::shared_ptr<Item> Parse(platform::ByteView der) {
        if (const auto known = items_.find(der); known != items_.end()) return known->second;
        auto item = Item::Parse(der);
        if (der.size() > kMostOctets) return item;
        if (items_.size() >= kMostItems || octets_ + der.size() > kMostOctets) {
            items_.clear();
            octets_ = 0;
        }
        octets_ += der.size();
        items_.emplace(item->Der(), item);
        return item;
    }

  private:
    static constexpr std::size_t kMostItems = 200;
    static constexpr std::size_t kMostOctets = std::size_t{1} << 20;

    struct Less {
        bool operator()(platform::ByteView first, platform::ByteView second) const {
            return std::ranges::lexicographical_compare(first, second);
        }
    };
    std::map<platform::ByteView, std::shared_ptr<Item>, Less> items_;  // by their own octets
    std::size_t octets_ = 0;
};

}  // namespace kestrelctl::message
