// Identities: a key in a container, its certificate beside it, and the way from the
// certificate in a store to the key. Failures are thrown.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/bytes.h"
#include "platform/base/home.h"
#include "platform/certs/certificate.h"
#include "platform/certs/key_provider_info.h"
#include "platform/providers/container.h"
#include "platform/providers/container_folder.h"
#include "platform/stores/store.h"

namespace kestrelctl {

using CertificatePointer = std::shared_ptr<platform::Certificate>;

inline constexpr DWORD kKeySpecs[] = {AT_KEYEXCHANGE, AT_SIGNATURE};
// Certificates that a newer one of the same key took the place of.
inline constexpr const char* kSuperseded = "Superseded";

// One key of a side's containers.
struct KeyPlace {
    platform::Side side;
    std::string container;
    DWORD spec;
};

struct NewIdentity {
    platform::Side side;
    std::string container;  // empty: the certificate's common name, with a number if taken
    DWORD type;
    platform::AnyKey key;
    CertificatePointer certificate;
    platform::Secret pin;
    bool trusted;  // the certificate goes into "Root" as well
};

// Keeps others from changing the side's identities. Taking it finishes what a killed run
// began: containers that are noted as pending get their certificate into "My". It says so of
// new ones.
class IdentityLock {
  public:
    explicit IdentityLock(platform::Side side);
    // The one of those just finished that was begun to be what `wanted` asks for, but for the key.
    [[nodiscard]] std::optional<std::string> FinishedLike(const NewIdentity& wanted) const;

  private:
    platform::ContainerLock lock_;
    std::vector<std::string> finished_;
};

// Puts the certificates of a container that is noted as pending where the note wants them, and
// says so of a new identity. True for such a one.
bool FinishPending(platform::Side side, const std::string& container);

// A new container and the certificate in "My". All of it or, when it throws, nothing. Under the
// lock, as all that changes. Tells what `report` answers for the container's name, once all is in
// its place.
void SaveIdentity(const NewIdentity& identity,
                  const std::function<std::string(const std::string& container)>& report);

// Whether and where a container holds the key of this public one. One that cannot be read, or
// tells nothing without a password, does not.
std::optional<KeyPlace> FindKeyIn(platform::Side side, const std::string& container,
                                  const platform::AnyKey& publicKey);
// The first container that does, other than `except`.
std::optional<KeyPlace> FindKey(platform::Side side, const platform::AnyKey& publicKey,
                                const std::string& except = {});

// Makes a certificate the one of a key, in the container and in "My". Those that led to the
// key until now move to "Superseded"; answers how many did.
std::size_t Bind(const KeyPlace& place, const CertificatePointer& certificate);

// Takes away what in a store leads to a container; a certificate whose key another
// container has leads there from then on.
struct Released {
    std::size_t removed = 0;
    std::vector<std::string> rebound;  // the other containers' names
};
Released Release(platform::Side side, const char* store, const std::string& container);

// Adds a certificate to a system store; one that is there already is fine.
void AddToStore(platform::Side side, const char* store, const platform::Certificate& certificate);
// Null when the store is not there.
std::shared_ptr<platform::Store> OpenIfThere(platform::Side side, const char* name);

// Where a certificate's property leads; none without one, or with a damaged one.
std::optional<KeyPlace> PlaceOf(const platform::Certificate& certificate);

}  // namespace kestrelctl
