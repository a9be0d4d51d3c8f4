// A ContentInfo of data (RFC 5652 4): octets in a wrapping, and nothing to check.
#include "platform/base/output.h"
#include "platform/cms/decoder.h"
#include "platform/cms/params.h"
#include "platform/der/der.h"

namespace platform {
namespace {

class DataBody : public DecoderBody {
  public:
    explicit DataBody(const DecodeSettings& settings) : settings_(settings) {}

    [[nodiscard]] DWORD Type() const override { return CMSG_DATA; }
    [[nodiscard]] std::span<const Field> Wrapped() const override { return WrappedData(); }
    void Keep(Piece /*piece*/, Bytes /*der*/) override {}
    ContentForm BeginContent(const BerHeader& /*header*/) override {
        if (!settings_.sink) content_.reserve(settings_.heldInput);
        return ContentForm::OctetString;
    }
    void Content(ByteView octets) override {
        if (!settings_.sink) return der::Append(content_, octets);
        if (!octets.empty()) settings_.sink->Write(octets, false);
    }
    void EndContent() override {}
    void EndMessage() override {
        ended_ = true;
        if (settings_.sink) settings_.sink->Write({}, true);
    }
    void EndDetachedContent() override {}
    void Pump() override {}

    void GetParam(DWORD param, DWORD /*index*/, void* data, DWORD* size) override {
        if (param != CMSG_CONTENT_PARAM || settings_.sink) throw Error(CRYPT_E_INVALID_MSG_TYPE);
        if (!ended_) throw Error(settings_.NotReady());
        CopyOut(content_, data, size);
    }
    void Control(DWORD /*type*/, const void* /*para*/) override {
        throw Error(CRYPT_E_CONTROL_TYPE);
    }

  private:
    const DecodeSettings& settings_;
    Bytes content_;  // empty for a stream
    bool ended_ = false;
};

}  // namespace

std::unique_ptr<DecoderBody> NewDataBody(const DecodeSettings& settings) {
    return std::make_unique<DataBody>(settings);
}

}  // namespace platform
