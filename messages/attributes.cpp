// The attributes that -attr and -authattr name.
#include "messages/attributes.h"

#include <cstring>

#include "front/core/keys.h"
#include "messages/files/files.h"

namespace kestrel {

AttributeList unsignedAttributes;
AttributeList signedAttributes;

namespace {

void MakeRoom(AttributeList& list, std::size_t room) {
    list = AttributeList{};
    list.attributes = std::make_unique<CRYPT_ATTRIBUTE[]>(room);
    list.blobs = std::make_unique<CRYPT_ATTR_BLOB[]>(room);
    list.values.reserve(room);
}

Reported ReadValue(const char* name, std::vector<BYTE>& value) {
    BYTE* data = nullptr;
    DWORD length = 0;
    if (const Reported failure = ReadFileWhole(name, data, length, nullptr)) return failure;
    const BytesHolder bytes(data);
    value.assign(data, data + length);
    return 0;
}

}  // namespace

void AppendAttribute(AttributeList& list, const char* oid, std::vector<BYTE> value) {
    std::vector<BYTE>& kept = list.values.emplace_back(std::move(value));
    CRYPT_ATTR_BLOB& blob = list.blobs[list.count];
    blob.cbData = static_cast<DWORD>(kept.size());
    blob.pbData = kept.data();
    CRYPT_ATTRIBUTE& attribute = list.attributes[list.count++];
    attribute.pszObjId = const_cast<char*>(oid);
    attribute.cValue = 1;
    attribute.rgValue = &blob;
}

Reported ParseAttributes(const char* word, AttributeList& list) {
    MakeRoom(list, state.givenKeys->size() + 1);
    const char* text = nullptr;
    while (TakeKey(word, &text)) {
        // Key values stand in the process's own copies of the arguments.
        char* const comma = text != nullptr ? std::strchr(const_cast<char*>(text), ',') : nullptr;
        if (comma == nullptr) return LeaveToClosingLine(Unreported(ERROR_INVALID_PARAMETER));
        *comma = '\0';
        std::vector<BYTE> value;
        if (const Reported failure = ReadValue(comma + 1, value)) return failure;
        AppendAttribute(list, text, std::move(value));
    }
    return 0;
}

}  // namespace kestrel
