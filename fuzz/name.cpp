// Names, from their encoding to text and from text to their encoding.
#include "platform/base/ground.h"

#include <string>

#include "fuzz/support.h"
#include "platform/base/bytes.h"

namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING;
constexpr DWORD kForms[] = {CERT_SIMPLE_NAME_STR, CERT_OID_NAME_STR, CERT_X500_NAME_STR,
                            CERT_X500_NAME_STR | CERT_NAME_STR_REVERSE_FLAG};

std::string TextOf(const platform::Bytes& encoded, DWORD form) {
    platform::Bytes copy = encoded;
    CERT_NAME_BLOB blob{static_cast<DWORD>(copy.size()), copy.data()};
    const DWORD size = CertNameToStrA(kEncoding, &blob, form, nullptr, 0);
    Demand(size >= 1, "the terminator counts");
    std::string text(size, '\0');
    Demand(CertNameToStrA(kEncoding, &blob, form, text.data(), size) == size,
           "the text has the size that was told");
    text.resize(size - 1);
    for (const char c : text) {
        Demand(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F, "no control character is shown");
    }
    return text;
}

bool EncodingOf(const std::string& text, DWORD form, platform::Bytes& encoded) {
    DWORD size = 0;
    if (!CertStrToNameA(kEncoding, text.c_str(), form, nullptr, nullptr, &size, nullptr)) {
        return false;
    }
    encoded.assign(size, 0);
    Demand(CertStrToNameA(kEncoding, text.c_str(), form, nullptr, encoded.data(), &size, nullptr) !=
               FALSE,
           "the name has the size that was told");
    encoded.resize(size);
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const platform::Bytes input(data, data + size);
    for (const DWORD form : kForms) (void)TextOf(input, form);
    const std::string text(input.begin(), input.end());
    platform::Bytes encoded;
    if (!EncodingOf(text, CERT_X500_NAME_STR, encoded)) return 0;
    // An empty value is written without quotes and is refused when read, as the system does.
    const std::string shown = TextOf(encoded, CERT_X500_NAME_STR);
    platform::Bytes again;
    if (!EncodingOf(shown, CERT_X500_NAME_STR, again)) return 0;
    Demand(TextOf(again, CERT_X500_NAME_STR) == shown, "a name read from its text shows as before");
    return 0;
}
