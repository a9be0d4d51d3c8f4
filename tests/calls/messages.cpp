// Messages: opening, feeding, asking, and their errors.
#include "tests/calls/calls.h"
#include "tests/calls/fixtures.h"

namespace calls {
namespace {

BOOL WINAPI Drop(const void*, BYTE*, DWORD, BOOL) { return TRUE; }

std::string Opened(HCRYPTMSG message) {
    const std::string told = Told(message);
    CryptMsgClose(message);
    return told;
}

HCRYPTMSG Decoder(PCMSG_STREAM_INFO stream = nullptr) {
    return CryptMsgOpenToDecode(kEncoding, 0, 0, 0, nullptr, stream);
}

BOOL Update(HCRYPTMSG message, const Octets& data, BOOL isFinal) {
    return CryptMsgUpdate(message, data.data(), static_cast<DWORD>(data.size()), isFinal);
}

std::string Fed(const char* octets, std::initializer_list<BOOL> finals) {
    const HCRYPTMSG message = Decoder();
    std::string told;
    for (const BOOL isFinal : finals) {
        told += (told.empty() ? "" : " ") + Told(Update(message, FromHex(octets), isFinal));
    }
    CryptMsgClose(message);
    return told;
}

std::string Param(const char* octets, DWORD param, DWORD index) {
    const HCRYPTMSG message = Decoder();
    if (octets != nullptr) Update(message, FromHex(octets), TRUE);
    const std::string told = SizeQueries(
        [&](void* out, DWORD* size) { return CryptMsgGetParam(message, param, index, out, size); });
    CryptMsgClose(message);
    return told;
}

std::string ParamError(const char* octets, DWORD param, DWORD index) {
    const HCRYPTMSG message = Decoder();
    if (octets != nullptr) Update(message, FromHex(octets), TRUE);
    DWORD size = 77;
    const BOOL result = CryptMsgGetParam(message, param, index, nullptr, &size);
    const std::string told = Told(result);
    CryptMsgClose(message);
    return told;
}

std::string StreamedGarbage() {
    CMSG_STREAM_INFO stream{};
    stream.cbContent = CMSG_INDEFINITE_LENGTH;
    stream.pfnStreamOutput = Drop;
    const HCRYPTMSG message = Decoder(&stream);
    const std::string told = Told(Update(message, FromHex("0500"), TRUE));
    CryptMsgClose(message);
    return told;
}

std::string EncoderUpdates(std::initializer_list<BOOL> finals) {
    CMSG_SIGNED_ENCODE_INFO info{};
    info.cbSize = sizeof info;
    const HCRYPTMSG message =
        CryptMsgOpenToEncode(kEncoding, 0, CMSG_SIGNED, &info, nullptr, nullptr);
    if (message == nullptr) return Told(message);
    std::string told;
    for (const BOOL isFinal : finals) {
        told += (told.empty() ? "" : " ") + Told(Update(message, {1, 2, 3}, isFinal));
    }
    CryptMsgClose(message);
    return told;
}

const Case kMessageCases[] = {
    {"message: no encoding",
     [] { return Opened(CryptMsgOpenToDecode(0, 0, 0, 0, nullptr, nullptr)); }, "80070057"},
    {"message: encode unknown type",
     [] {
         int info = 0;
         return Opened(CryptMsgOpenToEncode(kEncoding, 0, 77, &info, nullptr, nullptr));
     },
     "80091004"},
    {"message: close null", [] { return Told(CryptMsgClose(nullptr)); }, "ok"},
    {"message: piece that is not the last", [] { return Fed(kSignedMessage, {FALSE}); },
     "80091001"},
    {"message: final twice",
     [] {
         return Fed(kSignedMessage, {TRUE, TRUE});
     },
     "ok 80091001"},
    {"message: garbage", [] { return Fed("0500", {TRUE}); }, "8009310b"},
    {"message: nothing", [] { return Fed("", {TRUE}); }, "80093102"},
    {"message: streamed garbage", StreamedGarbage, "8009310b"},
    {"message: encoder, piece that is not the last", [] { return EncoderUpdates({FALSE}); },
     "80091001"},
    {"message: encoder, final twice",
     [] {
         return EncoderUpdates({TRUE, TRUE});
     },
     "ok 80091001"},
    {"message: asked before it was fed",
     [] { return ParamError(nullptr, CMSG_SIGNER_COUNT_PARAM, 0); }, "80091004"},
    {"message: content sizes", [] { return Param(kSignedMessage, CMSG_CONTENT_PARAM, 0); },
     "ok 7, 000000ea 7, ok 7, ok 7"},
    {"message: signer out of range",
     [] { return ParamError(kSignedMessage, CMSG_SIGNER_INFO_PARAM, 1); }, "80091008"},
    {"message: unknown parameter", [] { return ParamError(kSignedMessage, 99, 0); }, "80091004"},
    {"message: unknown control",
     [] {
         const HCRYPTMSG m = Decoder();
         const std::string told = Told(CryptMsgControl(m, 0, 99, nullptr));
         CryptMsgClose(m);
         return told;
     },
     "8009100c"},
};

}  // namespace

std::span<const Case> MessageCases() { return kMessageCases; }

}  // namespace calls
