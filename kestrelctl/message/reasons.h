// Verdicts and the words for what stands in the way of a good one (docs/verdicts.md).
#pragma once

#include <cstdint>
#include <span>
#include <string>
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
    Strength
};
inline constexpr std::size_t kChecks = 7;
const char* NameOf(Check check);

enum class Reason : std::uint8_t {
    CannotRead,
    Malformed,
    CutShort,
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
std::span<const ReasonRow> ReasonRows();

// One fault. The detail is a name or identifier that a stranger chose: it is escaped where it is
// printed.
struct Finding {
    Reason reason;
    std::string detail;
};

class Findings {
  public:
    void Add(Reason reason, std::string detail = {});
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
