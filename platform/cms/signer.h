// The making of one SignerInfo (RFC 5652 5.3): checked whole before the first byte of
// the message is written, signed once the content's digest is known.
#pragma once

#include "platform/base/ground.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/bytes.h"
#include "platform/cms/model.h"
#include "platform/providers/crypto.h"

namespace platform {

// A signer with its key opened and its attributes encoded. Holds copies: the record that
// it was made from need not outlive the constructor.
class PreparedSigner {
  public:
    // Throws ERROR_INVALID_PARAMETER for an incomplete record, CRYPT_E_OID_FORMAT and
    // CRYPT_E_BAD_ENCODE for attributes that do not hold one whole BER value each or that
    // the message places itself, CRYPT_E_ASN1_CONSTRAINT for values nested so deep that
    // nobody could read them in a message, and what DigestSize, SignatureAlgorithmFor and
    // PrivateKeyOf throw.
    PreparedSigner(const CMSG_SIGNER_ENCODE_INFO& info, const std::string& contentType);
    // The same with a key that is already at hand.
    PreparedSigner(const CMSG_SIGNER_ENCODE_INFO& info, const std::string& contentType, AnyKey key);

    [[nodiscard]] const Algorithm& DigestAlgorithm() const { return record_.digest; }
    // True without signed attributes.
    [[nodiscard]] bool CoversContent() const { return !record_.signedAttributes; }
    // With no signed attributes the signature covers the content itself; with any it covers
    // them, content type and message digest among them.
    [[nodiscard]] SignerInfo Sign(ByteView contentDigest) const;
    // The same record with zeros of the greatest possible length for a signature; for
    // answering questions of size without using the key.
    [[nodiscard]] SignerInfo Dummy() const;

  private:
    void AddSignedAttributes(const CMSG_SIGNER_ENCODE_INFO& info);
    [[nodiscard]] SignerInfo WithAttributes(ByteView contentDigest) const;

    std::string contentType_;
    AnyKey key_;
    SignerInfo record_;  // without message digest and signature
};

// Throws CRYPT_E_BAD_ENCODE for an attribute that a reader refuses among unsigned ones.
void RefuseAsUnsigned(std::string_view oid);

}  // namespace platform
