// A store that holds its items in lists. What goes beyond the lists (a database) is
// hooked in by derived stores; the memory store is the lists alone.
#pragma once

#include "platform/base/ground.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

#include "platform/certs/certificate.h"
#include "platform/stores/store.h"

namespace platform {

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
    // Puts an item in its row's place, over the one that was there.
    void Put(Pointer item) {
        const auto place = LowerBound(item->row);
        if (place != items_.end() && (*place)->row == item->row) {
            *place = std::move(item);
        } else {
            items_.insert(place, std::move(item));
        }
    }
    void Erase(std::int64_t row) {
        const auto place = LowerBound(row);
        if (place != items_.end() && (*place)->row == row) items_.erase(place);
    }

  private:
    auto LowerBound(std::int64_t row) {
        return std::lower_bound(
            items_.begin(), items_.end(), row,
            [](const Pointer& item, std::int64_t wanted) { return item->row < wanted; });
    }
    std::vector<Pointer> items_;
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

  protected:
    using Properties = std::map<DWORD, Bytes>;

    // Brings the lists up to date with what they are kept in.
    virtual void Refresh() {}
    // Runs a change of the lists and hooks as one: all of it is kept or none.
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
};

}  // namespace platform
