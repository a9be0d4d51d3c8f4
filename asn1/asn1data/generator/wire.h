// The calls that encode, decode, copy and check one value.
#pragma once

#include <string>
#include <vector>

#include "asn1/asn1data/generator/model.h"
#include "asn1/asn1data/generator/writer.h"

namespace asn1gen {

// The headers that are written around the call of a type's function: `wrappers`, the
// outermost first, and a tag in the place of the type's own.
struct Headers {
    std::vector<WireTag> wrappers;
    bool implicit = false;
    WireTag tag;
};
[[nodiscard]] Headers HeadersOf(const Type& type);

// With class, form and number: "0xA0000001"; as the one byte of a low number: "0xA1".
[[nodiscard]] std::string TagText(const WireTag& tag);
[[nodiscard]] std::string CaseText(std::uint32_t bits);
[[nodiscard]] std::string MatchCall(const WireTag& tag);
// Whether the next element of `contents` may be this type.
[[nodiscard]] std::string NextCondition(const Type& type);

// One call without any of the type's headers; `value` is an expression.
[[nodiscard]] std::string EncodeCall(const Type& type, const std::string& value,
                                     const std::string& tagging);
[[nodiscard]] std::string DecodeCall(const Type& type, const std::string& value,
                                     const std::string& tagging, const std::string& length);
// The whole value with its headers, as an expression of its length; without `outermost`
// the outermost header is left to the caller.
[[nodiscard]] std::string EncodeExpression(const Type& type, const std::string& value,
                                           bool outermost = true);
// Statements that set `status`; with `tagged` the outermost header is read only when the
// parameter `tagging` asks for it.
void WriteDecode(Writer& out, const Type& type, const std::string& value, bool tagged = false);
// A copy from `source` to `destination`, which returns on failure.
void WriteCopy(Writer& out, const Type& type, const std::string& source,
               const std::string& destination);
// Checks of the constraints that stand at the type itself; those of a named type are its
// functions' business.
void WriteChecks(Writer& out, const Type& type, const std::string& value, const std::string& field);
// "if (status < 0) return Fail(...)".
void WriteFail(Writer& out, const std::string& status, const std::string& context = "context");
// The guard of functions that may call themselves.
void WriteLevel(Writer& out, const Definition& definition, const std::string& context = "context");

}  // namespace asn1gen
