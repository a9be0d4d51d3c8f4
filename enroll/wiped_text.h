// Narrow text that is wiped when it goes or moves on, for what holds a password.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "front/core/secret.h"

namespace kestrel {

struct WipedText {
    WipedText() = default;
    ~WipedText() { Clear(); }
    WipedText(const WipedText&) = delete;
    WipedText& operator=(const WipedText&) = delete;

    // Growing leaves no copy behind.
    void Append(std::string_view more) {
        if (text.size() + more.size() > text.capacity()) {
            std::string larger;
            larger.reserve(std::max(2 * text.size(), text.size() + more.size()));
            larger += text;
            Clear();
            text.swap(larger);
        }
        text += more;
    }
    void Clear() {
        Wipe(text.data(), text.size());
        text.clear();
    }

    std::string text;
};

}  // namespace kestrel
