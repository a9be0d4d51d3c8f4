// Names against masks.
#include "platform/base/file_mask.h"

#include "platform/base/text.h"

namespace platform {

// When the rest does not fit, the last "*" takes one character more. Those before it never
// need to: any way to fit that they would open is open to the last one too.
bool MatchesMask(std::string_view mask, std::string_view name) noexcept {
    if (mask == "*.*") return true;
    bool starSeen = false;
    std::string_view maskBehindStar;
    std::string_view nameBehindStar;
    while (!name.empty() || !mask.empty()) {
        if (mask.starts_with('*')) {
            mask.remove_prefix(1);
            starSeen = true;
            maskBehindStar = mask;
            nameBehindStar = name;
        } else if (mask.starts_with('?') && !name.empty()) {
            mask.remove_prefix(1);
            TakeCharacter(name);
        } else if (!mask.empty() && !name.empty() && mask.front() == name.front()) {
            mask.remove_prefix(1);
            name.remove_prefix(1);
        } else if (starSeen && !nameBehindStar.empty()) {
            TakeCharacter(nameBehindStar);
            mask = maskBehindStar;
            name = nameBehindStar;
        } else {
            return false;
        }
    }
    return true;
}

}  // namespace platform
