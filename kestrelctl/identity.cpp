// kestrelctl identity create, import, export, passwd, bind and delete.
#include <filesystem>

#include "kestrelctl/ancestry.h"
#include "kestrelctl/commands.h"
#include "kestrelctl/identities.h"
#include "kestrelctl/output.h"
#include "kestrelctl/password.h"
#include "kestrelctl/pkcs12_file.h"
#include "kestrelctl/self_signed.h"
#include "kestrelctl/text_forms.h"
#include "platform/base/error.h"

namespace kestrelctl {
namespace {

using platform::AnyKey;
using platform::Certificate;
using platform::Container;
using platform::Secret;
using platform::Side;

std::string Quoted(const std::string& name) { return "'" + name + "'"; }

std::string Count(std::size_t number, const char* what) {
    return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

CertificatePointer CertificateIn(Side side, const std::string& container) {
    return Certificate::Parse(*Container::Open(side, container).CertificateOf(AT_KEYEXCHANGE));
}

// ---- import ------------------------------------------------------------------------

Certificates ParseAll(const std::vector<platform::Bytes>& encodings) {
    Certificates certificates;
    for (const platform::Bytes& der : encodings) certificates.push_back(Certificate::Parse(der));
    return certificates;
}

void AddOthers(Side side, const Certificates& others, bool trust) {
    std::size_t roots = 0;
    for (const auto& other : others) {
        const bool root = trust && IsSelfSigned(*other);
        AddToStore(side, root ? "Root" : "CA", *other);
        roots += root ? 1 : 0;
    }
    if (roots != 0) Say("Added " + Count(roots, "certificate") + " to \"Root\".");
    if (roots != others.size()) {
        Say("Added " + Count(others.size() - roots, "certificate") + " to \"CA\".");
    }
}

void TakeNewKey(const NewIdentity& identity) {
    SaveIdentity(identity, [&](const std::string& name) {
        return "Took the key into container " + Quoted(name) + " and its certificate " +
               Thumbprint(identity.certificate->Der()) + " into \"My\"" +
               (identity.trusted ? " and \"Root\"." : ".");
    });
}

// ctl-1
void TakeKnownKey(const KeyPlace& place, const NewIdentity& identity) {
    const std::size_t former = Bind(place, identity.certificate);
    if (identity.trusted) AddToStore(place.side, "Root", *identity.certificate);
    Say("Container " + Quoted(place.container) +
        " holds this key already; no other was made. Its certificate " +
        Thumbprint(identity.certificate->Der()) + " stands in \"My\".");
    if (former != 0) Say("The certificate that it had before moved to \"Superseded\".");
    if (!identity.pin.Empty()) Say("The container's password stays as it was.");
}

// Which certificate is missing for trust, and how it gets there.
void AdviseOnTrust(Side side, const CertificatePointer& certificate, const Certificates& others,
                   const std::string& file) {
    const Ancestry ancestry = AncestryOf(side, certificate, others);
    if (ancestry.trusted) return;
    const auto& top = ancestry.issuers.empty() ? certificate : ancestry.issuers.back();
    if (!ancestry.complete) {
        Say("Not trusted yet: the certificate of its issuer, " + NameText(top->Info().Issuer) +
            ", is not here. Get it from that authority and run: kestrelctl trust FILE (for an "
            "authority that another one certified: kestrelctl store add CA FILE)");
        return;
    }
    Say("Not trusted yet: " + NameText(top->Info().Subject) + ", SHA-256 " +
        Sha256Text(top->Der()) +
        ", is not in \"Root\". When that is the right one, run: kestrelctl identity import " +
        file + " --trust" + (side == Side::Machine ? " --machine" : ""));
}

// ---- passwords -----------------------------------------------------------------------

using Keys = std::vector<std::pair<DWORD, AnyKey>>;

Keys LoadKeys(const Container& container, Secret& pin) {
    Keys keys;
    for (const DWORD spec : kKeySpecs) {
        if (container.HasKey(spec)) keys.emplace_back(spec, LoadKey(container, spec, pin));
    }
    return keys;
}

// Read again under the lock: what was read before the user had typed may be old.
void ChangePasswords(Container& container, Secret& old, const Secret& fresh) {
    const platform::ContainerLock lock(container.GetSide());
    platform::ContainerChange change(container.Type());
    for (const auto& [spec, key] : LoadKeys(container, old)) {
        change.SetKey(spec, key, fresh);
    }
    container.Apply(change);
}

// ---- bind ----------------------------------------------------------------------------

CertificatePointer InMy(Side side, const std::string& thumbprint) {
    const auto my = OpenIfThere(side, "My");
    for (const auto& one : my ? my->Certificates() : Certificates()) {
        if (Thumbprint(one->Der()) == thumbprint) return one;
    }
    return nullptr;
}

CertificatePointer OnlyCertificate(Side side, const std::string& file) {
    std::error_code error;
    if (!std::filesystem::exists(file, error)) {
        if (const auto known = InMy(side, PlainHex(file))) return known;
    }
    try {
        const auto bundle = platform::ReadBundle(platform::ReadWholeFile(file));
        if (bundle.certificates.size() == 1) return bundle.certificates.front();
    } catch (const platform::Error& error) {
        if (!error.Detail().empty()) throw;
        throw platform::Error(error.Code(), file);
    }
    throw Failure("'" + file + "' must hold one certificate");
}

bool Fits(const Certificate& certificate, const AnyKey& key) {
    return PublicKeyOf(certificate).Matches(key);
}

// The key of the container that is the certificate's. The certificate that the key has already
// tells nothing: it may be damaged, or another key's.
DWORD SpecFor(const Container& container, const Certificate& certificate, Secret pin) {
    for (const DWORD spec : kKeySpecs) {
        if (!container.HasKey(spec)) continue;
        const AnyKey known = container.OwnPublicKey(spec);
        if (Fits(certificate, known ? known : LoadKey(container, spec, pin))) return spec;
    }
    throw Failure("the certificate is not one of a key in container " + Quoted(container.Name()));
}

bool IsListed(Side side, const std::string& name) {
    for (const std::string& each : Container::List(side, 0)) {
        if (each == name) return true;
    }
    return false;
}

// What a killed run left must be whole again before it is looked at.
void CatchUp(Side side) { const IdentityLock lock(side); }

void NotePending(Side side, const std::string& name) {
    try {
        Container::Open(side, name).SetPending();
    } catch (const platform::Error& error) {
        // A damaged container may be deleted, too.
        if (error.Code() != static_cast<DWORD>(NTE_KEYSET_ENTRY_BAD)) throw;
    }
}

// Best effort: the failure that stopped the deletion is what the user has to know.
void TakeBack(Side side, const std::string& name) {
    try {
        FinishPending(side, name);
    } catch (const platform::Error&) {
        return;  // the note stays for the next run
    }
}

// Those in "My" go first, and all come back while the container is there.
Released DeleteContainer(Side side, const std::string& name) {
    NotePending(side, name);
    try {
        Released gone = Release(side, "My", name);
        Container::Delete(side, name);
        return gone;
    } catch (const platform::Error&) {
        TakeBack(side, name);
        throw;
    }
}

}  // namespace

void IdentityCreate(const Arguments& arguments) {
    const auto type = static_cast<DWORD>(arguments.Number("provtype", PROV_RSA_AES, 1));
    const auto bits = static_cast<DWORD>(arguments.Number("bits", 0, 1));
    const AnyKey key = platform::GenerateKey(type, bits);
    const auto certificate = Certificate::Parse(
        SelfSigned(key, arguments.positionals[0], arguments.Number("days", 365, 1)));
    const bool trust = arguments.Has("trust");
    const IdentityLock lock(arguments.Side());
    const NewIdentity identity{arguments.Side(), arguments.Get("container"), type, key,
                               certificate,      PinOf(arguments),           trust};
    if (const auto name = lock.FinishedLike(identity)) {
        if (trust) AddToStore(identity.side, "Root", *CertificateIn(identity.side, *name));
        return Say("It is what this command makes; no other was made.");
    }
    SaveIdentity(identity, [&](const std::string& name) {
        return "Made container " + Quoted(name) + " with a new key of type " +
               std::to_string(type) + ", and its certificate " + Thumbprint(certificate->Der()) +
               " in \"My\"" + (trust ? " and \"Root\"." : ".");
    });
}

void IdentityImport(const Arguments& arguments) {
    const std::string& file = arguments.positionals[0];
    const Side side = arguments.Side();
    const Pkcs12Content content = ReadPkcs12(file, FilePassword(arguments, false));
    const auto certificate = Certificate::Parse(content.certificate);
    const Certificates others = ParseAll(content.others);
    const bool trust = arguments.Has("trust");
    const NewIdentity identity{side,
                               arguments.Get("container"),
                               platform::TypeForKey(content.key),
                               content.key,
                               certificate,
                               PinOf(arguments),
                               trust && (others.empty() || IsSelfSigned(*certificate))};
    const IdentityLock lock(side);
    // The key comes last: whoever was stopped before it does the same again.
    AddOthers(side, others, trust);
    auto known = FindKeyIn(side, identity.container, content.key);
    if (!known) known = FindKey(side, content.key);
    const bool another =
        !identity.container.empty() && known && known->container != identity.container;
    if (another) Say("Container " + Quoted(known->container) + " holds this key, too.");
    known && !another ? TakeKnownKey(*known, identity) : TakeNewKey(identity);
    AdviseOnTrust(side, certificate, others, file);
}

void IdentityExport(const Arguments& arguments) {
    const Side side = arguments.Side();
    const ExportFile file(arguments.positionals[1], arguments.Has("force"));
    const Container container = Container::Open(side, arguments.positionals[0]);
    const DWORD spec = FilledKeySpec(container);
    const auto der = container.CertificateOf(spec);
    if (!der) throw Failure("container " + Quoted(container.Name()) + " holds no certificate");
    Secret pin = PinOf(arguments);
    const AnyKey key = LoadKey(container, spec, pin);
    Pkcs12Source source{key, *der, {}, container.Name(), arguments.Has("legacy")};
    for (const auto& issuer : AncestryOf(side, Certificate::Parse(*der)).issuers) {
        source.issuers.push_back(platform::Copy(issuer->Der()));
    }
    file.Write(MakePkcs12(source, FilePassword(arguments, true)), 0600);
    file.Report("Wrote the key and " + Count(source.issuers.size() + 1, "certificate") + " of " +
                Quoted(container.Name()) + " to " + file.Target() + ".");
}

void IdentityPasswd(const Arguments& arguments) {
    CatchUp(arguments.Side());
    Container container = Container::Open(arguments.Side(), arguments.positionals[0]);
    FilledKeySpec(container);
    Secret old = PinOf(arguments);
    LoadKeys(container, old);  // a wrong password shows before the new one is asked for
    const Secret fresh = arguments.Has("new-pin") ? PinOf(arguments, "new-pin")
                                                  : AskNewPassword("New password (empty: none): ");
    ChangePasswords(container, old, fresh);
    Say("Container " + Quoted(container.Name()) +
        (fresh.Empty() ? " has no password now." : " has the new password."));
}

void IdentityBind(const Arguments& arguments) {
    const Side side = arguments.Side();
    const std::string& file = arguments.positionals[1];
    const auto certificate = OnlyCertificate(side, file);
    CatchUp(side);
    const Container container = Container::Open(side, arguments.positionals[0]);
    const DWORD spec = SpecFor(container, *certificate, PinOf(arguments));
    const IdentityLock lock(side);
    const std::size_t former = Bind({side, container.Name(), spec}, certificate);
    Say("Certificate " + Thumbprint(certificate->Der()) + " in \"My\" leads to the key in " +
        Quoted(container.Name()) + ".");
    if (former != 0) {
        Say("Moved " + Count(former, "certificate") + " to \"Superseded\"; they lead to it, too.");
    }
}

void IdentityDelete(const Arguments& arguments) {
    const Side side = arguments.Side();
    const std::string& name = arguments.positionals[0];
    const IdentityLock lock(side);
    const bool there = IsListed(side, name);  // ctl-2: or only certificates that lead to it
    Released gone = there ? DeleteContainer(side, name) : Release(side, "My", name);
    const Released former = Release(side, kSuperseded, name);
    gone.removed += former.removed;
    gone.rebound.insert(gone.rebound.end(), former.rebound.begin(), former.rebound.end());
    if (!there && gone.removed + gone.rebound.size() == 0) {
        throw platform::Error(NTE_BAD_KEYSET, name);
    }
    Say("Deleted container " + Quoted(name) +
        (gone.removed == 0 ? "." : " and " + Count(gone.removed, "certificate") + "."));
    if (!gone.rebound.empty()) {
        Say("Container " + Quoted(gone.rebound.front()) +
            " has the same key; its certificate leads there now.");
    }
}

}  // namespace kestrelctl
