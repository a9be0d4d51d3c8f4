// The common name of a subject.
#include "platform/enroll/common_name.h"

#include "platform/base/text.h"
#include "platform/certs/names.h"
#include "platform/der/der.h"

namespace platform {
namespace {

constexpr const char* kCommonName = "2.5.4.3";

}  // namespace

// RFC 5280 4.1.2.4: a sequence of sets of pairs.
std::string CommonNameOf(ByteView subject) {
    der::Cursor sets = der::Inside(subject, der::kSequence);
    while (!sets.AtEnd()) {
        der::Cursor pairs(sets.Expect(der::kSet).contents);
        while (!pairs.AtEnd()) {
            der::Cursor pair(pairs.Expect(der::kSequence).contents);
            if (pair.OidText() != kCommonName) continue;
            const auto text = ReadNameCharacters(pair.Next());
            if (text) return Narrow(*text);
        }
    }
    return {};
}

}  // namespace platform
