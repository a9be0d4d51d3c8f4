// kestrelctl policy: the administrator's time-stamp policy in the settings of both sides.
#include <charconv>
#include <cstdio>

#include "kestrelctl/commands.h"
#include "kestrelctl/output.h"
#include "platform/registry/registry.h"

namespace kestrelctl {
namespace {

using platform::RegistryDocument;
using platform::RegistryEdit;
using platform::RegistryNode;
using platform::RegistryValue;
using platform::Side;

constexpr const char* kPolicyKey = "Software\\Policies\\Ferro-Line\\TSP";
constexpr Side kSides[] = {Side::Machine, Side::User};

const char* RootOf(Side side) {
    return side == Side::Machine ? platform::kMachineRoot : platform::kUserRoot;
}

std::string DataText(const RegistryValue& value) {
    if (const auto number = platform::NumberOf(value)) return std::to_string(*number);
    if (value.type == REG_SZ || value.type == REG_EXPAND_SZ) return platform::TextOf(value);
    return platform::Hex(value.data);
}

void AddRows(Listing& listing, Side side, const RegistryNode& node, const std::string& prefix) {
    for (const RegistryValue& value : node.values) {
        listing.Add(
            {side == Side::Machine ? "machine" : "user", prefix + value.name, DataText(value)});
    }
    for (const auto& [folded, key] : node.keys) {
        AddRows(listing, side, *key, prefix + key->name + "\\");
    }
}

RegistryValue ValueFrom(const std::string& name, const std::string& text) {
    if (text == "true" || text == "false")
        return platform::NumberValue(name, text == "true" ? 1 : 0);
    DWORD number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = error == std::errc{} && end == text.data() + text.size();
    return whole ? platform::NumberValue(name, number) : platform::TextValue(name, text);
}

void Put(RegistryDocument& document, const RegistryEdit& edit) {
    switch (edit.action) {
        case RegistryEdit::Action::SetValue:
            return document.Set(edit.key, edit.value);
        case RegistryEdit::Action::DeleteValue:
            return document.DeleteValue(edit.key, edit.value.name);
        case RegistryEdit::Action::DeleteKey:
            return document.DeleteKey(edit.key);
        case RegistryEdit::Action::CreateKey:
            return;
    }
}

bool StandsUnder(const std::string& key, const std::string& root) {
    return key.starts_with(root) && (key.size() == root.size() || key[root.size()] == '\\');
}

// The statements of `document` for one side.
RegistryDocument PartOf(const RegistryDocument& document, Side side) {
    RegistryDocument part;
    for (const RegistryEdit& edit : document.Edits()) {
        if (StandsUnder(edit.key, RootOf(side))) Put(part, edit);
    }
    return part;
}

void AddValues(RegistryDocument& document, const RegistryNode& node, const std::string& key) {
    for (const RegistryValue& value : node.values) document.Set(key, value);
    for (const auto& [folded, child] : node.keys)
        AddValues(document, *child, key + "\\" + child->name);
}

}  // namespace

void PolicyShow(const Arguments& arguments) {
    Listing listing({"side", "value", "data"});
    for (const Side side : kSides) {
        const auto node = platform::FindKey(platform::LoadSide(side)->Root(), kPolicyKey);
        if (node != nullptr) AddRows(listing, side, *node, {});
    }
    listing.Print(arguments.Json());
}

void PolicySet(const Arguments& arguments) {
    const Side side = arguments.Side();
    std::string key = std::string(RootOf(side)) + "\\" + kPolicyKey;
    std::string name = arguments.positionals[0];
    if (const std::size_t split = name.rfind('\\'); split != name.npos) {
        key += "\\" + name.substr(0, split);
        name.erase(0, split + 1);
    }
    platform::ChangeOwnDocument(side, [&](RegistryDocument& document) {
        document.Set(key, ValueFrom(name, arguments.positionals[1]));
    });
}

void PolicyImport(const Arguments& arguments) {
    const std::string& file = arguments.positionals[0];
    const RegistryDocument read = RegistryDocument::Parse(platform::ReadWholeFile(file), file);
    for (const RegistryEdit& edit : read.Edits()) {
        if (!StandsUnder(edit.key, platform::kUserRoot) &&
            !StandsUnder(edit.key, platform::kMachineRoot)) {
            throw Failure("'" + file + "' has settings under '" + edit.key +
                          "', which has no place here");
        }
    }
    for (const Side side : kSides) {
        const RegistryDocument part = PartOf(read, side);
        if (part.Edits().empty()) continue;
        platform::ChangeOwnDocument(side,
                                    [&](RegistryDocument& document) { document.Append(part); });
    }
}

void PolicyExport(const Arguments& arguments) {
    RegistryDocument document;
    for (const Side side : kSides) {
        const auto node = platform::FindKey(platform::LoadSide(side)->Root(), kPolicyKey);
        if (node != nullptr) {
            AddValues(document, *node, std::string(RootOf(side)) + "\\" + kPolicyKey);
        }
    }
    ExportFile(arguments.positionals[0], arguments.Has("force"))
        .Write(platform::ViewOf(document.Serialize()), 0644);
}

}  // namespace kestrelctl
