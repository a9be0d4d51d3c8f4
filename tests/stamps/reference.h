// What OpenSSL's own decoders say of a time-stamp response. Bytes are raw in strings.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace stamps_tests {

struct Reference {
    std::string version, policy, hashOid, hash, serial, genTime, nonce, tsa;
    bool ordering = false;
    bool hasAccuracy = false;
    std::uint32_t seconds = 0, millis = 0, micros = 0;
    std::string token;
    std::uint32_t signerVersion = 0;
    std::string issuer, signerSerial, digestOid, signatureOid, signature;
    std::vector<std::pair<std::string, std::string>> attributes;  // identifier, value
    std::vector<std::string> certificates;
};

Reference ReadResponse(const std::string& response);
// The token with an unsigned attribute, the given IA5String.
std::string WithUnsignedAttribute(const std::string& token, const std::string& oid,
                                  const std::string& text);
// The nonce of a request, "" without one.
std::string NonceOf(const std::string& request);

}  // namespace stamps_tests
