// Content that reads as the signed attributes of another signature. A signature over
// attributes and one over content look alike (RFC 5652 5.4), so such content, signed bare,
// can be given the place of the attributes and the other way round (cms-2).
#pragma once

#include "platform/der/ber_reader.h"

namespace platform {

// Looks at content in passing and holds no more than one identifier of it.
class AttributeSetWatch : private BerVisitor {
  public:
    void Feed(ByteView piece);
    // True when all that was fed is one SET OF Attribute with a message digest among them.
    [[nodiscard]] bool Found() const { return !foreign_ && digestSeen_ && reader_.Done(); }
    // Throws CRYPT_E_AUTH_ATTR_MISSING where it is: signed attributes would tell the two apart.
    void RequireOrdinary() const;

  private:
    [[nodiscard]] bool Enters(const BerHeader& header) const override;
    void OnHeader(const BerHeader& header) override;
    void OnContents(ByteView piece) override;
    void OnEnd(ByteView endOctets) override;
    [[nodiscard]] bool Fits(const BerHeader& header) const;

    BerReader reader_;
    std::size_t level_ = 0;
    unsigned field_ = 0;  // of the open attribute
    Bytes type_;          // its identifier, as far as it can matter
    bool begun_ = false;
    bool digestSeen_ = false;
    bool foreign_ = false;
};

}  // namespace platform
