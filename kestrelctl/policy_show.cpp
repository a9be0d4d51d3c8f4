// kestrelctl policy: what it says, as a listing and as a registry export.
#include "kestrelctl/commands.h"
#include "kestrelctl/output.h"
#include "kestrelctl/policy_rules.h"
#include "platform/registry/registry.h"

namespace kestrelctl {
namespace {

using Ferroline::PKI::kListFlagEnd;
using Ferroline::PKI::kPlatformKey;
using Ferroline::PKI::kPolicyKey;
using Ferroline::PKI::kSettings;
using platform::RegistryDocument;
using platform::RegistryNode;
using platform::RegistryValue;
using platform::Side;

constexpr Side kSides[] = {Side::Machine, Side::User};

std::shared_ptr<const RegistryNode> NodeOf(Side side, std::string_view key) {
    return platform::FindKey(platform::LoadSide(side)->Root(), key);
}

const RegistryValue* ValueOf(Side side, std::string_view key, std::string_view name) {
    const auto node = NodeOf(side, key);
    return node == nullptr ? nullptr : node->FindValue(name);
}

std::string DataText(const RegistryValue& value) {
    if (const auto number = platform::NumberOf(value)) return std::to_string(*number);
    if (value.type == REG_SZ || value.type == REG_EXPAND_SZ) return platform::TextOf(value);
    return platform::Hex(value.data);
}

void AddValues(RegistryDocument& document, const RegistryNode& node, const std::string& key) {
    for (const RegistryValue& value : node.values) document.Set(key, value);
    for (const auto& [folded, child] : node.keys) {
        AddValues(document, *child, key + "\\" + child->name);
    }
}

// What both sides say: the key of the policy whole, and of the platform's what belongs here.
RegistryDocument Policy() {
    RegistryDocument document;
    for (const Side side : kSides) {
        const std::string root = std::string(RootOf(side)) + "\\";
        if (const auto node = NodeOf(side, kPolicyKey)) {
            AddValues(document, *node, root + std::string(kPolicyKey));
        }
    }
    for (const Setting& setting : kSettings) {
        if (setting.key != kPlatformKey) continue;
        const RegistryValue* value = ValueOf(Side::Machine, kPlatformKey, setting.name);
        if (value != nullptr) {
            document.Set(platform::kMachineRoot + ("\\" + std::string(kPlatformKey)), *value);
        }
    }
    return document;
}

// ---- what is in force --------------------------------------------------------------

// As the client reads it: the side whose flag is found decides alone.
std::string ListInForce(const Setting& list) {
    const std::string flag = std::string(list.name) + std::string(kListFlagEnd);
    for (const Side side : kSides) {
        const RegistryValue* value = ValueOf(side, list.key, flag);
        const auto number = value == nullptr ? std::nullopt : platform::NumberOf(*value);
        if (!number) continue;
        if (*number == 0) break;
        const auto node = NodeOf(side, std::string(list.key) + "\\" + std::string(list.name));
        std::string entries;
        for (const RegistryValue& entry :
             node == nullptr ? std::vector<RegistryValue>() : node->values) {
            if (entry.type != REG_SZ) continue;
            entries += (entries.empty() ? "" : ", ") + ("\"" + platform::TextOf(entry) + "\"");
        }
        return entries.empty() ? "no entries" : entries;
    }
    return "not in force";
}

std::string InForce(const Setting& setting) {
    if (setting.kind == SettingKind::List) return ListInForce(setting);
    for (const Side side : kSides) {
        if (!CountsOn(side, setting)) continue;
        const RegistryValue* value = ValueOf(side, setting.key, setting.name);
        if (value != nullptr) return DataText(*value);
    }
    return InitialText(setting);
}

void ShowAll(bool json) {
    Listing listing({"value", "kind", "default", "in force", "effect"});
    for (const Setting& setting : kSettings) {
        listing.Add({std::string(setting.name), KindName(setting.kind), InitialText(setting),
                     InForce(setting), std::string(setting.effect)});
    }
    listing.Print(json);
}

}  // namespace

void PolicyShow(const Arguments& arguments) {
    if (arguments.Has("all")) return ShowAll(arguments.Json());
    Listing listing({"side", "value", "data"});
    const RegistryDocument policy = Policy();
    for (const platform::RegistryEdit& edit : policy.Edits()) {
        if (edit.action != platform::RegistryEdit::Action::SetValue) continue;
        const bool machine = StandsUnder(edit.key, platform::kMachineRoot);
        const std::size_t root = edit.key.find('\\') + 1;
        const std::string_view key = std::string_view(edit.key).substr(root);
        // The name of a list stands in front of its entries.
        std::string name = edit.value.name;
        if (key.size() > kPolicyKey.size() && StandsUnder(key, kPolicyKey)) {
            name = std::string(key.substr(kPolicyKey.size() + 1)) + "\\" + name;
        }
        listing.Add({machine ? "machine" : "user", name, DataText(edit.value)});
    }
    listing.Print(arguments.Json());
}

void PolicyExport(const Arguments& arguments) {
    ExportFile(arguments.positionals[0], arguments.Has("force"))
        .Write(platform::ViewOf(Policy().Serialize()), 0644);
}

}  // namespace kestrelctl
