// The unsigned attributes that hold signatures.
#include "kestrelctl/message/countersigner.h"

#include "kestrelctl/message/attributes.h"
#include "kestrelctl/message/strength.h"
#include "kestrelctl/text_forms.h"
#include "platform/base/error.h"

namespace kestrelctl::message {
namespace {

// Each costs the checks of several signatures.
constexpr std::size_t kMostCountersignatures = 20;

Countersignature JudgeOne(platform::ByteView value, const platform::SignerInfo& covered,
                          const Surroundings& around, platform::Ticks time, const Means& means) {
    Countersignature one;
    try {
        one.info = platform::ParseSignerInfo(value);
    } catch (const platform::Error&) {
        one.findings.Add(Reason::CountersignatureWrong);
        return one;
    }
    one.identity = IdentifyCountersigner(*one.info, covered.signature, around, means);
    one.findings.Add(one.identity.findings);
    if (const auto weak =
            WeaknessOfSignature(one.info->digest, one.info->signatureAlgorithm, time)) {
        one.findings.Add(Reason::WeakAlgorithm, *weak);
    }
    return one;
}

}  // namespace

std::vector<Countersignature> JudgeCountersignatures(const platform::SignerInfo& signer,
                                                     const Surroundings& around,
                                                     platform::Ticks time, const Means& means,
                                                     Findings& findings) {
    const std::vector<platform::Bytes> values =
        ValuesOf(signer.unsignedAttributes, kCountersignatureOid);
    std::vector<Countersignature> all;
    if (values.size() > kMostCountersignatures) {
        findings.Add(Reason::TooManyCountersignatures);
        return all;
    }
    for (const platform::Bytes& value : values) {
        all.push_back(JudgeOne(value, signer, around, time, means));
        const bool bad = all.back().findings.Worst() == Verdict::Bad;
        const auto& who = all.back().identity.certificate;
        if (!bad) continue;
        findings.Add(Reason::CountersignatureWrong,
                     who ? NameText(who->Info().Subject) : std::string());
    }
    return all;
}

}  // namespace kestrelctl::message
