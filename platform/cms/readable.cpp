// A dry run of the reader over what is about to be written.
#include "platform/cms/readable.h"

#include "platform/base/error.h"
#include "platform/cms/decoder_walker.h"
#include "platform/der/der.h"

namespace platform {
namespace {

// Lets everything pass: the walk itself counts.
class DryHost : public WalkerHost {
  public:
    explicit DryHost(std::span<const Field> wrapped) : wrapped_(wrapped) {}

    std::span<const Field> BodyFields() override { return wrapped_; }
    std::span<const Field> BareBodyFields() override { return wrapped_.front().inner; }
    void Keep(Piece /*piece*/, Bytes /*der*/) override {}
    ContentForm BeginContent(const BerHeader& /*header*/) override { return ContentForm::Raw; }
    void Content(ByteView /*octets*/) override {}
    void EndContent() override {}

  private:
    std::span<const Field> wrapped_;
};

}  // namespace

void CheckReadable(std::initializer_list<ByteView> parts, std::span<const Field> wrapped) {
    const DecodeLimits limits;
    DryHost host(wrapped);
    Walker walker(host, limits);
    BerReader reader(limits.depth);
    for (const ByteView part : parts) reader.Feed(part, walker);
    if (!reader.Done()) throw Error(CRYPT_E_ASN1_EOD);
}

}  // namespace platform
