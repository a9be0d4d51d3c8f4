// GeneralName: the name of a time-stamp service or of a certificate's issuer.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "asn1data/records.h"
#include "stamps/blob.h"
#include "stamps/choice.h"

namespace Ferroline::ASN1 {

class CGeneralNameImpl final : public Choice {
  public:
    // The alternatives, counted from 1; the three others stay empty.
    static constexpr std::uint32_t kRfc822Name = 2;
    static constexpr std::uint32_t kDNSName = 3;
    static constexpr std::uint32_t kDirectoryName = 5;
    static constexpr std::uint32_t kUniformResourceIdentifier = 7;
    static constexpr std::uint32_t kIPAddress = 8;
    static constexpr std::uint32_t kRegisteredID = 9;

    CGeneralNameImpl() = default;
    CGeneralNameImpl(const CGeneralNameImpl& other) : Choice() { CopyFrom(other); }
    CGeneralNameImpl& operator=(const CGeneralNameImpl& other) {
        CopyFrom(other);
        return *this;
    }
    ~CGeneralNameImpl() override { Release(); }
    [[nodiscard]] const ChoiceValueTraits* GetTraits(std::uint32_t selector) const override;
};

// A handle. What was moved from can only be assigned to or destroyed.
class CGeneralName {
  public:
    CGeneralName() : impl_(std::make_unique<CGeneralNameImpl>()) {}
    CGeneralName(const CGeneralName& other)
        : impl_(std::make_unique<CGeneralNameImpl>(*other.impl_)) {}
    CGeneralName(CGeneralName&&) noexcept = default;
    CGeneralName& operator=(const CGeneralName& other) { return *this = CGeneralName(other); }
    CGeneralName& operator=(CGeneralName&&) noexcept = default;
    virtual ~CGeneralName() = default;

    [[nodiscard]] std::uint32_t GetSelector() const { return impl_->GetSelector(); }
    // Null when it is another alternative.
    [[nodiscard]] const std::wstring* GetRfc822Name() const;
    [[nodiscard]] const std::wstring* GetDNSName() const;
    [[nodiscard]] const CBlob* GetDirectoryName() const;  // DER of the Name
    [[nodiscard]] const std::wstring* GetUniformResourceIdentifier() const;
    [[nodiscard]] const CBlob* GetIPAddress() const;
    [[nodiscard]] const std::wstring* GetRegisteredID() const;  // dotted
    void SetRfc822Name(const std::wstring& text);
    void SetDNSName(const std::wstring& text);
    void SetDirectoryName(const CBlob& name);
    void SetUniformResourceIdentifier(const std::wstring& text);
    void SetIPAddress(const CBlob& address);
    void SetRegisteredID(const std::wstring& oid);

    // Both throw CRYPT_E_ASN1_INTERNAL; Decode throws E_INVALIDARG for an alternative that
    // is not kept.
    [[nodiscard]] CBlob Encode() const;
    void Decode(const CBlob& encoded);
    // The alternative's name, ": " and the value; empty without one.
    [[nodiscard]] std::wstring ToString() const;

    friend bool operator==(const CGeneralName& first, const CGeneralName& second);

  private:
    std::unique_ptr<CGeneralNameImpl> impl_;
};

using CGeneralNames = std::vector<CGeneralName>;

void Fill(asn1rt::ASN1Context& context, asn1data::GeneralName& record, const CGeneralName& value);
void Read(const asn1data::GeneralName& record, CGeneralName& value);
void Fill(asn1rt::ASN1Context& context, asn1data::GeneralNames& record, const CGeneralNames& value);
void Read(const asn1data::GeneralNames& record, CGeneralNames& value);

}  // namespace Ferroline::ASN1
