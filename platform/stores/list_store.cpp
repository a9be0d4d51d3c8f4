// Items in lists: adding, removing, properties.
#include "platform/stores/list_store.h"

#include <cstring>

#include "platform/base/error.h"
#include "platform/base/ticks.h"
#include "platform/certs/compare.h"

namespace platform {
namespace {

constexpr const char* kDeltaIndicator = "2.5.29.27";
constexpr const char* kDistributionPoint = "2.5.29.28";
constexpr const char* kAuthorityKeyIdentifier = "2.5.29.35";

void CheckDisposition(DWORD disposition) {
    const bool known = disposition >= CERT_STORE_ADD_NEW && disposition <= CERT_STORE_ADD_ALWAYS;
    if (!known && disposition != CERT_STORE_ADD_NEWER) throw Error(E_INVALIDARG);
}

// A later list of the same series takes the place of the earlier one.
bool SameSeries(const CRL_INFO& first, const CRL_INFO& second) {
    const auto isDelta = [](const CRL_INFO& info) {
        return FindExtension(kDeltaIndicator, info.cExtension, info.rgExtension) != nullptr;
    };
    return Equal(ViewOf(first.Issuer), ViewOf(second.Issuer)) &&
           isDelta(first) == isDelta(second) &&
           SameExtension(first, second, kAuthorityKeyIdentifier) &&
           SameExtension(first, second, kDistributionPoint);
}

// Rows count from 1.
template <class Item>
std::int64_t RowOf(const Item* item) {
    return item == nullptr ? 0 : item->row;
}

// One certificate is as old as itself.
bool IsNewer(const Certificate& /*certificate*/, const Certificate& /*present*/) { return false; }

// An authority may issue several on one day, dated by the day.
bool IsNewer(const Crl& crl, const Crl& present) {
    return TicksOf(crl.Head().ThisUpdate) >= TicksOf(present.Head().ThisUpdate) &&
           !Equal(crl.Der(), present.Der());
}

template <class Item>
bool IsThere(const std::shared_ptr<Item>& present, const Item& item, DWORD disposition) {
    if (!present || disposition == CERT_STORE_ADD_ALWAYS) return false;
    const bool taken = disposition == CERT_STORE_ADD_NEW ||
                       (disposition == CERT_STORE_ADD_NEWER && !IsNewer(item, *present));
    if (taken) throw Error(CRYPT_E_EXISTS);
    return true;
}

std::uint64_t FirstOctets(ByteView hash) {
    std::uint64_t key = 0;
    std::memcpy(&key, hash.data(), std::min(sizeof key, hash.size()));
    return key;
}

}  // namespace

std::uint64_t KeyOf(const Certificate& certificate) { return FirstOctets(certificate.Sha1()); }

// The one thing that lists of a series share byte for byte in every case.
std::uint64_t KeyOf(const Crl& crl) { return FirstOctets(Sha1Of(ViewOf(crl.Head().Issuer))); }

// ---- reading -------------------------------------------------------------------

std::vector<std::shared_ptr<Certificate>> ListStore::Certificates() {
    Refresh();
    return certificates_.All();
}

std::vector<std::shared_ptr<Crl>> ListStore::Crls() {
    Refresh();
    return crls_.All();
}

// A walk sees the store as it was at its start, but for what its own process changes.
std::shared_ptr<Certificate> ListStore::NextCertificate(const Certificate* previous) {
    if (previous == nullptr) Refresh();
    return certificates_.Behind(RowOf(previous));
}

std::shared_ptr<Crl> ListStore::NextCrl(const Crl* previous) {
    if (previous == nullptr) Refresh();
    return crls_.Behind(RowOf(previous));
}

// ---- adding --------------------------------------------------------------------

// What changes within a change is a part of it.
void ListStore::ChangeWritable(const std::function<void()>& body) {
    if (readOnly) throw Error(ERROR_ACCESS_DENIED);
    if (changing_) return body();
    changing_ = true;
    try {
        Change(body);
    } catch (...) {
        changing_ = false;
        throw;
    }
    changing_ = false;
}

std::shared_ptr<Certificate> ListStore::Add(const Certificate& certificate, DWORD disposition) {
    CheckDisposition(disposition);
    std::shared_ptr<Certificate> added;
    ChangeWritable([&] { added = AddWithin(certificate, disposition); });
    return added;
}

std::shared_ptr<Crl> ListStore::Add(const Crl& crl, DWORD disposition) {
    CheckDisposition(disposition);
    std::shared_ptr<Crl> added;
    ChangeWritable([&] { added = AddWithin(crl, disposition); });
    return added;
}

std::shared_ptr<Certificate> ListStore::AddWithin(const Certificate& certificate,
                                                  DWORD disposition) {
    std::shared_ptr<Certificate> present = Present(certificate);
    if (!IsThere(present, certificate, disposition)) return Insert(certificate);
    if (disposition == CERT_STORE_ADD_USE_EXISTING) {
        MergeProperties(*present, certificate.properties);
    } else {
        SetProperties(*present, certificate.properties);
    }
    return present;
}

std::shared_ptr<Crl> ListStore::AddWithin(const Crl& crl, DWORD disposition) {
    std::shared_ptr<Crl> present = Present(crl);
    if (!IsThere(present, crl, disposition)) return Insert(crl);
    return disposition == CERT_STORE_ADD_USE_EXISTING ? present : Replace(*present, crl);
}

std::shared_ptr<Certificate> ListStore::Present(const Certificate& certificate) const {
    return certificates_.Find(KeyOf(certificate), [&](const Certificate& present) {
        return Equal(present.Der(), certificate.Der());
    });
}

std::shared_ptr<Crl> ListStore::Present(const Crl& crl) const {
    return crls_.Find(KeyOf(crl),
                      [&](const Crl& present) { return SameSeries(present.Head(), crl.Head()); });
}

std::shared_ptr<Certificate> ListStore::Insert(const Certificate& certificate) {
    std::shared_ptr<Certificate> copy = Certificate::Parse(certificate.Der());
    copy->store = weak_from_this();
    copy->row = InsertRow(*copy);
    SetProperties(*copy, certificate.properties);
    certificates_.Put(copy);
    return copy;
}

std::shared_ptr<Crl> ListStore::Insert(const Crl& crl) {
    std::shared_ptr<Crl> copy = Crl::Parse(crl.Der());
    copy->store = weak_from_this();
    copy->row = InsertRow(*copy);
    crls_.Put(copy);
    return copy;
}

std::shared_ptr<Crl> ListStore::Replace(const Crl& last, const Crl& crl) {
    std::shared_ptr<Crl> copy = Crl::Parse(crl.Der());
    copy->store = weak_from_this();
    copy->row = last.row;
    UpdateRow(*copy);
    crls_.Put(copy);
    return copy;
}

// ---- removing ------------------------------------------------------------------

bool ListStore::StandsHere(const std::weak_ptr<CertificateOwner>& store) const {
    return store.lock().get() == this;
}

std::shared_ptr<Certificate> ListStore::Own(const Certificate& certificate) const {
    return StandsHere(certificate.store) ? certificates_.At(certificate.row) : Present(certificate);
}

std::shared_ptr<Crl> ListStore::Own(const Crl& crl) const {
    if (StandsHere(crl.store)) return crls_.At(crl.row);
    return crls_.Find(KeyOf(crl),
                      [&](const Crl& present) { return Equal(present.Der(), crl.Der()); });
}

void ListStore::Remove(const Certificate& certificate) {
    ChangeWritable([&] {
        const std::shared_ptr<Certificate> own = Own(certificate);
        if (!own) return;
        DeleteRow(*own);
        certificates_.Erase(own->row);
    });
}

void ListStore::Remove(const Crl& crl) {
    ChangeWritable([&] {
        const std::shared_ptr<Crl> own = Own(crl);
        if (!own) return;
        DeleteRow(*own);
        crls_.Erase(own->row);
    });
}

// ---- properties ----------------------------------------------------------------

void ListStore::SetProperties(Certificate& present, Properties properties) {
    WriteProperties(present.row, properties);
    present.properties = std::move(properties);
}

void ListStore::MergeProperties(Certificate& present, const Properties& more) {
    Properties merged = present.properties;
    merged.insert(more.begin(), more.end());
    if (merged != present.properties) SetProperties(present, std::move(merged));
}

// `certificate` may be the store's own item, which a change reads anew before it writes:
// what the caller set there is taken out first.
void ListStore::SaveProperties(const Certificate& certificate) {
    ChangeWritable([&, wanted = certificate.properties] {
        const std::shared_ptr<Certificate> own = Own(certificate);
        if (!own) throw Error(CRYPT_E_NOT_FOUND);
        SetProperties(*own, wanted);
    });
    Keep();
}

void ListStore::SaveProperty(const Certificate& certificate, DWORD property) {
    const auto found = certificate.properties.find(property);
    const bool present = found != certificate.properties.end();
    ChangeWritable([&, value = present ? found->second : Bytes()] {
        const std::shared_ptr<Certificate> own = Own(certificate);
        if (!own) throw Error(CRYPT_E_NOT_FOUND);
        Properties wanted = own->properties;
        if (present) {
            wanted[property] = value;
        } else {
            wanted.erase(property);
        }
        SetProperties(*own, std::move(wanted));
    });
    Keep();
}

}  // namespace platform
