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
std::vector<std::string> CommonNamesOf(ByteView subject) {
    std::vector<std::string> names;
    der::Cursor sets = der::Inside(subject, der::kSequence);
    while (!sets.AtEnd()) {
        der::Cursor pairs(sets.Expect(der::kSet).contents);
        while (!pairs.AtEnd()) {
            der::Cursor pair(pairs.Expect(der::kSequence).contents);
            if (pair.OidText() != kCommonName) continue;
            const auto text = ReadNameCharacters(pair.Next());
            if (text) names.push_back(Narrow(*text));
        }
    }
    return names;
}

std::string CommonNameOf(ByteView subject) {
    const auto names = CommonNamesOf(subject);
    return names.empty() ? std::string() : names.front();
}

}  // namespace platform
