// kestrelctl policy: changing the administrator's time-stamp policy in the settings of both sides.
#include <algorithm>

#include "kestrelctl/commands.h"
#include "kestrelctl/output.h"
#include "kestrelctl/policy_rules.h"
#include "platform/registry/registry.h"

namespace kestrelctl {
namespace {

using Ferroline::PKI::kListFlagEnd;
using platform::RegistryDocument;
using platform::RegistryEdit;
using platform::RegistryTree;
using platform::RegistryValue;
using platform::Side;

const Setting& KnownSetting(const std::string& name) {
    const Setting* setting = FindSetting(name);
    if (setting == nullptr) {
        throw UsageError("'" + name + "' is no value of the policy");
    }
    return *setting;
}

const Setting& KnownList(const std::string& name) {
    const Setting& list = KnownSetting(name);
    if (list.kind != SettingKind::List) throw UsageError("'" + name + "' is no list");
    return list;
}

std::string KeyOf(const Setting& setting, Side side) {
    if (!CountsOn(side, setting)) {
        throw UsageError("'" + std::string(setting.name) + "' is the machine's: give --machine");
    }
    return std::string(RootOf(side)) + "\\" + std::string(setting.key);
}

std::string ListKey(const Setting& list, Side side) {
    return KeyOf(list, side) + "\\" + std::string(list.name);
}

// The entries of a list as one side's own file has them.
std::vector<RegistryValue> EntriesIn(const RegistryDocument& document, const Setting& list,
                                     Side side) {
    RegistryTree tree(RootOf(side));
    tree.Apply(document);
    const auto node =
        platform::FindKey(tree.Root(), std::string(list.key) + "\\" + std::string(list.name));
    return node == nullptr ? std::vector<RegistryValue>() : node->values;
}

bool Says(const RegistryValue& value, const std::string& entry) {
    return value.type == REG_SZ && platform::TextOf(value) == entry;
}

std::string FreeName(const std::vector<RegistryValue>& values) {
    for (std::size_t number = 1;; ++number) {
        const std::string name = std::to_string(number);
        const auto taken = [&](const RegistryValue& value) { return value.name == name; };
        if (std::ranges::none_of(values, taken)) return name;
    }
}

void AddEntry(RegistryDocument& document, const Setting& list, Side side,
              const std::string& entry) {
    const std::vector<RegistryValue> values = EntriesIn(document, list, side);
    const auto same = [&](const RegistryValue& value) { return Says(value, entry); };
    if (std::ranges::any_of(values, same)) return;
    document.Set(ListKey(list, side), platform::TextValue(FreeName(values), entry));
}

void RemoveEntry(RegistryDocument& document, const Setting& list, Side side,
                 const std::string& entry) {
    bool found = false;
    for (const RegistryValue& value : EntriesIn(document, list, side)) {
        if (!Says(value, entry)) continue;
        document.DeleteValue(ListKey(list, side), value.name);
        found = true;
    }
    if (!found) {
        throw Failure("'" + entry + "' is not in " + std::string(list.name) + " of " +
                      platform::OwnRegistryFile(side).string());
    }
}

// A list that nobody put in force is a list that nobody asks.
void TellWhenIdle(const Setting& list, Side side) {
    const auto node = platform::FindKey(platform::LoadSide(side)->Root(), list.key);
    const std::string flag = std::string(list.name) + std::string(kListFlagEnd);
    const RegistryValue* value = node == nullptr ? nullptr : node->FindValue(flag);
    if (value != nullptr && platform::NumberOf(*value).value_or(0) != 0) return;
    Say(std::string(list.name) + " is not in force: 'kestrelctl policy set " + flag + " 1" +
        (side == Side::Machine ? " --machine" : "") + "' puts it there.");
}

}  // namespace

void PolicySet(const Arguments& arguments) {
    const Setting& setting = KnownSetting(arguments.positionals[0]);
    if (setting.kind == SettingKind::List) {
        throw UsageError("'" + std::string(setting.name) + "' is a list: 'policy add' adds to it");
    }
    const Side side = arguments.Side();
    const std::string key = KeyOf(setting, side);
    const RegistryValue value = ValueFrom(setting, arguments.positionals[1]);
    platform::ChangeOwnDocument(side,
                                [&](RegistryDocument& document) { document.Set(key, value); });
}

void PolicyUnset(const Arguments& arguments) {
    const Setting& setting = KnownSetting(arguments.positionals[0]);
    const Side side = arguments.Side();
    const std::string key = KeyOf(setting, side);
    platform::ChangeOwnDocument(side, [&](RegistryDocument& document) {
        if (setting.kind == SettingKind::List) {
            document.DeleteKey(ListKey(setting, side));
        } else {
            document.DeleteValue(key, std::string(setting.name));
        }
    });
}

void PolicyAdd(const Arguments& arguments) {
    const Setting& list = KnownList(arguments.positionals[0]);
    const Side side = arguments.Side();
    const std::vector<std::string> entries(arguments.positionals.begin() + 1,
                                           arguments.positionals.end());
    for (const std::string& entry : entries) CheckEntry(list, entry);
    platform::ChangeOwnDocument(side, [&](RegistryDocument& document) {
        for (const std::string& entry : entries) AddEntry(document, list, side, entry);
    });
    TellWhenIdle(list, side);
}

void PolicyRemove(const Arguments& arguments) {
    const Setting& list = KnownList(arguments.positionals[0]);
    const Side side = arguments.Side();
    platform::ChangeOwnDocument(side, [&](RegistryDocument& document) {
        for (std::size_t i = 1; i < arguments.positionals.size(); ++i) {
            RemoveEntry(document, list, side, arguments.positionals[i]);
        }
    });
}

void PolicyImport(const Arguments& arguments) {
    const std::string& file = arguments.positionals[0];
    const RegistryDocument read = RegistryDocument::Parse(platform::ReadWholeFile(file), file);
    for (const RegistryEdit& edit : read.Edits()) {
        const std::string problem = ProblemOf(edit);
        if (!problem.empty()) throw Failure(file + ": " + problem);
    }
    for (const Side side : {Side::Machine, Side::User}) {
        const RegistryDocument part = read.Under(RootOf(side));
        if (part.Edits().empty()) continue;
        platform::ChangeOwnDocument(side,
                                    [&](RegistryDocument& document) { document.Append(part); });
    }
}

}  // namespace kestrelctl
