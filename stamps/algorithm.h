// Algorithm identifiers, and a hash value beside the algorithm that made it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "asn1data/records.h"
#include "stamps/blob.h"

namespace Ferroline::ASN1 {

class CAlgorithmIdentifier {
  public:
    CAlgorithmIdentifier() = default;
    explicit CAlgorithmIdentifier(std::string_view oid) : oid_(oid) {}
    CAlgorithmIdentifier(const CAlgorithmIdentifier&) = default;
    CAlgorithmIdentifier(CAlgorithmIdentifier&&) noexcept = default;
    CAlgorithmIdentifier& operator=(const CAlgorithmIdentifier&) = default;
    CAlgorithmIdentifier& operator=(CAlgorithmIdentifier&&) noexcept = default;
    virtual ~CAlgorithmIdentifier() = default;
    virtual void SetOID(std::string_view oid) { oid_ = oid; }

    // Dotted.
    [[nodiscard]] const std::string& GetOID() const { return oid_; }
    // One encoded value, or empty.
    [[nodiscard]] const CBlob& GetParameters() const { return parameters_; }
    void SetParameters(CBlob parameters) { parameters_ = std::move(parameters); }

    friend bool operator==(const CAlgorithmIdentifier& first, const CAlgorithmIdentifier& second) {
        return first.oid_ == second.oid_ && first.parameters_ == second.parameters_;
    }

  private:
    std::string oid_;
    CBlob parameters_;
};

// Of the hash of an imprint: remembers a number for the algorithm as long as its identifier
// stays.
class CAlgorithmIdentifierEx : public CAlgorithmIdentifier {
  public:
    using CAlgorithmIdentifier::CAlgorithmIdentifier;
    void SetOID(std::string_view oid) override;
    [[nodiscard]] std::uint32_t GetNumber() const { return number_; }

  private:
    std::uint32_t number_ = 0;
};

struct COtherHashAlgAndValue {
    CAlgorithmIdentifier algorithm;
    CBlob value;

    friend bool operator==(const COtherHashAlgAndValue&, const COtherHashAlgAndValue&) = default;
};

void Fill(asn1rt::ASN1Context& context, asn1data::AlgorithmIdentifier& record,
          const CAlgorithmIdentifier& value);
void Read(const asn1data::AlgorithmIdentifier& record, CAlgorithmIdentifier& value);
void Fill(asn1rt::ASN1Context& context, asn1data::OtherHashAlgAndValue& record,
          const COtherHashAlgAndValue& value);
void Read(const asn1data::OtherHashAlgAndValue& record, COtherHashAlgAndValue& value);

}  // namespace Ferroline::ASN1
