// doctor: how a damaged container is mended so that its keys are kept.
#include <algorithm>

#include "kestrelctl/doctor_mending.h"
#include "kestrelctl/findings.h"
#include "kestrelctl/text_forms.h"
#include "platform/certs/ancestors.h"
#include "platform/providers/key_file.h"

namespace kestrelctl {
namespace {

namespace fs = std::filesystem;
using platform::AnyKey;
using platform::Certificate;
using platform::Container;

constexpr const char* kStems[] = {"exchange", "signature"};

// The key of a file that is whole and not under a password.
AnyKey OpenKey(const platform::KeyFile& file) {
    return file.encrypted ? AnyKey() : platform::OpenKeyFile(file, {});
}

std::optional<platform::KeyFile> ReadKey(const fs::path& file) {
    platform::Bytes content = platform::ReadWholeFile(file);
    const platform::Secret secret{platform::ByteView(content)};
    platform::Wipe(content);
    return platform::ParseKeyFile(secret.View());
}

// What a password protects can be told to be whole by who knows it alone.
bool IsSound(const fs::path& file) {
    try {
        const auto key = ReadKey(file);
        return key && (key->encrypted || OpenKey(*key));
    } catch (const platform::Error&) {
        return false;
    }
}

AnyKey FirstKey(const fs::path& folder, const std::string& stem) {
    const std::function<AnyKey()> sources[] = {
        [&] {
            const auto key = ReadKey(folder / (stem + ".key"));
            return key ? OpenKey(*key) : AnyKey();
        },
        [&] {
            return platform::PublicKeyFromDer(platform::ReadWholeFile(folder / (stem + ".pub")));
        },
        [&] {
            const auto der = platform::ReadWholeFile(folder / (stem + ".cer"));
            return platform::PublicKeyOf(*Certificate::Parse(der));
        }};
    for (const auto& source : sources) {
        try {
            if (AnyKey key = source()) return key;
        } catch (const platform::Error&) {
            continue;  // it is not there, or damaged as well
        }
    }
    return {};
}

std::string RewriteType(const fs::path& folder) {
    std::string number = "NUMBER";
    for (const char* stem : kStems) {
        const AnyKey key = FirstKey(folder, stem);
        if (!key) continue;
        number = std::to_string(platform::TypeForKey(key));
        break;
    }
    return "(umask 077; echo " + number + " >" + ShellWord((folder / "provider.type").string()) +
           ")  # the type of its keys: kestrelctl providers";
}

std::string MendKey(const Findings& findings, const std::string& name, const fs::path& file) {
    // A type of other keys keeps one that is whole from being read.
    if (IsSound(file)) return RewriteType(file.parent_path());
    const std::string word = ShellWord(file.string());
    const bool hasOther = std::ranges::any_of(kStems, [&](const char* stem) {
        return file.stem() != stem && IsSound(file.parent_path() / (std::string(stem) + ".key"));
    });
    return "cp BACKUP " + word +
           "  # bring it back from a backup. Without one the key is lost for good; then: " +
           (hasOther ? "rm " + word : findings.Ctl("identity delete " + ShellWord(name)));
}

}  // namespace

fs::path CertificateFile(const KeyPlace& place) {
    const std::string stem = place.spec == AT_KEYEXCHANGE ? kStems[0] : kStems[1];
    return platform::ContainersOf(place.side) / place.container / (stem + ".cer");
}

std::string MendCertificate(const Findings& findings, const Certificates& my,
                            const KeyPlace& place) {
    const Container container = Container::Open(place.side, place.container);
    const AnyKey key = container.OwnPublicKey(place.spec);
    const auto fits = [&](const auto& one) {
        if (key) return platform::PublicKeyOf(*one).Matches(key);
        const auto led = PlaceOf(*one);
        return led && led->side == place.side && led->container == place.container &&
               led->spec == place.spec;
    };
    const std::string bind = findings.Ctl("identity bind " + ShellWord(place.container)) + " ";
    const auto known = std::ranges::find_if(my, fits);
    if (known != my.end()) return bind + Thumbprint((*known)->Der());
    const fs::path file = CertificateFile(place);
    return "rm " + ShellWord(file.string()) + "  # then, with that of the key: " + bind +
           "CERTIFICATE";
}

// NOLINTNEXTLINE(misc-no-recursion): the key tells no certificate.
std::string MendContainer(const Findings& findings, const Certificates& my, const std::string& name,
                          const platform::Error& error) {
    const fs::path file = error.Detail();
    const std::string word = ShellWord(file.string());
    if (error.Code() != static_cast<DWORD>(NTE_KEYSET_ENTRY_BAD)) {
        return "cp BACKUP " + word + "  # bring it back from a backup";
    }
    if (file.filename() == "provider.type") return RewriteType(file.parent_path());
    if (file.extension() == ".key") return MendKey(findings, name, file);
    if (file.extension() == ".cer") {
        const DWORD spec = file.stem() == kStems[0] ? AT_KEYEXCHANGE : AT_SIGNATURE;
        try {
            return MendCertificate(findings, my, {findings.GetSide(), name, spec});
        } catch (const platform::Error& keys) {
            return MendContainer(findings, my, name, keys);  // the key comes first
        }
    }
    return "rm " + word +
           "  # then, to have it made again: " + findings.Ctl("identity passwd " + ShellWord(name));
}

}  // namespace kestrelctl
