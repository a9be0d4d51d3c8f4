// Where the issuers of a chain are looked for, and what is trusted.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/certs/certificate.h"
#include "platform/stores/store.h"

namespace platform {

// A name as RFC 5280 7.1 compares it: case and repeated blanks do not count.
class DistinguishedName {
  public:
    explicit DistinguishedName(const CERT_NAME_BLOB& encoded) : encoded_(&encoded) {}
    // The records that the names were made of must still be there.
    [[nodiscard]] bool Equals(const DistinguishedName& other) const;
    // The same for equal names.
    [[nodiscard]] unsigned long Hash() const;

  private:
    [[nodiscard]] X509_NAME* Parsed() const;
    const CERT_NAME_BLOB* encoded_;
    mutable std::unique_ptr<X509_NAME, Freer<X509_NAME_free>> parsed_;  // made when first needed
};

bool ValidAt(const Certificate& certificate, const FILETIME& time);

// Subject and issuer have one name.
bool IsSelfIssued(const Certificate& certificate);

// The CERT_TRUST_HAS_*_MATCH_ISSUER bit of how `subject` tells its issuer, which `issuer` is.
DWORD MatchOf(const Certificate& subject, const Certificate& issuer);

// The stores in their order: the additional one, the one that the end certificate stands
// in, "CA", "My" and "AddressBook" of the user and then of the machine, and "Root" of
// both. Trust is "Root" alone. Stores are read once, when the pool is made.
class CertificatePool {
  public:
    using Certificates = std::vector<std::shared_ptr<Certificate>>;

    // `additional` may be null. Throws what opening a damaged store throws.
    CertificatePool(const Certificate& leaf, const std::shared_ptr<Store>& additional,
                    const std::vector<Side>& sides);

    // Untrusted ones, from somewhere else.
    void Add(const Certificates& certificates);

    // Every certificate whose name is the issuer's, and whose key identifier is the one
    // that the subject tells, if both tell one. The likeliest first: trusted, then those that tell
    // it, then valid at `time`, then those that bear an anchor's name as their issuer's, then the
    // latest issued. Each certificate once, wherever it stands; none that
    // OpenSSL cannot read.
    [[nodiscard]] Certificates IssuersOf(const Certificate& subject, const FILETIME& time) const;
    // Those that OpenSSL can read, in the order of the stores.
    [[nodiscard]] Certificates Named(const CERT_NAME_BLOB& subject) const;
    [[nodiscard]] bool Trusts(const Certificate& certificate) const;

    // CRLs of the same stores, of the certificate's issuer and of those that its distribution
    // points name instead.
    [[nodiscard]] std::vector<std::shared_ptr<Crl>> CrlsFor(const Certificate& subject) const;

  private:
    void Read(const std::shared_ptr<Store>& store, bool trusted);
    void Add(std::shared_ptr<Certificate> certificate, bool trusted);
    void ReadSystemStore(Side side, const char* name, bool trusted);

    struct Entry {
        std::shared_ptr<Certificate> certificate;
        bool trusted = false;
        DistinguishedName subject;
        mutable std::optional<bool> belowAnchor = std::nullopt;  // by name; made when first needed
    };
    [[nodiscard]] bool BelowAnchor(const Entry& entry) const;
    struct ViewLess {
        bool operator()(ByteView first, ByteView second) const;
    };
    [[nodiscard]] std::vector<const Entry*> EntriesNamed(const DistinguishedName& name) const;

    std::map<ByteView, std::size_t, ViewLess> positions_;  // by encoding
    std::vector<Entry> entries_;
    std::unordered_multimap<unsigned long, std::size_t> names_;
    std::unordered_set<unsigned long> anchorNames_;  // hashes
    std::vector<std::shared_ptr<Store>> stores_;
};

}  // namespace platform
