// The message's verdict out of its signers'.
#include "kestrelctl/message/demands.h"

#include <algorithm>
#include <filesystem>

#include "kestrelctl/bundle_file.h"
#include "kestrelctl/cli.h"
#include "kestrelctl/text_forms.h"
#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/certs/compare.h"
#include "platform/certs/names.h"
#include "platform/enroll/common_name.h"

namespace kestrelctl::message {
namespace {

using platform::Certificate;

// A whole SHA-1 or SHA-256 value: a certificate can be made to fit the beginning of one.
bool IsThumbprint(const std::string& text) {
    const bool hex = text.find_first_not_of("0123456789abcdef") == text.npos;
    return hex && (text.size() == 40 || text.size() == 64);
}

// Whoever can put files into the folder at hand must not change what a name means.
bool LooksLikeFile(const std::string& word) {
    constexpr std::string_view kEnds[] = {".cer", ".crt", ".pem", ".der"};
    return word.find('/') != word.npos || std::ranges::any_of(kEnds, [&](std::string_view end) {
               return word.size() >= end.size() &&
                      platform::SameName(std::string_view(word).substr(word.size() - end.size()),
                                         end);
           });
}

// The last, which is the one below the others. Empty for a subject that is no name.
std::string CommonName(const CERT_NAME_BLOB& subject) {
    try {
        const auto names = platform::CommonNamesOf(platform::ViewOf(subject));
        return names.empty() ? std::string() : names.back();
    } catch (const platform::Error&) {
        return {};
    }
}

// A whole subject with blanks where `show` prints none, as `openssl` does. As given where it is
// no subject.
std::string SubjectText(const std::string& name) {
    try {
        platform::Bytes encoded = platform::TextToName(name, CERT_X500_NAME_STR);
        return NameText({static_cast<DWORD>(encoded.size()), encoded.data()});
    } catch (const platform::Error&) {
        return name;
    }
}

// A common name may read as anybody's whole subject, which is what a name with '=' means.
bool HasName(const Certificate& certificate, const std::string& name) {
    const CERT_NAME_BLOB& subject = certificate.Info().Subject;
    if (name.find('=') == name.npos) return platform::SameName(CommonName(subject), name);
    const std::string whole = NameText(subject);
    return platform::SameName(whole, name) || platform::SameName(whole, SubjectText(name));
}

bool Is(const Certificate& certificate, const Wanted& wanted) {
    if (wanted.certificate) return platform::Equal(wanted.certificate->Der(), certificate.Der());
    const std::string hex = PlainHex(wanted.name);
    if (!IsThumbprint(hex)) return HasName(certificate, wanted.name);
    return hex ==
           (hex.size() == 40 ? Thumbprint(certificate.Der()) : Sha256Text(certificate.Der()));
}

// The worst of those that it may be, whose findings are added: all that he signed has to hold.
std::optional<std::size_t> TakeSignaturesOf(const Wanted& wanted, MessageVerdict& message) {
    std::optional<std::size_t> worst;
    for (std::size_t i = 0; i < message.signers.size(); ++i) {
        const SignerVerdict& signer = message.signers[i];
        const auto& certificate = signer.identity.certificate;
        if (!certificate || !Is(*certificate, wanted)) continue;
        message.findings.Add(signer.findings);
        const auto weight = [&](std::size_t at) { return message.signers[at].findings.Worst(); };
        if (!worst || weight(i) > weight(*worst)) worst = i;
    }
    return worst;
}

bool Is(const std::optional<StampVerdict>& token, const Wanted& wanted) {
    return token && token->service && Is(*token->service, wanted);
}

void TakeDemanded(const Demands& demands, MessageVerdict& message) {
    for (const Wanted& wanted : demands.signers) {
        const auto signer = TakeSignaturesOf(wanted, message);
        message.demanded.push_back({wanted.name, signer});
        if (!signer && !Is(message.token, wanted)) {
            message.findings.Add(Reason::SignerMissing, wanted.name);
        }
    }
}

// Anybody can add a signature that proves nothing, so that one that is good suffices; yet one
// that is bad tells that somebody tried.
void TakeSigners(MessageVerdict& message) {
    Verdict best = Verdict::Bad;
    for (const SignerVerdict& signer : message.signers) {
        best = std::min(best, signer.findings.Worst());
    }
    for (const SignerVerdict& signer : message.signers) {
        const bool counts = best != Verdict::Good || signer.findings.Worst() == Verdict::Bad;
        if (counts) message.findings.Add(signer.findings);
    }
}

}  // namespace

Wanted WantedSigner(const std::string& name) {
    // It would be the name of everybody who has none.
    if (name.empty()) throw UsageError("'--signer' needs a name, a thumbprint or a file");
    if (!LooksLikeFile(name)) return {name, nullptr};
    const auto bundle = ReadBundleFile(name);
    if (bundle.certificates.empty()) throw Failure(name + " holds no certificate");
    // Whose signature would do is not for the order in a file to say.
    if (bundle.certificates.size() > 1) {
        throw UsageError("'--signer' needs one certificate, and '" + name + "' holds " +
                         std::to_string(bundle.certificates.size()));
    }
    return {name, bundle.certificates.front()};
}

void JudgeDemands(const Demands& demands, MessageVerdict& message) {
    if (message.token) message.findings.Add(message.token->findings);
    TakeDemanded(demands, message);
    if (demands.all) {
        if (message.token) message.findings.Add(Reason::NoSigner);
        for (const SignerVerdict& signer : message.signers) message.findings.Add(signer.findings);
    } else if (demands.signers.empty()) {
        TakeSigners(message);
    }
}

}  // namespace kestrelctl::message
