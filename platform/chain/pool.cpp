// Names, and the stores as one list of certificates.
#include "platform/chain/pool.h"

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <algorithm>

#include "platform/base/error.h"
#include "platform/base/ticks.h"
#include "platform/certs/compare.h"
#include "platform/chain/addresses.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

// RFC 5280 4.2.1.1: the identifiers name the key; where one side tells none, the name of
// the issuer has to do.
bool KeyIdentifiersFit(const Certificate& subject, const Certificate& issuer) {
    const ASN1_OCTET_STRING* present = X509_get0_subject_key_id(issuer.Native());
    const ASN1_OCTET_STRING* wanted = X509_get0_authority_key_id(subject.Native());
    return wanted == nullptr || present == nullptr || ASN1_OCTET_STRING_cmp(wanted, present) == 0;
}

bool BothTellKeys(const Certificate& subject, const Certificate& issuer) {
    return X509_get0_authority_key_id(subject.Native()) != nullptr &&
           X509_get0_subject_key_id(issuer.Native()) != nullptr;
}

// RFC 5280 4.2.1.1: issuer and serial number of the issuer's own certificate.
bool TellsSerial(X509* subject, X509* issuer) {
    const GENERAL_NAMES* names = X509_get0_authority_issuer(subject);
    const ASN1_INTEGER* serial = X509_get0_authority_serial(subject);
    if (serial == nullptr || ASN1_INTEGER_cmp(serial, X509_get0_serialNumber(issuer)) != 0) {
        return false;
    }
    for (int i = 0; i < sk_GENERAL_NAME_num(names); ++i) {
        const GENERAL_NAME* name = sk_GENERAL_NAME_value(names, i);
        if (name->type == GEN_DIRNAME &&
            X509_NAME_cmp(name->d.directoryName, X509_get_issuer_name(issuer)) == 0) {
            return true;
        }
    }
    return false;
}

bool Readable(const Certificate& certificate) {
    try {
        return certificate.Native() != nullptr;
    } catch (const Error&) {
        return false;
    }
}

}  // namespace

bool DistinguishedName::Equals(const DistinguishedName& other) const {
    if (Equal(ViewOf(*encoded_), ViewOf(*other.encoded_))) return true;
    return Parsed() != nullptr && other.Parsed() != nullptr &&
           X509_NAME_cmp(Parsed(), other.Parsed()) == 0;
}

// What is no name is equal to its own bytes alone, and there are few of them.
unsigned long DistinguishedName::Hash() const {
    if (Parsed() == nullptr) return 0;
    return X509_NAME_hash_ex(Parsed(), nullptr, nullptr, nullptr);
}

X509_NAME* DistinguishedName::Parsed() const {
    if (!parsed_) {
        parsed_ = DecodeWhole<decltype(parsed_)>(&d2i_X509_NAME, ViewOf(*encoded_));
        ERR_clear_error();
    }
    return parsed_.get();
}

bool ValidAt(const Certificate& certificate, const FILETIME& time) {
    const CERT_INFO& info = certificate.Info();
    return TicksOf(info.NotBefore) <= TicksOf(time) && TicksOf(time) <= TicksOf(info.NotAfter);
}

bool IsSelfIssued(const Certificate& certificate) {
    const CERT_INFO& info = certificate.Info();
    return DistinguishedName(info.Issuer).Equals(DistinguishedName(info.Subject));
}

DWORD MatchOf(const Certificate& subject, const Certificate& issuer) {
    if (TellsSerial(subject.Native(), issuer.Native())) return CERT_TRUST_HAS_EXACT_MATCH_ISSUER;
    return BothTellKeys(subject, issuer) ? CERT_TRUST_HAS_KEY_MATCH_ISSUER
                                         : CERT_TRUST_HAS_NAME_MATCH_ISSUER;
}

bool CertificatePool::ViewLess::operator()(ByteView first, ByteView second) const {
    return std::lexicographical_compare(first.begin(), first.end(), second.begin(), second.end());
}

CertificatePool::CertificatePool(const Certificate& leaf, const std::shared_ptr<Store>& additional,
                                 const std::vector<Side>& sides) {
    Read(additional, false);
    Read(StoreHolding(leaf), false);
    for (const Side side : sides) {
        for (const char* name : {"CA", "My", "AddressBook"}) ReadSystemStore(side, name, false);
    }
    for (const Side side : sides) ReadSystemStore(side, "Root", true);
}

void CertificatePool::ReadSystemStore(Side side, const char* name, bool trusted) {
    std::shared_ptr<Store> store;
    try {
        store = OpenSystemStore(side, name, OpenMode::Existing);
    } catch (const Error& error) {
        if (error.Code() != ERROR_FILE_NOT_FOUND) throw;
    }
    Read(store, trusted);
}

void CertificatePool::Read(const std::shared_ptr<Store>& store, bool trusted) {
    if (!store) return;
    for (auto& certificate : store->Certificates()) Add(std::move(certificate), trusted);
    stores_.push_back(store);
}

void CertificatePool::Add(std::shared_ptr<Certificate> certificate, bool trusted) {
    const auto [place, added] = positions_.try_emplace(certificate->Der(), entries_.size());
    if (added) {
        DistinguishedName subject(certificate->Info().Subject);
        names_.emplace(subject.Hash(), entries_.size());
        entries_.push_back({std::move(certificate), false, std::move(subject)});
    }
    if (!trusted) return;
    Entry& entry = entries_[place->second];
    entry.trusted = true;
    anchorNames_.insert(entry.subject.Hash());
}

void CertificatePool::Add(const Certificates& certificates) {
    for (const auto& certificate : certificates) Add(certificate, false);
}

std::vector<const CertificatePool::Entry*> CertificatePool::EntriesNamed(
    const DistinguishedName& name) const {
    std::vector<std::size_t> places;
    const auto [first, last] = names_.equal_range(name.Hash());
    for (auto place = first; place != last; ++place) places.push_back(place->second);
    std::sort(places.begin(), places.end());
    std::vector<const Entry*> found;
    for (const std::size_t place : places) {
        if (name.Equals(entries_[place].subject)) found.push_back(&entries_[place]);
    }
    return found;
}

bool CertificatePool::BelowAnchor(const Entry& entry) const {
    if (!entry.belowAnchor) {
        const DistinguishedName issuer(entry.certificate->Info().Issuer);
        entry.belowAnchor = anchorNames_.contains(issuer.Hash());
    }
    return *entry.belowAnchor;
}

CertificatePool::Certificates CertificatePool::IssuersOf(const Certificate& subject,
                                                         const FILETIME& time) const {
    auto found = EntriesNamed(DistinguishedName(subject.Info().Issuer));
    std::erase_if(found, [&](const Entry* entry) {
        return !Readable(*entry->certificate) || !KeyIdentifiersFit(subject, *entry->certificate);
    });
    const auto worth = [&](const Entry* entry) {
        return std::tuple(entry->trusted, BothTellKeys(subject, *entry->certificate),
                          ValidAt(*entry->certificate, time), BelowAnchor(*entry),
                          TicksOf(entry->certificate->Info().NotBefore));
    };
    std::stable_sort(found.begin(), found.end(), [&](const Entry* first, const Entry* second) {
        return worth(first) > worth(second);
    });
    Certificates issuers;
    for (const Entry* entry : found) issuers.push_back(entry->certificate);
    return issuers;
}

CertificatePool::Certificates CertificatePool::Named(const CERT_NAME_BLOB& subject) const {
    Certificates named;
    for (const Entry* entry : EntriesNamed(DistinguishedName(subject))) {
        if (Readable(*entry->certificate)) named.push_back(entry->certificate);
    }
    return named;
}

bool CertificatePool::Trusts(const Certificate& certificate) const {
    const auto place = positions_.find(certificate.Der());
    return place != positions_.end() && entries_[place->second].trusted;
}

std::vector<std::shared_ptr<Crl>> CertificatePool::CrlsFor(const Certificate& subject) const {
    const std::vector<Bytes> named = ListIssuers(subject);
    std::vector<CERT_NAME_BLOB> blobs = {subject.Info().Issuer};
    for (const Bytes& name : named) {
        blobs.push_back({static_cast<DWORD>(name.size()), const_cast<BYTE*>(name.data())});
    }
    const std::vector<DistinguishedName> wanted(blobs.begin(), blobs.end());
    std::vector<std::shared_ptr<Crl>> found;
    for (const auto& store : stores_) {
        for (auto& crl : store->Crls()) {
            const DistinguishedName issuer(crl->Head().Issuer);
            const bool fits = std::any_of(wanted.begin(), wanted.end(),
                                          [&](const auto& name) { return name.Equals(issuer); });
            if (fits) found.push_back(std::move(crl));
        }
    }
    return found;
}

}  // namespace platform
