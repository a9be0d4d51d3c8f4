#include "platform/chain/pool.h"

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <algorithm>

#include "platform/base/error.h"
#include "platform/base/ticks.h"
#include "platform/certs/compare.h"
#include "platform/providers/openssl.h"

namespace platform {
namespace {

// RFC 5280 4.2.1.1: the identifiers name the key; where one side tells none, the name of
// the issuer has to do.
bool KeyIdentifiersFit(const Certificate& subject, const Certificate& issuer) {
    try {
        const ASN1_OCTET_STRING* wanted = X509_get0_authority_key_id(subject.Native());
        const ASN1_OCTET_STRING* present = X509_get0_subject_key_id(issuer.Native());
        return wanted == nullptr || present == nullptr ||
               ASN1_OCTET_STRING_cmp(wanted, present) == 0;
    } catch (const Error&) {
        return false;  // OpenSSL cannot read one of them
    }
}

bool ValidAt(const Certificate& certificate, const FILETIME& time) {
    const CERT_INFO& info = certificate.Info();
    return CompareFileTime(&info.NotBefore, &time) <= 0 &&
           CompareFileTime(&time, &info.NotAfter) <= 0;
}

}  // namespace

bool DistinguishedName::Equals(const DistinguishedName& other) const {
    if (Equal(ViewOf(*encoded_), ViewOf(*other.encoded_))) return true;
    return Parsed() != nullptr && other.Parsed() != nullptr &&
           X509_NAME_cmp(Parsed(), other.Parsed()) == 0;
}

X509_NAME* DistinguishedName::Parsed() const {
    if (!parsed_) {
        parsed_ = DecodeWhole<decltype(parsed_)>(&d2i_X509_NAME, ViewOf(*encoded_));
        ERR_clear_error();
    }
    return parsed_.get();
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
    if (store == nullptr) return;
    for (auto& certificate : store->Certificates()) {
        const auto [place, added] =
            positions_.try_emplace(Copy(certificate->Der()), entries_.size());
        if (added) {
            DistinguishedName subject(certificate->Info().Subject);
            entries_.push_back({std::move(certificate), false, std::move(subject)});
        }
        if (trusted) entries_[place->second].trusted = true;
    }
    stores_.push_back(store);
}

std::vector<std::shared_ptr<Certificate>> CertificatePool::IssuersOf(const Certificate& subject,
                                                                     const FILETIME& time) const {
    const DistinguishedName wanted(subject.Info().Issuer);
    std::vector<const Entry*> found;
    for (const Entry& entry : entries_) {
        if (wanted.Equals(entry.subject) && KeyIdentifiersFit(subject, *entry.certificate)) {
            found.push_back(&entry);
        }
    }
    const auto worth = [&](const Entry* entry) {
        return std::tuple(entry->trusted, ValidAt(*entry->certificate, time),
                          TicksOf(entry->certificate->Info().NotBefore));
    };
    std::stable_sort(found.begin(), found.end(), [&](const Entry* first, const Entry* second) {
        return worth(first) > worth(second);
    });
    std::vector<std::shared_ptr<Certificate>> issuers;
    for (const Entry* entry : found) issuers.push_back(entry->certificate);
    return issuers;
}

bool CertificatePool::Trusts(const Certificate& certificate) const {
    const auto place = positions_.find(Copy(certificate.Der()));
    return place != positions_.end() && entries_[place->second].trusted;
}

std::vector<std::shared_ptr<Crl>> CertificatePool::CrlsOf(const Certificate& issuer) const {
    const DistinguishedName wanted(issuer.Info().Subject);
    std::vector<std::shared_ptr<Crl>> found;
    for (const auto& store : stores_) {
        for (auto& crl : store->Crls()) {
            if (wanted.Equals(DistinguishedName(crl->Info().Issuer))) {
                found.push_back(std::move(crl));
            }
        }
    }
    return found;
}

}  // namespace platform
