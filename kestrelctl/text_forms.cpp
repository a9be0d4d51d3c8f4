// Names, times, numbers and thumbprints as text.
#include "kestrelctl/text_forms.h"

#include <algorithm>
#include <cstdio>

#include "kestrelctl/cli.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/crypto.h"

namespace kestrelctl {
namespace {

constexpr platform::Ticks kDaysOfWarning = 30;

}  // namespace

std::string NameText(const CERT_NAME_BLOB& name) {
    CERT_NAME_BLOB blob = name;
    const DWORD size = CertNameToStrA(X509_ASN_ENCODING, &blob, CERT_X500_NAME_STR, nullptr, 0);
    std::string text(size, '\0');
    CertNameToStrA(X509_ASN_ENCODING, &blob, CERT_X500_NAME_STR, text.data(), size);
    while (!text.empty() && text.back() == '\0') text.pop_back();
    return text;
}

std::string TimeText(const FILETIME& time) {
    SYSTEMTIME parts{};
    if (!FileTimeToSystemTime(&time, &parts)) return "?";
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ", parts.wYear, parts.wMonth,
                  parts.wDay, parts.wHour, parts.wMinute, parts.wSecond);
    return text;
}

FILETIME TimeNamed(const char* option, const std::string& text) {
    SYSTEMTIME time{};
    char separator = ' ';
    int end = 0;
    std::sscanf(text.c_str(), "%4hu-%2hu-%2hu%n%c%2hu:%2hu%n:%2hu%n", &time.wYear, &time.wMonth,
                &time.wDay, &end, &separator, &time.wHour, &time.wMinute, &end, &time.wSecond,
                &end);
    const std::string rest = text.substr(std::min(static_cast<std::size_t>(end), text.size()));
    const bool shaped =
        end != 0 && (rest.empty() || rest == "Z") && (separator == ' ' || separator == 'T');
    FILETIME moment{};
    if (!shaped || !SystemTimeToFileTime(&time, &moment)) {
        throw UsageError("'--" + std::string(option) +
                         "' needs a time such as \"2026-11-21T02:20:00Z\", not '" + text + "'");
    }
    return moment;
}

std::string ExpiryText(const FILETIME& notAfter) {
    const platform::Ticks now = platform::CurrentTicks();
    const platform::Ticks end = platform::TicksOf(notAfter);
    if (end < now) return "expired";
    const platform::Ticks days = (end - now) / kTicksOfADay;
    if (days >= kDaysOfWarning) return {};
    return days == 0   ? "expires within a day"
           : days == 1 ? "expires in 1 day"
                       : "expires in " + std::to_string(days) + " days";
}

std::string SerialText(const CRYPT_INTEGER_BLOB& serial) {
    platform::Bytes bytes(serial.pbData, serial.pbData + serial.cbData);
    std::reverse(bytes.begin(), bytes.end());
    return platform::Hex(bytes);
}

std::string Thumbprint(platform::ByteView der) {
    return platform::Hex(platform::DigestOf(platform::oid::kSha1, der));
}

std::string PlainHex(std::string text) {
    std::erase_if(text, [](char c) { return c == ':' || c == ' '; });
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return text;
}

std::string Sha256Text(platform::ByteView der) {
    return platform::Hex(platform::DigestOf(platform::oid::kSha256, der));
}

void AppendPem(std::string& text, const char* label, platform::ByteView der) {
    constexpr std::size_t kLine = 48;  // octets, 64 characters
    text.append("-----BEGIN ").append(label).append("-----\n");
    for (; !der.empty(); der = der.subspan(std::min(der.size(), kLine))) {
        unsigned char line[65];
        const int length =
            EVP_EncodeBlock(line, der.data(), static_cast<int>(std::min(der.size(), kLine)));
        text.append(reinterpret_cast<const char*>(line), static_cast<std::size_t>(length));
        text += '\n';
    }
    text.append("-----END ").append(label).append("-----\n");
}

}  // namespace kestrelctl
