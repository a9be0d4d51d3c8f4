// Containers and stores together: what binds them, and in which order they change.
#include "kestrelctl/identities.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "kestrelctl/ancestry.h"
#include "kestrelctl/cli.h"
#include "platform/base/error.h"
#include "platform/certs/compare.h"

namespace kestrelctl {
namespace {

using platform::Certificate;
using platform::Container;
using platform::Side;
using platform::Store;

bool Is(const platform::Error& error, LONG code) {
    return error.Code() == static_cast<DWORD>(code);
}

std::string CommonName(const Certificate& certificate) {
    const X509_NAME* subject = X509_get_subject_name(certificate.Native());
    const int at = X509_NAME_get_index_by_NID(subject, NID_commonName, -1);
    if (at < 0) return {};
    unsigned char* text = nullptr;
    const int size =
        ASN1_STRING_to_UTF8(&text, X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, at)));
    std::string name(reinterpret_cast<const char*>(text),
                     size > 0 ? static_cast<std::size_t>(size) : 0);
    OPENSSL_free(text);
    return name;
}

std::string BaseName(const NewIdentity& identity) {
    return Container::NameFrom(CommonName(*identity.certificate));
}

Container CreateUnderFreeName(const NewIdentity& identity,
                              const platform::ContainerChange& content) {
    const std::string base = BaseName(identity);
    Container container = Container::CreateFresh(identity.side, base, content);
    if (container.Name() != base) {
        Say("Container '" + base + "' is another one and stays as it is.");
    }
    return container;
}

Container CreateContainer(const NewIdentity& identity, const platform::ContainerChange& content) {
    const std::string& wanted = identity.container;
    if (wanted.empty()) return CreateUnderFreeName(identity, content);
    if (!Container::ValidName(wanted)) throw Failure("'" + wanted + "' is no container name");
    return Container::Create(identity.side, wanted, content);
}

std::shared_ptr<Store> OpenOrMake(Side side, const char* name) {
    return platform::OpenSystemStore(side, name, platform::OpenMode::OpenOrCreate);
}

platform::Bytes WayTo(const KeyPlace& place, DWORD type) {
    platform::KeyProviderInfo info;
    info.container = place.container;
    info.type = type;
    info.flags = place.side == Side::Machine ? CRYPT_MACHINE_KEYSET : 0;
    info.keySpec = place.spec;
    return platform::Serialize(info);
}

// The same certificate with the property that leads to a key.
void AddLeading(Store& store, const Certificate& certificate, const KeyPlace& place) {
    const DWORD type = Container::Open(place.side, place.container).Type();
    const auto leading = Certificate::Parse(certificate.Der());
    leading->properties = certificate.properties;
    leading->properties[CERT_KEY_PROV_INFO_PROP_ID] = WayTo(place, type);
    store.Add(*leading, CERT_STORE_ADD_REPLACE_EXISTING);
}

// Writes nothing when there is nothing to remove, so that it works on a full disk.
void RemoveFrom(Side side, const char* name, const Certificate& certificate) {
    const auto store = OpenIfThere(side, name);
    if (!store) return;
    const auto all = store->Certificates();
    const bool there = std::ranges::any_of(
        all, [&](const auto& one) { return platform::Equal(one->Der(), certificate.Der()); });
    if (there) store->Remove(certificate);
}

// Best effort: the failure that led here is what the user has to know.
void Undo(const NewIdentity& identity, const std::string& container) {
    try {
        RemoveFrom(identity.side, "My", *identity.certificate);
        if (identity.trusted) RemoveFrom(identity.side, "Root", *identity.certificate);
        Container::Delete(identity.side, container);
    } catch (const platform::Error&) {
        return;  // the container stays, noted as pending, and the next run finishes it
    }
}

std::optional<DWORD> SpecOfKey(const Container& container, const platform::AnyKey& wanted) {
    for (const DWORD spec : kKeySpecs) {
        if (container.HasKey(spec) && wanted.Matches(container.PublicKey(spec))) return spec;
    }
    return std::nullopt;
}

bool LeadsTo(const Certificate& certificate, const KeyPlace& place) {
    const auto found = PlaceOf(certificate);
    return found && found->side == place.side && found->container == place.container &&
           found->spec == place.spec;
}

// Before the note goes: a run that is killed between has told, or is finished by the next one.
void SayNow(const std::string& line) {
    Say(line);
    std::fflush(stdout);
}

// The note that a container of a new identity begins with.
constexpr const char* kNewNote = "My\n";

bool StandsInMy(const Certificate& certificate, const KeyPlace& place) {
    const auto all = OpenOrMake(place.side, "My")->Certificates();
    return std::ranges::any_of(all, [&](const auto& one) {
        return platform::Equal(one->Der(), certificate.Der()) && LeadsTo(*one, place);
    });
}

// Writes nothing that is there already, so that it works on a full disk after a deletion failed.
void PlaceCertificates(const Container& container, const std::string& note) {
    const Side side = container.GetSide();
    for (const DWORD spec : kKeySpecs) {
        const auto der = container.CertificateOf(spec);
        if (!der) continue;
        const auto certificate = Certificate::Parse(*der);
        const KeyPlace place{side, container.Name(), spec};
        if (!StandsInMy(*certificate, place)) {
            AddLeading(*OpenOrMake(side, "My"), *certificate, place);
        }
        std::istringstream stores(note);
        for (std::string store; std::getline(stores, store);) {
            AddToStore(side, store.c_str(), *certificate);
        }
    }
}

bool OpensWith(const Container& container, const platform::Secret& pin) {
    try {
        return container.NeedsPassword(AT_KEYEXCHANGE) != pin.Empty() &&
               container.LoadKey(AT_KEYEXCHANGE, pin);
    } catch (const platform::Error&) {
        return false;
    }
}

std::uint64_t Ticks(const FILETIME& time) {
    return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

// Two certificates that the same command line makes, at different times with different keys.
bool MadeAlike(const CERT_INFO& one, const CERT_INFO& other) {
    const auto length = [](const CERT_INFO& info) {
        return Ticks(info.NotAfter) - Ticks(info.NotBefore);
    };
    return platform::Equal(platform::ViewOf(one.Subject), platform::ViewOf(other.Subject)) &&
           length(one) == length(other) &&
           platform::PublicKeyFromInfo(one.SubjectPublicKeyInfo).Bits() ==
               platform::PublicKeyFromInfo(other.SubjectPublicKeyInfo).Bits();
}

bool IsLike(const Container& container, const NewIdentity& wanted) {
    const auto der = container.CertificateOf(AT_KEYEXCHANGE);
    return der && container.Type() == wanted.type &&
           MadeAlike(Certificate::Parse(*der)->Info(), wanted.certificate->Info()) &&
           OpensWith(container, wanted.pin);
}

}  // namespace

IdentityLock::IdentityLock(Side side) : lock_(side) {
    for (const std::string& name : Container::List(side, 0)) {
        try {
            if (FinishPending(side, name)) finished_.push_back(name);
        } catch (const platform::Error& error) {
            // One that is damaged, or another user's, is no matter of this command.
            const bool elsewhere =
                Is(error, NTE_KEYSET_ENTRY_BAD) || error.Code() == ERROR_ACCESS_DENIED;
            if (!elsewhere) throw;
        }
    }
}

std::optional<std::string> IdentityLock::FinishedLike(const NewIdentity& wanted) const {
    for (const std::string& name : finished_) {
        const bool named = wanted.container.empty() ? name.starts_with(BaseName(wanted))
                                                    : name == wanted.container;
        if (named && IsLike(Container::Open(wanted.side, name), wanted)) return name;
    }
    return std::nullopt;
}

// ctl-3: the note of a new identity names its stores, a line each.
bool FinishPending(Side side, const std::string& name) {
    const Container container = Container::Open(side, name);
    const auto note = container.Pending();
    if (!note) return false;
    PlaceCertificates(container, *note);
    const bool fresh = note->starts_with(kNewNote);
    if (fresh) {
        SayNow("Finished container '" + name + "', which a run that was stopped had begun.");
    }
    container.ClearPending();
    return fresh;
}

void SaveIdentity(const NewIdentity& identity,
                  const std::function<std::string(const std::string& container)>& report) {
    platform::ContainerChange content(identity.type);
    content.SetKey(AT_KEYEXCHANGE, identity.key, identity.pin);
    content.SetCertificate(AT_KEYEXCHANGE, identity.certificate->Der());
    const std::string note = std::string(kNewNote) + (identity.trusted ? "Root\n" : "");
    content.SetPending(note);
    const Container container = CreateContainer(identity, content);
    try {
        PlaceCertificates(container, note);
    } catch (const platform::Error&) {
        Undo(identity, container.Name());
        throw;
    }
    SayNow(report(container.Name()));
    container.ClearPending();
}

std::optional<KeyPlace> FindKeyIn(Side side, const std::string& name,
                                  const platform::AnyKey& publicKey) {
    try {
        const auto spec = SpecOfKey(Container::Open(side, name), publicKey);
        return spec ? std::optional<KeyPlace>({side, name, *spec}) : std::nullopt;
    } catch (const platform::Error&) {
        return std::nullopt;
    }
}

std::optional<KeyPlace> FindKey(Side side, const platform::AnyKey& publicKey,
                                const std::string& except) {
    for (const std::string& name : Container::List(side, 0)) {
        if (name == except) continue;
        if (auto place = FindKeyIn(side, name, publicKey)) return place;
    }
    return std::nullopt;
}

std::size_t Bind(const KeyPlace& place, const CertificatePointer& certificate) {
    const auto my = OpenOrMake(place.side, "My");
    std::vector<CertificatePointer> former;
    for (const auto& one : my->Certificates()) {
        const bool same = platform::Equal(one->Der(), certificate->Der());
        if (!same && LeadsTo(*one, place)) former.push_back(one);
    }
    // At any moment some certificate leads to the key, and each is in some store.
    for (const auto& one : former) {
        OpenOrMake(place.side, kSuperseded)->Add(*one, CERT_STORE_ADD_REPLACE_EXISTING);
    }
    AddLeading(*my, *certificate, place);
    for (const auto& one : former) my->Remove(*one);
    RemoveFrom(place.side, kSuperseded, *certificate);
    Container::Open(place.side, place.container).SaveCertificate(place.spec, certificate->Der());
    return former.size();
}

Released Release(Side side, const char* storeName, const std::string& container) {
    Released released;
    const auto store = OpenIfThere(side, storeName);
    if (!store) return released;
    for (const auto& certificate : store->Certificates()) {
        const auto place = PlaceOf(*certificate);
        if (!place || place->side != side || place->container != container) continue;
        const platform::AnyKey key = PublicKeyOf(*certificate);
        const auto other = key ? FindKey(side, key, container) : std::nullopt;
        if (other) {
            AddLeading(*store, *certificate, *other);
            released.rebound.push_back(other->container);
        } else {
            store->Remove(*certificate);
            ++released.removed;
        }
    }
    return released;
}

void AddToStore(Side side, const char* store, const Certificate& certificate) {
    OpenOrMake(side, store)
        ->Add(*Certificate::Parse(certificate.Der()), CERT_STORE_ADD_USE_EXISTING);
}

std::shared_ptr<Store> OpenIfThere(Side side, const char* name) {
    try {
        return platform::OpenSystemStore(side, name, platform::OpenMode::Existing);
    } catch (const platform::Error& error) {
        if (error.Code() != ERROR_FILE_NOT_FOUND) throw;
        return nullptr;
    }
}

std::optional<KeyPlace> PlaceOf(const Certificate& certificate) {
    const auto property = certificate.properties.find(CERT_KEY_PROV_INFO_PROP_ID);
    if (property == certificate.properties.end()) return std::nullopt;
    try {
        const auto info = platform::ParseKeyProviderInfo(property->second);
        const bool machine = (info.flags & CRYPT_MACHINE_KEYSET) != 0;
        return KeyPlace{machine ? Side::Machine : Side::User, info.container, info.keySpec};
    } catch (const platform::Error&) {
        return std::nullopt;
    }
}

}  // namespace kestrelctl
