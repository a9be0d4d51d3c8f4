// doctor: settings files that cannot be read, and values that nobody reads as they stand.
#include <array>

#include "kestrelctl/findings.h"
#include "kestrelctl/policy_rules.h"
#include "platform/base/text.h"
#include "platform/registry/registry.h"

namespace kestrelctl {
namespace {

namespace fs = std::filesystem;
using platform::RegistryNode;
using platform::RegistryValue;

// One settings file by itself: another one that is laid over it may hide what is told of it.
struct SettingsFile {
    Findings& findings;
    const fs::path& file;
    std::shared_ptr<const RegistryNode> root;
};

// A command where there is one for it: of the policy, in the folder's own file.
std::string RemedyOf(const SettingsFile& settings, const std::string& key,
                     const RegistryValue& value) {
    const platform::Side side = settings.findings.GetSide();
    const Setting* setting = FindSetting(value.name);
    const bool isOfPolicy = setting != nullptr && platform::SameName(setting->key, key) &&
                            setting->kind != SettingKind::List && CountsOn(side, *setting);
    if (isOfPolicy && settings.file == platform::OwnRegistryFile(side)) {
        const std::string name(setting->name);
        return settings.findings.Ctl("policy unset " + name) +
               "  # or: " + settings.findings.Ctl("policy set " + name + " DATA");
    }
    return "editor " + ShellWord(settings.file.string()) +
           "  # mend the value or take it out: man kestrel-settings";
}

void CheckValue(const SettingsFile& settings, const std::string& key, const RegistryValue& value) {
    const platform::Side side = settings.findings.GetSide();
    const std::string problem = StoredProblem(side, key, value);
    if (problem.empty()) return;
    settings.findings.Add("setting", RootOf(side) + ("\\" + key) + "\\" + value.name,
                          problem + ", in " + settings.file.string(),
                          RemedyOf(settings, key, value));
}

// NOLINTNEXTLINE(misc-no-recursion)
void CheckValuesAt(const SettingsFile& settings, const std::string& key, const RegistryNode& node) {
    for (const RegistryValue& value : node.values) CheckValue(settings, key, value);
    if (!StandsUnder(key, Ferroline::PKI::kPolicyKey)) return;
    for (const auto& [folded, child] : node.keys) {
        CheckValuesAt(settings, key + "\\" + child->name, *child);
    }
}

void CheckKeysOfSettings(const SettingsFile& settings) {
    for (const std::string_view key :
         {Ferroline::PKI::kPolicyKey, Ferroline::PKI::kPlatformKey, Ferroline::PKI::kProxyKey}) {
        const auto node = platform::FindKey(settings.root, key);
        if (node != nullptr) CheckValuesAt(settings, std::string(key), *node);
    }
}

}  // namespace

bool CheckSettings(Findings& findings) {
    const platform::Side side = findings.GetSide();
    bool areFiles = true;
    for (const fs::path& file : platform::RegistryFiles(side)) {
        if (!IsFileOrNothing(findings, file)) {
            areFiles = false;
            continue;
        }
        const std::string name = ShellWord(file.string());
        findings.Try(file.string(), "mv " + name + " " + name + ".damaged  # or mend the line told",
                     [&] {
                         const auto tree = platform::LoadTree(side, std::array{file});
                         CheckKeysOfSettings({findings, file, tree.Root()});
                     });
    }
    return areFiles;
}

}  // namespace kestrelctl
