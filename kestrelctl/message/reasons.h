// Verdicts and the words for what stands in the way of a good one (docs/verdicts.md).
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace kestrelctl::message {

// In order of weight.
enum class Verdict : std::uint8_t { Good, Indeterminate, Bad };
const char* NameOf(Verdict verdict);

// What is looked at, in this order.
enum class Check : std::uint8_t {
    Message,
    Signature,
    Certificate,
    Fitness,
    Chain,
    Stamps,
    Countersignatures,
    Strength
};
const char* NameOf(Check check);

enum class Reason : std::uint8_t {
    CannotRead,
    Malformed,
    CutShort,
    NoSignature,
    NotSigned,
    NoSigner,
    TooManySigners,
    ContentInside,
    PartNotSigned,
    SignerMissing,
    NoContent,
    ContentChanged,
    ContentAmbiguous,
    AttributeTwice,
    AttributeWrong,
    SignatureWrong,
    AlgorithmUnknown,
    CertificateDiffers,
    CertificateMissing,
    TooManyCandidates,
    NotForSigning,
    ChainSignature,
    Revoked,
    ChainIncomplete,
    RootUntrusted,
    Expired,
    NotYetValid,
    ChainConstraints,
    RevocationUnknown,
    TooManyStamps,
    StampMalformed,
    StampImprint,
    StampSignature,
    StampCertificate,
    StampUsage,
    StampFuture,
    StampRevoked,
    StampUntrusted,
    StampChain,
    StampExpired,
    StampAlgorithm,
    StampRevocationUnknown,
    StampWeak,
    TooManyCountersignatures,
    CountersignatureWrong,
    WeakAlgorithm,
};

struct ReasonRow {
    Reason reason;
    const char* word;
    Verdict verdict;
    Check check;
    const char* english;
    const char* russian;
};
const ReasonRow& RowOf(Reason reason);

// What a fault is about: a name or identifier that a stranger chose, which is the same in both
// languages and escaped where it is printed, or words of our own.
struct Detail {
    Detail() = default;
    Detail(const std::string& name) : english(name), russian(name) {}
    Detail(const char* name) : Detail(std::string(name)) {}
    Detail(std::string inEnglish, std::string inRussian)
        : english(std::move(inEnglish)), russian(std::move(inRussian)) {}
    // With a name behind.
    [[nodiscard]] Detail Of(const std::string& name) const {
        return {english + ": " + name, russian + ": " + name};
    }

    std::string english;
    std::string russian;
};

struct Finding {
    Reason reason;
    Detail detail;
};

class Findings {
  public:
    void Add(Reason reason, Detail detail = {});
    // All of another thing's, an embedded stamp's for example.
    void Add(const Findings& others);
    [[nodiscard]] const std::vector<Finding>& All() const { return all_; }
    [[nodiscard]] Verdict Worst() const;
    [[nodiscard]] Verdict WorstOf(Check check) const;
    // The first of the worst; null without any.
    [[nodiscard]] const Finding* First() const;
    [[nodiscard]] bool Has(Reason reason) const;

  private:
    std::vector<Finding> all_;
};

}  // namespace kestrelctl::message
