// Algorithms, attributes and sets, written and read.
#include "platform/der/values.h"

#include <algorithm>

#include "platform/base/error.h"
#include "platform/der/ber_reader.h"
#include "platform/der/der.h"

namespace platform {

Algorithm ParseAlgorithm(ByteView der) {
    der::Cursor cursor = der::Inside(der, der::kSequence);
    Algorithm algorithm;
    algorithm.oid = cursor.OidText();
    if (!cursor.AtEnd()) algorithm.parameters = Copy(cursor.Next().whole);
    cursor.ExpectEnd();
    return algorithm;
}

Bytes Concatenate(std::uint8_t tag, const std::vector<Bytes>& elements) {
    std::size_t length = 0;
    for (const Bytes& element : elements) length += element.size();
    Bytes out;
    out.reserve(der::HeaderSize(length) + length);
    der::AppendHeader(out, tag, length);
    for (const Bytes& element : elements) der::Append(out, element);
    return out;
}

Bytes EncodeAlgorithm(const Algorithm& algorithm) {
    return der::Element(der::kSequence, {der::Oid(algorithm.oid), algorithm.parameters});
}

Bytes EncodeSetOf(std::uint8_t tag, std::vector<Bytes> elements) {
    std::sort(elements.begin(), elements.end());
    return Concatenate(tag, elements);
}

Bytes EncodeAttribute(const CRYPT_ATTRIBUTE& attribute) {
    if (attribute.pszObjId == nullptr || (attribute.cValue != 0 && attribute.rgValue == nullptr)) {
        throw Error(ERROR_INVALID_PARAMETER);
    }
    std::vector<Bytes> values;
    for (DWORD i = 0; i < attribute.cValue; ++i) {
        const CRYPT_ATTR_BLOB& value = attribute.rgValue[i];
        if (value.cbData != 0 && value.pbData == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        values.push_back(Copy(ViewOf(value.pbData, value.cbData)));
    }
    return der::Element(der::kSequence,
                        {der::Oid(attribute.pszObjId), EncodeSetOf(der::kSet, std::move(values))});
}

AttributeView ParseAttribute(ByteView der) {
    der::Cursor cursor = der::Inside(der, der::kSequence);
    AttributeView view;
    view.oid = cursor.OidText();
    ByteView values = cursor.Expect(der::kSet).contents;
    cursor.ExpectEnd();
    // Values are of any type, so their tags may be of any size.
    while (!values.empty()) view.values.push_back(Copy(TakeElement(values)));
    return view;
}

}  // namespace platform
