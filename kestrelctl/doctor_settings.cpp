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

constexpr const char* kOwnKey = "Software\\Kestrel";

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

// Nobody else's settings stand there, so that another name is a slip. What is built in stands in
// the tree, too, and is known.
// NOLINTNEXTLINE(misc-no-recursion)
void CheckOwnKeys(const SettingsFile& settings, const std::string& key, const RegistryNode& node) {
    for (const auto& [folded, child] : node.keys) {
        const std::string path = key + "\\" + child->name;
        if (StandsUnder(Ferroline::PKI::kPlatformKey, path)) {
            CheckOwnKeys(settings, path, *child);
            continue;
        }
        settings.findings.Add("setting", RootOf(settings.findings.GetSide()) + ("\\" + path),
                              "is no key of settings, in " + settings.file.string(),
                              "editor " + ShellWord(settings.file.string()) +
                                  "  # mend its name or take it out: man kestrel-settings");
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
                         const SettingsFile settings{findings, file, tree.Root()};
                         CheckKeysOfSettings(settings);
                         const auto own = platform::FindKey(tree.Root(), kOwnKey);
                         if (own != nullptr) CheckOwnKeys(settings, kOwnKey, *own);
                     });
    }
    return areFiles;
}

}  // namespace kestrelctl
