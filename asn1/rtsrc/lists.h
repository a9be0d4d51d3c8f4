// SEQUENCE OF and SET OF lists of records, changed and walked through a context's heap.
#pragma once

#include <cstdint>

#include "asn1/rtsrc/message_buffer.h"

namespace asn1rt {

class ASN1CSeqOfListIterator;

// Binds a list that stays the record's. Lists that are changed behind its back are its
// caller's mistake.
class ASN1CSeqOfList {
  public:
    ASN1CSeqOfList(ASN1MessageBufferIF& buffer, ASN1List& list)
        : context_(buffer.getContext()), list_(&list) {}

    [[nodiscard]] std::uint32_t size() const { return list_->count; }
    [[nodiscard]] bool isEmpty() const { return list_->count == 0; }

    // A new last element; null without memory.
    template <class T>
    T* append() {
        ASN1ListNode* node = appendNode(sizeof(T));
        return node == nullptr ? nullptr : new (node->data) T();
    }
    // An element that lies elsewhere and lives as long as the list. ASN_OK, ASN_E_NOMEM.
    int append(void* element);
    // The element of this index, counted from 0. ASN_OK, ASN_E_OUTOFBND.
    int get(std::uint32_t index, void*& element) const;
    // Takes it out of the list; its memory goes back with the context.
    int remove(std::uint32_t index);
    void clear();

    // In the context's heap, for as long as list and context live; null without memory.
    ASN1CSeqOfListIterator* iterator();

  private:
    friend class ASN1CSeqOfListIterator;
    ASN1ListNode* appendNode(std::size_t elementSize);
    void unlink(ASN1ListNode* previous, ASN1ListNode* node);

    ASN1ContextRef context_;
    ASN1List* list_;
    std::uint32_t modifications_ = 0;
};

// Failures stay in the iterator until reset.
class ASN1CSeqOfListIterator {
  public:
    explicit ASN1CSeqOfListIterator(ASN1CSeqOfList& list) : list_(&list) { reset(); }

    [[nodiscard]] bool hasNext() const { return upcoming() != nullptr; }
    // The next element. Null with ASN_E_CONCMODF after a change of the list that was not
    // this iterator's, with ASN_E_SETMISRQ past the last element.
    void* next();
    // Takes the element that next gave last out of the list. ASN_E_ILLSTATE when there is
    // none, or when it was taken out already.
    int remove();
    // Back to the first element of the list as it is now.
    void reset();
    // The first failure, else ASN_OK.
    [[nodiscard]] int status() const { return status_; }

  private:
    [[nodiscard]] ASN1ListNode* upcoming() const { return last_ == nullptr ? first_ : last_->next; }
    int fail(int status);

    ASN1CSeqOfList* list_;
    ASN1ListNode* first_ = nullptr;
    ASN1ListNode* last_ = nullptr;      // the one returned last, or the one in front of it
    ASN1ListNode* previous_ = nullptr;  // in front of the one returned last
    bool removable_ = false;
    std::uint32_t modifications_ = 0;
    int status_ = ASN_OK;
};

}  // namespace asn1rt
