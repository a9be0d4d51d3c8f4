// OtherHash (RFC 5126): a SHA-1 value by itself, or any hash with its algorithm.
#pragma once

#include <cstdint>
#include <memory>

#include "asn1data/records.h"
#include "stamps/algorithm.h"
#include "stamps/choice.h"

namespace Ferroline::ASN1 {

class COtherHashImpl final : public Choice {
  public:
    static constexpr std::uint32_t kSha1Hash = 1;
    static constexpr std::uint32_t kOtherHash = 2;

    COtherHashImpl() = default;
    COtherHashImpl(const COtherHashImpl& other) : Choice() { CopyFrom(other); }
    COtherHashImpl& operator=(const COtherHashImpl& other) {
        CopyFrom(other);
        return *this;
    }
    ~COtherHashImpl() override { Release(); }
    [[nodiscard]] const ChoiceValueTraits* GetTraits(std::uint32_t selector) const override;
};

// A handle. What was moved from can only be assigned to or destroyed.
class COtherHash {
  public:
    COtherHash() : impl_(std::make_unique<COtherHashImpl>()) {}
    COtherHash(const COtherHash& other) : impl_(std::make_unique<COtherHashImpl>(*other.impl_)) {}
    COtherHash(COtherHash&&) noexcept = default;
    COtherHash& operator=(const COtherHash& other) { return *this = COtherHash(other); }
    COtherHash& operator=(COtherHash&&) noexcept = default;
    virtual ~COtherHash() = default;

    [[nodiscard]] std::uint32_t GetSelector() const { return impl_->GetSelector(); }
    // Null when it is the other alternative.
    [[nodiscard]] const CBlob* GetSha1Hash() const;
    [[nodiscard]] const COtherHashAlgAndValue* GetOtherHash() const;
    void SetSha1Hash(const CBlob& hash);
    void SetOtherHash(const COtherHashAlgAndValue& hash);

    friend bool operator==(const COtherHash& first, const COtherHash& second);

  private:
    std::unique_ptr<COtherHashImpl> impl_;
};

void Fill(asn1rt::ASN1Context& context, asn1data::OtherHash& record, const COtherHash& value);
void Read(const asn1data::OtherHash& record, COtherHash& value);

}  // namespace Ferroline::ASN1
