// A store that holds its items in lists. What goes beyond the lists (a database) is
// hooked in by derived stores; the memory store is the lists alone.
#pragma once

#include "platform/base/ground.h"

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "platform/certs/certificate.h"
#include "platform/stores/store.h"

namespace platform {

// Items that are the same to a store have the same key; others seldom do.
std::uint64_t KeyOf(const Certificate& certificate);
std::uint64_t KeyOf(const Crl& crl);

// Items in order of their rows, which is the order of insertion.
template <class Item>
class ItemList {
  public:
    using Pointer = std::shared_ptr<Item>;

    [[nodiscard]] const std::vector<Pointer>& All() const { return items_; }

    // The first item behind a row; null at the end.
    [[nodiscard]] Pointer Behind(std::int64_t row) const {
        const auto next = std::upper_bound(
            items_.begin(), items_.end(), row,
            [](std::int64_t wanted, const Pointer& item) { return wanted < item->row; });
        return next == items_.end() ? nullptr : *next;
    }
    [[nodiscard]] Pointer At(std::int64_t row) const {
        const Pointer item = Behind(row - 1);
        return item && item->row == row ? item : nullptr;
    }
    // The first one with this key that passes the test, or null.
    template <class Test>
    [[nodiscard]] Pointer Find(std::uint64_t key, Test&& test) const {
        for (auto at = byKey_.lower_bound({key, 0}); at != byKey_.end() && at->first.first == key;
             ++at) {
            if (test(*at->second)) return at->second;
        }
        return nullptr;
    }
    // Puts an item in its row's place, over the one that was there.
    void Put(Pointer item) {
        Erase(item->row);
        byKey_[{KeyOf(*item), item->row}] = item;
        items_.insert(LowerBound(item->row), std::move(item));
    }
    void Erase(std::int64_t row) {
        const auto place = LowerBound(row);
        if (place == items_.end() || (*place)->row != row) return;
        byKey_.erase({KeyOf(**place), row});
        items_.erase(place);
    }

  private:
    auto LowerBound(std::int64_t row) {
        return std::lower_bound(
            items_.begin(), items_.end(), row,
            [](const Pointer& item, std::int64_t wanted) { return item->row < wanted; });
    }
    std::vector<Pointer> items_;
    std::map<std::pair<std::uint64_t, std::int64_t>, Pointer> byKey_;  // and by row
};

class ListStore : public Store {
  public:
    std::vector<std::shared_ptr<Certificate>> Certificates() override;
    std::vector<std::shared_ptr<Crl>> Crls() override;
    std::shared_ptr<Certificate> NextCertificate(const Certificate* previous) override;
    std::shared_ptr<Crl> NextCrl(const Crl* previous) override;

    std::shared_ptr<Certificate> Add(const Certificate& certificate, DWORD disposition) override;
    std::shared_ptr<Crl> Add(const Crl& crl, DWORD disposition) override;
    void Remove(const Certificate& certificate) override;
    void Remove(const Crl& crl) override;
    void SaveProperties(const Certificate& certificate) override;
    void SaveProperty(const Certificate& certificate, DWORD property) override;
    void Together(const std::function<void()>& body) override { ChangeWritable(body); }

  protected:
    using Properties = std::map<DWORD, Bytes>;

    // Brings the lists up to date with what they are kept in.
    virtual void Refresh() {}
    // Runs a change of the lists and hooks as one: all of it is kept or none. Never called
    // within a change.
    virtual void Change(const std::function<void()>& body) { body(); }
    // Called within Change. Inserting answers the new row, above all rows before it.
    virtual std::int64_t InsertRow(const Certificate&) { return ++lastRow_; }
    virtual std::int64_t InsertRow(const Crl&) { return ++lastRow_; }
    virtual void UpdateRow(const Crl&) {}
    virtual void DeleteRow(const Certificate&) {}
    virtual void DeleteRow(const Crl&) {}
    virtual void WriteProperties(std::int64_t /*row*/, const Properties&) {}

    ItemList<Certificate> certificates_;
    ItemList<Crl> crls_;

  private:
    std::shared_ptr<Certificate> AddWithin(const Certificate& certificate, DWORD disposition);
    std::shared_ptr<Crl> AddWithin(const Crl& crl, DWORD disposition);
    std::shared_ptr<Certificate> Insert(const Certificate& certificate);
    std::shared_ptr<Crl> Insert(const Crl& crl);
    std::shared_ptr<Certificate> Present(const Certificate& certificate) const;
    std::shared_ptr<Crl> Present(const Crl& crl) const;
    std::shared_ptr<Crl> Replace(const Crl& last, const Crl& crl);
    void MergeProperties(Certificate& present, const Properties& more);
    void SetProperties(Certificate& present, Properties properties);
    std::shared_ptr<Certificate> Own(const Certificate& certificate) const;
    std::shared_ptr<Crl> Own(const Crl& crl) const;
    [[nodiscard]] bool StandsHere(const std::weak_ptr<CertificateOwner>& store) const;
    void ChangeWritable(const std::function<void()>& body);

    std::int64_t lastRow_ = 0;
    bool changing_ = false;
};

}  // namespace platform
