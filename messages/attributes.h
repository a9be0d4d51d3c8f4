// The keys -attr and -authattr: attributes that the user supplies encoded.
#pragma once

#include <windows.h>

#include <memory>
#include <vector>

#include "front/core/result.h"

namespace kestrel {

// One for each key, alive until the process ends. Identifiers are borrowed texts, values
// are owned here.
struct AttributeList {
    DWORD count = 0;
    std::unique_ptr<CRYPT_ATTRIBUTE[]> attributes;
    std::unique_ptr<CRYPT_ATTR_BLOB[]> blobs;
    std::vector<std::vector<BYTE>> values;
};

extern AttributeList unsignedAttributes;  // -attr
extern AttributeList signedAttributes;    // -authattr

// Takes every key with this word, in the order of givenKeys. A value "<oid>,<file>" is
// cut at its first comma, in place, and the file's bytes are the attribute's one value,
// unchecked. The list has room for one attribute more. 0, ERROR_INVALID_PARAMETER
// (unreported) where there is no comma, or a code of ReadFileWhole.
Reported ParseAttributes(const char* word, AttributeList& list);

// Appends an attribute of one value, into the room that ParseAttributes left.
void AppendAttribute(AttributeList& list, const char* oid, std::vector<BYTE> value);

}  // namespace kestrel
