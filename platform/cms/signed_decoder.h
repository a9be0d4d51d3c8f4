// SignedData (RFC 5652 5) as it arrives: digests run over the content, records are kept,
// verified and edited.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/cms/attribute_set.h"
#include "platform/cms/decoder.h"
#include "platform/cms/model.h"
#include "platform/providers/crypto.h"

namespace platform {

class SignedBody : public DecoderBody {
  public:
    explicit SignedBody(const DecodeSettings& settings) : settings_(settings) {}

    [[nodiscard]] DWORD Type() const override { return CMSG_SIGNED; }
    [[nodiscard]] std::span<const Field> Wrapped() const override { return WrappedSigned(); }
    void Keep(Piece piece, Bytes der) override;
    ContentForm BeginContent(const BerHeader& header) override;
    void Content(ByteView octets) override;
    void EndContent() override { contentComplete_ = true; }
    void EndMessage() override;
    void EndDetachedContent() override;
    void Pump() override {}
    void GetParam(DWORD param, DWORD index, void* data, DWORD* size) override;
    void Control(DWORD type, const void* para) override;

    // For those who judge a message part by part. The records grow while it arrives.
    [[nodiscard]] const SignedRecords& Records() const { return records_; }
    [[nodiscard]] bool ContentComplete() const { return contentComplete_; }
    // Throws CRYPT_E_BAD_MSG without content, NTE_BAD_ALGID for a digest that did not run.
    Bytes ContentDigest(const std::string& oid);
    // Throws CRYPT_E_AUTH_ATTR_MISSING for content that no signature may cover bare.
    void RequireOrdinaryContent();
    // Whether `info`'s key made the signature. Throws what VerifySigner and the two above throw.
    void VerifyWith(const SignerInfo& signer, const CERT_INFO& info);

  private:
    enum class Progress { Nothing, Version, ContentType, Records };

    void StartDigests();
    void Complete();
    void Require(Progress progress) const;
    [[nodiscard]] bool Held() const { return !settings_.sink && !settings_.detached; }
    Bytes AnnouncedDigest(const std::string& oid);

    // Values of GetParam (signed_params.cpp).
    void MessageParam(DWORD param, void* data, DWORD* size);
    void SignerParam(DWORD param, DWORD index, void* data, DWORD* size) const;
    void ChoiceParam(DWORD param, DWORD index, void* data, DWORD* size) const;
    void CopyContent(void* data, DWORD* size) const;
    void CopyMessage(Wrapping wrapping, void* data, DWORD* size) const;

    void VerifyByCertificate(const CERT_INFO& info);
    void VerifyByIndex(const CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA& para);
    void VerifyWith(const SignerInfo& signer, const CERT_PUBLIC_KEY_INFO& info);

    // Changes of the records (signed_edit.cpp).
    void Edit(DWORD type, const void* para);
    void AddSigner(const CMSG_SIGNER_ENCODE_INFO& info);
    void DeleteSigner(DWORD index);

    const DecodeSettings& settings_;
    SignedRecords records_;
    Progress progress_ = Progress::Nothing;
    // PlainChoices of each list, found when first asked for and forgotten with a change.
    mutable std::optional<std::vector<std::size_t>> plainCertificates_;
    mutable std::optional<std::vector<std::size_t>> plainCrls_;
    // Running while content passes; of held content, those that were asked for.
    std::vector<Digest> digests_;
    AttributeSetWatch watch_;
    bool contentComplete_ = false;
    // Set for PKCS #7 v1.5 content that is not an OCTET STRING: its tag. Tag and length are
    // not signed, so a stream hands on the contents octets alone. CMSG_CONTENT_PARAM gives
    // the whole element, which its reader parses by type anyway.
    std::optional<std::uint8_t> rawTag_;
    Bytes content_;         // contents octets; empty for a stream and for detached content
    bool watched_ = false;  // held content was looked at
};

// Positions of the elements that are certificates or CRLs proper (RFC 5652 10.2): the other
// choices are kept in the message and not counted.
std::vector<std::size_t> PlainChoices(const std::vector<Bytes>& choices);

}  // namespace platform
