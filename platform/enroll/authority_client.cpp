// The object that asks a certification authority, by EST.
#include <enrollment.h>

#include <algorithm>
#include <iterator>
#include <optional>

#include "platform/certs/ancestors.h"
#include "platform/enroll/class_table.h"
#include "platform/enroll/com_object.h"
#include "platform/enroll/com_text.h"
#include "platform/enroll/est_client.h"
#include "platform/enroll/request.h"
#include "platform/enroll/waiting_requests.h"
#include "platform/http/ground.h"
#include "platform/simple/sign_message.h"

namespace platform {
namespace {

constexpr HRESULT kDeniedByAuthority = static_cast<HRESULT>(0x80094014);

std::wstring_view WideOf(BSTR text) {
    return text == nullptr ? std::wstring_view() : std::wstring_view(text, LengthOf(text));
}

// Octets in a text's place begin as a SEQUENCE does; text is no such thing, as its second octet is
// 0.
bool LooksBinary(ByteView octets) {
    return octets.size() > 2 && octets[0] == 0x30 && octets[1] != 0;
}

Bytes RequestOf(LONG flags, BSTR request) {
    const LONG encoding = flags & CR_IN_ENCODEMASK;
    const LONG format = flags & ~CR_IN_ENCODEMASK;
    if (format != 0 && format != CR_IN_PKCS10) throw Error(E_INVALIDARG);
    const bool any = encoding == CR_IN_ENCODEANY;
    if (!any && encoding > CR_IN_BINARY) throw Error(E_INVALIDARG);
    const ByteView octets = OctetsOf(request);
    const bool binary = any ? LooksBinary(octets) : encoding == CR_IN_BINARY;
    return binary ? Copy(octets) : DecodeText(request);
}

Bytes BundleMessage(const Certificates& certificates) {
    std::vector<PCCERT_CONTEXT> contexts;
    std::ranges::transform(certificates, std::back_inserter(contexts),
                           [](const auto& one) -> PCCERT_CONTEXT { return &one->Context(); });
    CRYPT_SIGN_MESSAGE_PARA para{};
    para.cbSize = sizeof para;
    para.cMsgCert = static_cast<DWORD>(contexts.size());
    para.rgpMsgCert = contexts.data();
    return SignMessage(para, {}, false, {}, false);
}

// The label is this one whatever stands behind it, as documented.
std::string Armoured(ByteView octets) {
    return "-----BEGIN CERTIFICATE-----\r\n" + Base64Lines(octets) +
           "-----END CERTIFICATE-----\r\n";
}

// One certificate, or a message of all that the chain flag asks for.
template <class Chain>
void PutCertificate(LONG flags, const CertificatePointer& certificate, Chain chain, BSTR* target) {
    const LONG encoding = flags & CR_OUT_ENCODEMASK;
    const LONG rest = flags & ~CR_OUT_ENCODEMASK;
    if (target == nullptr) throw Error(E_POINTER);
    if (encoding > CR_OUT_BINARY || (rest != 0 && rest != CR_OUT_CHAIN)) throw Error(E_INVALIDARG);
    const Bytes octets = rest == CR_OUT_CHAIN ? BundleMessage(chain()) : Copy(certificate->Der());
    if (encoding == CR_OUT_BINARY) {
        *target = NewOctets(octets);
    } else {
        PutText(target, encoding == CR_OUT_BASE64 ? Base64Lines(octets) : Armoured(octets));
    }
}

// The issuing authority's own: it issued none of the others (RFC 7030, 4.1.3).
CertificatePointer LowestOf(const Certificates& issuers) {
    const auto isLowest = [&](const auto& one) {
        return std::ranges::none_of(
            issuers, [&](const auto& other) { return other != one && Issued(*one, *other); });
    };
    const auto found = std::ranges::find_if(issuers, isLowest);
    return found == issuers.end() ? issuers.front() : *found;
}

class AuthorityClient final : public ComObject<ICertRequest, enrollment::kICertRequest> {
  public:
    HRESULT STDMETHODCALLTYPE Submit(LONG flags, const BSTR request, const BSTR /*attributes*/,
                                     const BSTR config, LONG* disposition) override {
        return Recorded([&] {
            if (disposition == nullptr) throw Error(E_POINTER);
            address_ = ParseEstAddress(WideOf(config));
            const WaitingRequest waiting{address_->Text(), RequestOf(flags, request)};
            *disposition = Send(waiting, [&] { return KeepWaiting(waiting); });
        });
    }

    HRESULT STDMETHODCALLTYPE RetrievePending(LONG requestId, const BSTR config,
                                              LONG* disposition) override {
        return Recorded([&] {
            if (disposition == nullptr) throw Error(E_POINTER);
            address_ = ParseEstAddress(WideOf(config));
            const WaitingRequest waiting = FindWaiting(requestId);
            if (waiting.authority != address_->Text()) {
                throw Error(CRYPT_E_NOT_FOUND, "the request waits at " + waiting.authority);
            }
            *disposition = Send(waiting, [&] { return requestId; });
        });
    }

    HRESULT STDMETHODCALLTYPE GetLastStatus(LONG* status) override {
        return Method([&] { PutValue(status, static_cast<LONG>(status_)); });
    }

    HRESULT STDMETHODCALLTYPE GetRequestId(LONG* requestId) override {
        return Method([&] {
            if (!requestId_) throw Error(E_UNEXPECTED);
            PutValue(requestId, *requestId_);
        });
    }

    HRESULT STDMETHODCALLTYPE GetDispositionMessage(BSTR* text) override {
        return Method([&] {
            if (text_.empty()) throw Error(E_UNEXPECTED);
            PutText(text, text_);
        });
    }

    HRESULT STDMETHODCALLTYPE GetCACertificate(LONG exchange, const BSTR config, LONG flags,
                                               BSTR* certificate) override {
        return Method([&] {
            if (exchange != 0) throw Error(E_NOTIMPL);  // the protocol knows of one alone
            const Certificates issuers =
                AskEstIssuers(ParseEstAddress(WideOf(config))).certificates;
            PutCertificate(
                flags, LowestOf(issuers), [&] { return issuers; }, certificate);
        });
    }

    HRESULT STDMETHODCALLTYPE GetCertificate(LONG flags, BSTR* certificate) override {
        return Method([&] {
            if (!issued_) throw Error(E_UNEXPECTED);
            PutCertificate(
                flags, issued_, [&] { return Chain(); }, certificate);
        });
    }

  private:
    // A call about a request: what the one before came to is forgotten.
    template <class Body>
    HRESULT Recorded(Body&& body,
                     const std::source_location& call = std::source_location::current()) {
        requestId_.reset();
        issued_.reset();
        answer_.clear();
        text_.clear();
        status_ = S_OK;
        const HRESULT result = Method(std::forward<Body>(body), call);
        if (FAILED(result)) status_ = result;
        return result;
    }

    template <class Number>
    LONG Send(const WaitingRequest& waiting, Number number) {
        const AnyKey key = PublicKeyOfRequest(waiting.request);
        EstAnswer answer = SendEstRequest(*address_, waiting.request);
        if (answer.verdict == EstVerdict::Waits) requestId_ = number();
        if (answer.verdict == EstVerdict::Denied) status_ = kDeniedByAuthority;
        if (answer.verdict == EstVerdict::Issued) Take(std::move(answer.certificates), key);
        text_ = std::move(answer.text);
        switch (answer.verdict) {
            case EstVerdict::Waits:
                return CR_DISP_UNDER_SUBMISSION;
            case EstVerdict::Denied:
                return CR_DISP_DENIED;
            default:
                return CR_DISP_ISSUED;
        }
    }

    void Take(CertificateBundle bundle, const AnyKey& key) {
        const auto found = std::ranges::find_if(bundle.certificates, [&](const auto& one) {
            const AnyKey other = PublicKeyOf(*one);
            return other && other.Matches(key);
        });
        if (found == bundle.certificates.end()) {
            throw Error(ERROR_WINHTTP_INVALID_SERVER_RESPONSE,
                        "no certificate of the answer has the key of the request");
        }
        issued_ = *found;
        answer_ = std::move(bundle.certificates);
    }

    // The answer mostly holds the certificate alone. Its issuers are asked for here, and a failure
    // of that must not cost the certificate (est-1).
    [[nodiscard]] Certificates Chain() const {
        Certificates all = answer_;
        const Certificates known = IssuersOf(issued_, all);
        if (!IsSelfSigned(known.empty() ? *issued_ : *known.back())) {
            try {
                std::ranges::copy(AskEstIssuers(*address_).certificates, std::back_inserter(all));
            } catch (const Error&) {
                // a shorter chain is still one
            }
        }
        Certificates chain = IssuersOf(issued_, all);
        chain.insert(chain.begin(), issued_);
        return chain;
    }

    std::optional<EstAddress> address_;
    HRESULT status_ = S_OK;
    std::string text_;
    std::optional<LONG> requestId_;
    CertificatePointer issued_;
    Certificates answer_;
};

}  // namespace

IUnknown* NewAuthorityClient() { return new AuthorityClient; }

}  // namespace platform
