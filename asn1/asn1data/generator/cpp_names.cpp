// Refuses schema names that would collide as names of C++.
#include <set>
#include <string_view>

#include "asn1/asn1data/generator/stages.h"

namespace asn1gen {
namespace {

// What generated code calls without a namespace; a type of that name would hide it.
constexpr std::string_view kRuntimeNames[] = {
    "Allocate",
    "Append",
    "ClampedNumber",
    "Copy",
    "CopyList",
    "DecodeList",
    "DecodeNull",
    "EncodeList",
    "Fail",
    "FailEnum",
    "FailField",
    "FailTag",
    "IsOneOf",
    "LogError",
    "MatchTag",
    "New",
    "NextIsTag",
    "NextTag",
    "TextLength",
    "TrimBits",
    "Utf8Length",
    "Within",
    "ASN1BOOL",
    "ASN1INT",
    "ASN1UINT",
    "ASN1ENUM",
    "ASN1NULL",
    "ASN1TAG",
    "ASN1OBJID",
    "ASN1BigInt",
    "ASN1List",
    "ASN1TList",
    "ASN1Record",
    "ASN1Level",
    "ASN1CType",
    "ASN1CharStr",
    "ASN1Context",
    "ASN1Contents",
    "ASN1OpenType",
    "ASN1DynOctStr",
    "ASN1DynBitStr",
    "ASN1MessageBufferIF",
    "ASN116BitCharStr",
    "ASN132BitCharStr",
};

}  // namespace

void CheckCppNames(const Model& model, Diagnostics& diagnostics) {
    std::set<std::string> taken(std::begin(kRuntimeNames), std::end(kRuntimeNames));
    const auto take = [&](const std::string& name, const Position& at) {
        if (!taken.insert(name).second) {
            diagnostics.Report(at, "the name '" + name + "' is taken");
        }
    };
    for (const auto& definition : model.definitions) take(definition->name, definition->at);
    for (const auto& definition : model.definitions) {
        const auto takeAll = [&](const Type& type, const std::string& prefix) {
            for (const NamedNumber& item : type.names) {
                take(prefix + "_" + CppName(item.name), item.at);
            }
        };
        takeAll(definition->type, definition->name);
        for (const Component& component : definition->type.components) {
            takeAll(component.type, definition->name + "_" + CppName(component.name));
        }
    }
}

}  // namespace asn1gen
