// Subject and extensions of the self-signed certificate of a new identity.
#include "kestrelctl/self_signed.h"

#include "kestrelctl/cli.h"
#include "platform/certs/compare.h"
#include "platform/certs/names.h"
#include "platform/der/records.h"
#include "platform/enroll/request.h"

namespace kestrelctl {
namespace {

using platform::Bytes;

constexpr const char* kBasicConstraints = "2.5.29.19";

[[noreturn]] void RefuseName(const std::string& subject, const std::string& where) {
    throw Failure("'" + subject + "' is no name such as \"CN=Ann Example, O=Example\"" + where);
}

Bytes EncodeName(const std::string& subject) {
    try {
        return platform::TextToName(subject, CERT_X500_NAME_STR);
    } catch (const platform::BadNameText& bad) {
        RefuseName(subject, ": see at '" + subject.substr(bad.At()) + "'");
    } catch (const platform::Error&) {
        RefuseName(subject, "");
    }
}

// Of an end, not of an authority.
platform::Extension EndExtension() {
    return {kBasicConstraints, true, platform::der::Element(platform::der::kSequence, Bytes())};
}

// RFC 5280 4.2.1.2, method 1.
platform::Extension KeyIdentifierExtension(const platform::AnyKey& key) {
    const Bytes der = platform::PublicKeyToDer(key);
    platform::der::Cursor cursor(der);
    const Bytes hash = platform::Sha1Of(platform::ReadPublicKey(cursor).key.octets);
    return {szOID_SUBJECT_KEY_IDENTIFIER, false,
            platform::der::Element(platform::der::kOctetString, hash)};
}

}  // namespace

Bytes SelfSigned(const platform::AnyKey& key, const std::string& subject, unsigned long days) {
    constexpr std::uint8_t kUsage =
        CERT_DIGITAL_SIGNATURE_KEY_USAGE | CERT_NON_REPUDIATION_KEY_USAGE |
        CERT_KEY_ENCIPHERMENT_KEY_USAGE | CERT_DATA_ENCIPHERMENT_KEY_USAGE;
    const platform::RequestContent content{
        EncodeName(subject),
        {EndExtension(), platform::KeyUsageExtension(kUsage), KeyIdentifierExtension(key)}};
    try {
        return platform::SignSelf(content, key, days);
    } catch (const platform::Error& error) {
        if (error.Code() != ERROR_INVALID_PARAMETER) throw;
        throw Failure("a certificate of " + std::to_string(days) +
                      " days would end after the year 9999");
    }
}

}  // namespace kestrelctl
