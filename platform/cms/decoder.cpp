// One object that finds out what arrives.
#include "platform/cms/decoder.h"

#include <string>
#include <utility>

#include "platform/base/output.h"
#include "platform/der/der.h"

namespace platform {
namespace {

DWORD TypeOf(const std::string& oid) {
    if (oid == szOID_RSA_data) return CMSG_DATA;
    if (oid == szOID_RSA_signedData) return CMSG_SIGNED;
    if (oid == szOID_RSA_envelopedData) return CMSG_ENVELOPED;
    throw Error(CRYPT_E_INVALID_MSG_TYPE);
}

std::unique_ptr<DecoderBody> NewBody(DWORD type, const DecodeSettings& settings) {
    switch (type) {
        case CMSG_SIGNED:
            return NewSignedBody(settings);
        case CMSG_ENVELOPED:
            return NewEnvelopedBody(settings);
        default:
            return NewDataBody(settings);
    }
}

}  // namespace

DecodedMessage::DecodedMessage(DecodeSettings settings)
    : settings_(settings), reader_(settings_.limits.depth), walker_(*this, settings_.limits) {}

void DecodedMessage::Feed(ByteView data, bool isFinal) {
    if (phase_ == Phase::DetachedContent) {
        FeedDetachedContent(data, isFinal);
    } else {
        FeedMessage(data, isFinal);
    }
    if (body_) body_->Pump();
}

void DecodedMessage::FeedMessage(ByteView data, bool isFinal) {
    // Text and other foreign files are told by their first octet, whatever header the
    // octets behind it would make.
    if (!started_ && !data.empty() && data.front() != der::kSequence) {
        throw Error(CRYPT_E_ASN1_BADTAG);
    }
    started_ = started_ || !data.empty();
    if (!settings_.sink) settings_.heldInput = data.size();
    reader_.Feed(data, walker_);
    if (!isFinal) return;
    if (!reader_.Done()) {
        throw Error(settings_.sink ? CRYPT_E_STREAM_INSUFFICIENT_DATA : CRYPT_E_ASN1_EOD);
    }
    body_->EndMessage();
    phase_ = settings_.detached ? Phase::DetachedContent : Phase::Done;
}

void DecodedMessage::FeedDetachedContent(ByteView data, bool isFinal) {
    body_->Content(data);
    if (!isFinal) return;
    body_->EndDetachedContent();
    phase_ = Phase::Done;
}

void DecodedMessage::CreateBody(DWORD type) {
    const bool demanded = settings_.type == 0 || settings_.type == type;
    // Only signed content can stand beside its message.
    if (!demanded || (settings_.detached && type != CMSG_SIGNED)) {
        throw Error(CRYPT_E_INVALID_MSG_TYPE);
    }
    body_ = NewBody(type, settings_);
}

// A caller that says what comes may leave the ContentInfo out.
std::span<const Field> DecodedMessage::BareBodyFields() {
    if (settings_.type != CMSG_SIGNED && settings_.type != CMSG_ENVELOPED) return {};
    CreateBody(settings_.type);
    return body_->Wrapped().front().inner;
}

void DecodedMessage::Keep(Piece piece, Bytes der) {
    if (piece != Piece::Type) return body_->Keep(piece, std::move(der));
    der::Cursor cursor(der);
    CreateBody(TypeOf(cursor.OidText()));
}

ContentForm DecodedMessage::BeginContent(const BerHeader& header) {
    return body_->BeginContent(header);
}

void DecodedMessage::GetParam(DWORD param, DWORD index, void* data, DWORD* size) {
    ThrowIfFailed();
    if (!body_) throw Error(settings_.NotReady());
    if (param == CMSG_TYPE_PARAM) return CopyNumber(body_->Type(), data, size);
    body_->GetParam(param, index, data, size);
}

void DecodedMessage::Control(DWORD type, DWORD /*flags*/, const void* para) {
    ThrowIfFailed();
    if (!body_) throw Error(settings_.NotReady());
    body_->Control(type, para);
    PumpAfterControl();
}

// A control that is refused changes nothing and may be tried again; once output flows,
// a failure is the end of the message.
void DecodedMessage::PumpAfterControl() {
    try {
        body_->Pump();
    } catch (const Error& error) {
        Fail(error.Code());
        throw;
    } catch (...) {
        Fail(static_cast<DWORD>(E_OUTOFMEMORY));
        throw;
    }
}

std::shared_ptr<Message> NewDecoder(DWORD flags, DWORD type, std::shared_ptr<Provider> provider,
                                    const CMSG_STREAM_INFO* stream) {
    if ((flags & ~static_cast<DWORD>(CMSG_DETACHED_FLAG)) != 0) {
        throw Error(ERROR_INVALID_PARAMETER);
    }
    if (stream != nullptr && stream->pfnStreamOutput == nullptr) {
        throw Error(ERROR_INVALID_PARAMETER);
    }
    if (type > CMSG_ENVELOPED) {
        throw Error(CRYPT_E_INVALID_MSG_TYPE);
    }
    DecodeSettings settings;
    if (stream != nullptr) settings.sink.emplace(*stream);
    settings.provider = std::move(provider);
    settings.detached = (flags & CMSG_DETACHED_FLAG) != 0;
    settings.type = type;
    return std::make_shared<DecodedMessage>(settings);
}

}  // namespace platform
