// -ext: extensions of a request from files.
#include <windows.h>

#include <string>
#include <vector>

#include "enroll/options.h"
#include "front/core/ask_size.h"
#include "front/core/catalogue.h"
#include "front/core/encoding.h"
#include "front/core/keys.h"
#include "messages/files/base64.h"
#include "messages/files/files.h"

namespace kestrel {

namespace {

// The record of one extension, in the buffer that holds it.
struct DecodedExtension {
    std::vector<BYTE> record;
    [[nodiscard]] const CERT_EXTENSION& Get() const {
        return *reinterpret_cast<const CERT_EXTENSIONS*>(record.data())->rgExtension;
    }
};

// The file's bytes as the one element of a list of extensions. No form of the file is told
// apart: what is no DER fails here.
bool Decode(BYTE* data, DWORD length, DecodedExtension& extension) {
    CRYPT_DER_BLOB element = {length, data};
    CRYPT_SEQUENCE_OF_ANY sequence = {1, &element};
    std::vector<BYTE> list;
    if (!FetchValue(list, [&](BYTE* buffer, DWORD* size) {
            return CryptEncodeObject(kMessageEncodingType, X509_SEQUENCE_OF_ANY, &sequence, buffer,
                                     size);
        })) {
        return false;
    }
    if (!FetchValue(extension.record, [&](BYTE* buffer, DWORD* size) {
            return CryptDecodeObject(kMessageEncodingType, X509_EXTENSIONS, list.data(),
                                     static_cast<DWORD>(list.size()), 0, buffer, size);
        })) {
        return false;
    }
    const auto* found = reinterpret_cast<const CERT_EXTENSIONS*>(extension.record.data());
    if (found->cExtension == 1) return true;
    SetLastError(static_cast<DWORD>(CRYPT_E_BAD_ENCODE));  // an empty file, or two in one
    return false;
}

bool EncodeValue(const CRYPT_OBJID_BLOB& value, ComText& text) {
    DWORD length = Base64Lines76Capacity(value.cbData);
    std::string narrow(length, '\0');
    if (!EncodeBase64Lines76(value.pbData, value.cbData, narrow.data(), &length)) return false;
    narrow.resize(length);
    return Widen(narrow.c_str(), text);
}

// Far more than any extension has; each step from here makes further copies.
constexpr DWORD kMostExtensionOctets = 1024 * 1024;

Reported AddExtension(FLEnroll& control, const char* file) {
    BYTE* data = nullptr;
    DWORD length = 0;
    if (const Reported failure = ReadFileWhole(file, data, length, nullptr)) return failure;
    const BytesHolder held(data);
    if (length > kMostExtensionOctets) {
        SetLastError(ERROR_FILE_TOO_LARGE);
        return ReportError(kLastError);
    }
    DecodedExtension extension;
    ComText identifier;
    ComText value;
    if (!Decode(data, length, extension) || !EncodeValue(extension.Get().Value, value) ||
        !Widen(extension.Get().pszObjId, identifier)) {
        return ReportError(kLastError);
    }
    const HRESULT result =
        control.addExtensionToRequest(extension.Get().fCritical, identifier.Get(), value.Get());
    if (FAILED(result)) return ReportResult(result);
    return 0;
}

}  // namespace

Reported ApplyExtensionKeys(FLEnroll& control) {
    for (const GivenKey* key = FindKey("ext"); key != nullptr; key = FindKey("ext")) {
        if (const Reported failure = AddExtension(control, key->value)) return failure;
        TakeKey("ext");
    }
    return 0;
}

}  // namespace kestrel
