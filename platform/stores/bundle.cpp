// ReadBundle: what a file of certificates holds.
#include <algorithm>
#include <array>
#include <iterator>

#include "platform/base/error.h"
#include "platform/der/der.h"
#include "platform/stores/bundle_message.h"
#include "platform/stores/bundle_text.h"
#include "platform/stores/store.h"

namespace platform {
namespace {

constexpr std::uint8_t kIndefiniteLength = 0x80;
// Some editors put it before text.
constexpr std::array<std::uint8_t, 3> kUtf8Mark = {0xEF, 0xBB, 0xBF};

CertificateBundle ReadMessage(ByteView der) {
    MessageReader reader;
    reader.Feed(der);
    return reader.Finish();
}

// The tag of the first element inside an outer sequence; 0 when there is none.
std::uint8_t FirstInnerTag(ByteView der) {
    if (der.size() > 2 && der[1] == kIndefiniteLength) return der[2];
    return der::Cursor(der::Cursor(der).Expect(der::kSequence).contents).Peek();
}

// Certificates and CRLs have one shape but for the place of the validity, so one is
// tried after the other; a ContentInfo begins with its type.
CertificateBundle ReadDer(ByteView der) {
    if (FirstInnerTag(der) == der::kOid) return ReadMessage(der);
    CertificateBundle bundle;
    try {
        bundle.certificates.push_back(Certificate::Parse(der));
    } catch (const Error& error) {
        try {
            bundle.crls.push_back(Crl::Parse(der));
        } catch (const Error&) {
            throw error;  // certificates are what most files are meant to hold
        }
    }
    return bundle;
}

void Join(CertificateBundle& bundle, CertificateBundle more) {
    std::move(more.certificates.begin(), more.certificates.end(),
              std::back_inserter(bundle.certificates));
    std::move(more.crls.begin(), more.crls.end(), std::back_inserter(bundle.crls));
}

// A trusted certificate of OpenSSL has its trust settings behind the certificate.
ByteView WithoutTrust(ByteView der) { return der::Cursor(der).Expect(der::kSequence).whole; }

template <std::size_t N>
bool OneOf(std::string_view label, const std::array<std::string_view, N>& labels) {
    return std::find(labels.begin(), labels.end(), label) != labels.end();
}

CertificateBundle ReadArmoured(ByteView content) {
    constexpr std::array<std::string_view, 3> certificates = {"CERTIFICATE", "X509 CERTIFICATE",
                                                              "TRUSTED CERTIFICATE"};
    constexpr std::array<std::string_view, 4> others = {"X509 CRL", "PKCS7", "PKCS #7 SIGNED DATA",
                                                        "CMS"};
    CertificateBundle bundle;
    bool found = false;
    ForEachBlock(content, [&](std::string_view label, ByteView octets) {
        const bool certificate = OneOf(label, certificates);
        // Keys and parameters often stand in the same file.
        if (!certificate && !OneOf(label, others)) return;
        found = true;
        Join(bundle, ReadDer(label == certificates[2] ? WithoutTrust(octets) : octets));
    });
    if (!found) throw Error(CRYPT_E_BAD_ENCODE);
    return bundle;
}

// Whether binary content is meant: text may begin with "0" as well, but then its
// second character is no length that fits.
bool LooksLikeDer(ByteView content) {
    if (content.size() < 2 || content[0] != der::kSequence) return false;
    if (content[1] == kIndefiniteLength) return true;
    try {
        return der::Cursor(content).Next().whole.size() == content.size();
    } catch (const Error&) {
        return content[1] > kIndefiniteLength;  // cut short
    }
}

}  // namespace

CertificateBundle ReadBundle(ByteView content) {
    if (Equal(content.first(std::min(content.size(), kUtf8Mark.size())), kUtf8Mark)) {
        content = content.subspan(kUtf8Mark.size());
    }
    if (LooksLikeDer(content)) return ReadDer(content);
    if (HasArmour(content)) return ReadArmoured(content);
    const Bytes octets = DecodeBase64(content);
    if (!LooksLikeDer(octets)) throw Error(CRYPT_E_BAD_ENCODE);
    return ReadDer(octets);
}

}  // namespace platform
