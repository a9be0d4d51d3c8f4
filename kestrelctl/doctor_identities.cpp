// doctor: stores and the certificates in them, containers, and whether they fit together.
#include <fcntl.h>

#include <algorithm>
#include <fstream>

#include "kestrelctl/ancestry.h"
#include "kestrelctl/doctor_mending.h"
#include "kestrelctl/findings.h"
#include "kestrelctl/identities.h"
#include "kestrelctl/text_forms.h"
#include "platform/base/descriptor.h"
#include "platform/enroll/response.h"
#include "platform/stores/database.h"

namespace kestrelctl {
namespace {

namespace fs = std::filesystem;
using platform::Certificate;
using platform::Container;
using platform::Side;

constexpr std::size_t kShownThumbprint = 8;
constexpr int kPatienceMs = 2'000;  // whoever is told to ask again need not wait long

bool HasCode(const platform::Error& error, LONG code) {
    return error.Code() == static_cast<DWORD>(code);
}

bool InList(const Certificates& list, platform::ByteView der) {
    return std::ranges::any_of(list,
                               [&](const auto& one) { return platform::Equal(one->Der(), der); });
}

// What a container waits for is no fault of it.
bool WaitsForAnswer(const KeyPlace& wanted, const Certificates& requests) {
    return std::ranges::any_of(requests, [&](const auto& one) {
        const auto place = PlaceOf(*one);
        return place && place->side == wanted.side && place->container == wanted.container &&
               place->spec == wanted.spec;
    });
}

Certificates CertificatesOf(Side side, const char* store) {
    try {
        const auto there = OpenIfThere(side, store);
        return there ? there->Certificates() : Certificates();
    } catch (const platform::Error& error) {
        if (IsBusy(error)) throw;
        return {};  // the check of the stores tells
    }
}

// ---- certificates ------------------------------------------------------------------

// What the check of the container tells is no finding of its own, nor is one of another user's.
bool LeadsToKey(const KeyPlace& place) {
    try {
        const Container container = Container::Open(place.side, place.container);
        return container.HasKey(place.spec) || container.CertificateOf(place.spec);
    } catch (const platform::Error& error) {
        return !HasCode(error, NTE_BAD_KEYSET);
    }
}

void CheckExpiry(Findings& findings, const std::string& store, const std::string& shown,
                 const Certificate& certificate) {
    const std::string expiry = ExpiryText(certificate.Info().NotAfter);
    if (expiry.empty()) return;
    const bool over = expiry == "expired";
    const auto place = PlaceOf(certificate);
    const std::string renew = place ? "kestrelctl request renew " + ShellWord(place->container) +
                                          " request.pem" +
                                          (place->side == Side::Machine ? " --machine" : "") +
                                          "  # then have an authority answer it, and install that "
                                          "with kestrelctl identity bind"
                                    : "";
    const std::string remove =
        findings.Ctl("store remove " + ShellWord(store) + " " + Thumbprint(certificate.Der()));
    findings.Add(over ? "expired" : "expires", shown, over ? "has expired" : expiry,
                 place  ? renew
                 : over ? remove
                        : findings.Ctl("store add " + ShellWord(store) + " FILE") +
                              "  # with the one that follows it");
}

// In "My" a certificate is to lead to its key.
void CheckWithoutWay(Findings& findings, const std::string& shown, const Certificate& certificate) {
    const std::string thumbprint = Thumbprint(certificate.Der());
    const platform::AnyKey key = PublicKeyOf(certificate);
    const auto holder = key ? FindKey(findings.GetSide(), key) : std::nullopt;
    const std::string bind = holder ? "identity bind " + ShellWord(holder->container) + " " : "";
    findings.Add("no-key", shown, "leads to no key",
                 holder ? findings.Ctl(bind + thumbprint)
                        : findings.Ctl("store remove My " + thumbprint) +
                              "  # or take its key in: kestrelctl identity import FILE");
}

void CheckCertificate(Findings& findings, const std::string& store,
                      const Certificate& certificate) {
    const std::string thumbprint = Thumbprint(certificate.Der());
    const std::string shown = NameText(certificate.Info().Subject) + " (" +
                              thumbprint.substr(0, kShownThumbprint) + ") in \"" + store + "\"";
    const std::string remove = findings.Ctl("store remove " + ShellWord(store) + " " + thumbprint);
    const auto place = PlaceOf(certificate);
    const bool hasWay = certificate.properties.contains(CERT_KEY_PROV_INFO_PROP_ID);
    if (!place && hasWay) {
        findings.Add("no-key", shown, "has a damaged way to its key", remove);
    } else if (place && !LeadsToKey(*place)) {
        findings.Add("no-key", shown,
                     "leads to a key that is not there, in container '" + place->container + "'",
                     remove + "  # or bring the container back from a backup");
        return;
    }
    if (!hasWay && store == "My") return CheckWithoutWay(findings, shown, certificate);
    // Those are kept for messages to them, or only stand in for what is to come.
    if (store == kSuperseded || store == platform::kRequestStore) return;
    CheckExpiry(findings, store, shown, certificate);
}

fs::path JournalOf(Side side) { return platform::HomeOf(side) / "stores.db-journal"; }

// Whether opening the database would take a change back: SQLite passes over a journal that is
// empty or begins with a zero.
bool TellsOfChange(const fs::path& journal) {
    std::error_code error;
    if (!fs::is_regular_file(journal, error)) return false;
    std::ifstream content(journal, std::ios::binary);
    return !content || content.peek() > 0;
}

// Whether a program changes the database now: it holds that lock of SQLite's, and may have just
// made its journal.
bool IsChanging(const fs::path& database) {
    constexpr off_t kReservedByte = 0x40000001;
    const platform::Descriptor opened(platform::OpenUninterrupted(database.string(), O_RDONLY));
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = kReservedByte;
    lock.l_len = 1;
    return opened.Get() >= 0 && fcntl(opened.Get(), F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

void CheckEmptyJournal(Findings& findings, const fs::path& database) {
    const fs::path journal = JournalOf(findings.GetSide());
    std::error_code error;
    if (!fs::exists(journal, error) || IsChanging(database)) return;
    findings.Add("leftover", journal.string(), "was left by a killed run and holds nothing",
                 "rm " + ShellWord(journal.string()) + "  # while nothing changes the stores");
}

void CheckDatabase(Findings& findings, const fs::path& file) {
    platform::Database database(file, kPatienceMs);
    platform::Statement check(database, "PRAGMA quick_check(1)");
    if (check.Step() && check.Text(0) != "ok") {
        throw platform::Error(ERROR_FILE_CORRUPT, file.string() + ": " + check.Text(0));
    }
    for (const std::string& name : platform::SystemStoreNames(findings.GetSide())) {
        const auto store =
            platform::OpenSystemStore(findings.GetSide(), name, platform::OpenMode::Existing);
        for (const auto& one : store->Certificates()) CheckCertificate(findings, name, *one);
        static_cast<void>(store->Crls());
    }
}

// True when "My" tells what there is.
bool CheckStores(Findings& findings) {
    const fs::path file = findings.Home() / "stores.db";
    std::error_code error;
    if (!fs::exists(fs::symlink_status(file, error))) return true;
    if (!IsFileOrNothing(findings, file)) return false;
    const std::string name = ShellWord(file.string());
    if (fs::file_size(file, error) == 0) {
        findings.Add("damaged", file.string(), "is empty, so that there are no stores",
                     "rm " + name + "  # and bring it back from a backup");
        return false;
    }
    // Opening a database whose change was cut off takes that back, and here nothing is to change.
    if (TellsOfChange(JournalOf(findings.GetSide()))) {
        findings.Add("leftover", JournalOf(findings.GetSide()).string(),
                     "tells of a change that was cut off, or goes on now",
                     findings.Ctl("store list") + "  # takes back what was cut off");
        return false;
    }
    CheckEmptyJournal(findings, file);
    bool whole = false;
    findings.Try(file.string(),
                 "mv " + name + " " + name + ".damaged  # and bring it back from a backup", [&] {
                     CheckDatabase(findings, file);
                     whole = true;
                 });
    return whole;
}

// ---- containers --------------------------------------------------------------------

struct Containers {
    Findings& findings;
    const Certificates& my;
    bool myIsKnown;
    const Certificates& requests;
};

std::string Shown(const Container& container) { return "container '" + container.Name() + "'"; }

// Binds the certificate that lies in the container.
std::string BindOwn(const Findings& findings, const KeyPlace& place) {
    return findings.Ctl("identity bind " + ShellWord(place.container) + " " +
                        ShellWord(CertificateFile(place).string()));
}

void CheckBinding(const Containers& all, const Container& container, DWORD spec,
                  const platform::Bytes& der) {
    const KeyPlace place{container.GetSide(), container.Name(), spec};
    const platform::AnyKey key = container.OwnPublicKey(spec);
    const platform::AnyKey known = PublicKeyOf(*Certificate::Parse(der));
    if (key && known && !known.Matches(key)) {
        all.findings.Add("no-certificate", Shown(container),
                         "has a certificate that is not the one of its key",
                         MendCertificate(all.findings, all.my, place));
    } else if (all.myIsKnown && !InList(all.my, der)) {
        all.findings.Add("not-in-my", Shown(container),
                         "has a certificate that does not stand in \"My\"",
                         BindOwn(all.findings, place));
    }
}

// Whether there is anything of this key.
bool CheckKey(const Containers& all, const Container& container, DWORD spec) {
    const auto der = container.CertificateOf(spec);
    const bool key = container.HasKey(spec);
    const std::string remove = all.findings.Ctl("identity delete " + ShellWord(container.Name()));
    if (key) static_cast<void>(container.OwnPublicKey(spec));  // throws when it is damaged
    if (key && der) {
        CheckBinding(all, container, spec, *der);
    } else if (key &&
               !WaitsForAnswer({container.GetSide(), container.Name(), spec}, all.requests)) {
        all.findings.Add(
            "no-certificate", Shown(container), "has a key without a certificate",
            all.findings.Ctl("identity bind " + ShellWord(container.Name()) + " CERTIFICATE") +
                "  # or, when nobody needs the key: " + remove);
    } else if (der) {
        // The other key of the container is not to be lost with it.
        const KeyPlace place{container.GetSide(), container.Name(), spec};
        const bool hasOther = container.HasKey(AT_KEYEXCHANGE) || container.HasKey(AT_SIGNATURE);
        all.findings.Add("no-key", Shown(container), "has a certificate whose key is gone",
                         (hasOther ? "rm " + ShellWord(CertificateFile(place).string()) : remove) +
                             "  # or bring it back from a backup");
    }
    return key || der;
}

// Whatever changes identities finishes it. Without a certificate there is nothing left to do.
std::string FinishingCommand(const Findings& findings, const Container& container) {
    for (const DWORD spec : kKeySpecs) {
        if (!container.HasKey(spec) || !container.CertificateOf(spec)) continue;
        return BindOwn(findings, {container.GetSide(), container.Name(), spec}) +
               "  # finishes that";
    }
    const fs::path folder = platform::ContainersOf(container.GetSide()) / container.Name();
    return "rm " + ShellWord((folder / "pending").string());
}

void CheckContainer(const Containers& all, const std::string& name) {
    const Container container = Container::Open(all.findings.GetSide(), name);
    if (container.Pending()) {
        all.findings.Add("leftover", Shown(container), "is half made or half deleted",
                         FinishingCommand(all.findings, container));
        return;
    }
    bool any = false;
    for (const DWORD spec : kKeySpecs) any = CheckKey(all, container, spec) || any;
    if (any) return;
    all.findings.Add("no-key", Shown(container), "is empty",
                     all.findings.Ctl("identity delete " + ShellWord(name)));
}

bool IsOthers(Side side, const std::string& name) {
    try {
        static_cast<void>(Container::Open(side, name));
    } catch (const platform::Error& error) {
        return side == Side::Machine && error.Code() == ERROR_ACCESS_DENIED;
    }
    return false;
}

bool HoldsFiles(Findings& findings, const std::string& name) {
    bool areFiles = true;
    std::error_code barred;
    const fs::path folder = platform::ContainersOf(findings.GetSide()) / name;
    for (fs::directory_iterator at(folder, barred), end; !barred && at != end;
         at.increment(barred)) {
        areFiles = IsFileOrNothing(findings, at->path()) && areFiles;
    }
    return areFiles;
}

void CheckContainers(const Containers& all) {
    const Side side = all.findings.GetSide();
    if (!IsFolderOrNothing(all.findings, platform::ContainersOf(side))) return;
    all.findings.Try(platform::ContainersOf(side).string(), std::string(), [&] {
        for (const std::string& name : Container::List(side, 0)) {
            if (!HoldsFiles(all.findings, name) || IsOthers(side, name)) continue;
            const auto mend = [&](const platform::Error& error) {
                return MendContainer(all.findings, all.my, name, error);
            };
            all.findings.Try("container '" + name + "'", mend, [&] { CheckContainer(all, name); });
        }
    });
}

}  // namespace

void CheckIdentities(Findings& findings) {
    const bool whole = CheckStores(findings);
    if (findings.MetBusy()) return;  // what is not known of the stores would seem to be missing
    const Certificates my = whole ? CertificatesOf(findings.GetSide(), "My") : Certificates();
    const Certificates requests = TellsOfChange(JournalOf(Side::User))
                                      ? Certificates()
                                      : CertificatesOf(Side::User, platform::kRequestStore);
    CheckContainers({findings, my, whole, requests});
}

}  // namespace kestrelctl
