// Appends to lists, removes from them and walks them.
#include "asn1/rtsrc/lists.h"

namespace asn1rt {

// ---- the list ----------------------------------------------------------------

ASN1ListNode* ASN1CSeqOfList::appendNode(std::size_t elementSize) {
    ASN1ListNode* node = AppendNode(*context_, *list_, elementSize);
    if (node != nullptr) ++modifications_;
    return node;
}

int ASN1CSeqOfList::append(void* element) {
    ASN1ListNode* node = appendNode(0);
    if (node == nullptr) return Fail(*context_, ASN_E_NOMEM);
    node->data = element;
    return ASN_OK;
}

int ASN1CSeqOfList::get(std::uint32_t index, void*& element) const {
    if (index >= list_->count) return Fail(*context_, ASN_E_OUTOFBND);
    const ASN1ListNode* node = list_->head;
    for (; index > 0; --index) node = node->next;
    element = node->data;
    return ASN_OK;
}

int ASN1CSeqOfList::remove(std::uint32_t index) {
    if (index >= list_->count) return Fail(*context_, ASN_E_OUTOFBND);
    ASN1ListNode* previous = nullptr;
    ASN1ListNode* node = list_->head;
    for (; index > 0; --index) {
        previous = node;
        node = node->next;
    }
    unlink(previous, node);
    return ASN_OK;
}

void ASN1CSeqOfList::clear() {
    *list_ = ASN1List();
    ++modifications_;
}

void ASN1CSeqOfList::unlink(ASN1ListNode* previous, ASN1ListNode* node) {
    (previous == nullptr ? list_->head : previous->next) = node->next;
    if (list_->tail == node) list_->tail = previous;
    --list_->count;
    ++modifications_;
}

ASN1CSeqOfListIterator* ASN1CSeqOfList::iterator() {
    void* memory = Allocate(*context_, sizeof(ASN1CSeqOfListIterator));
    return memory == nullptr ? nullptr : new (memory) ASN1CSeqOfListIterator(*this);
}

// ---- the iterator ------------------------------------------------------------

void ASN1CSeqOfListIterator::reset() {
    first_ = list_->list_->head;
    last_ = previous_ = nullptr;
    removable_ = false;
    modifications_ = list_->modifications_;
    status_ = ASN_OK;
}

int ASN1CSeqOfListIterator::fail(int status) {
    if (status_ == ASN_OK) status_ = status;
    return Fail(*list_->context_, status);
}

void* ASN1CSeqOfListIterator::next() {
    if (modifications_ != list_->modifications_) {
        fail(ASN_E_CONCMODF);
        return nullptr;
    }
    ASN1ListNode* node = upcoming();
    if (node == nullptr) {
        fail(ASN_E_SETMISRQ);
        return nullptr;
    }
    previous_ = last_;
    last_ = node;
    removable_ = true;
    return node->data;
}

int ASN1CSeqOfListIterator::remove() {
    if (modifications_ != list_->modifications_) return fail(ASN_E_CONCMODF);
    if (!removable_) return fail(ASN_E_ILLSTATE);
    list_->unlink(previous_, last_);
    first_ = list_->list_->head;
    last_ = previous_;
    removable_ = false;
    modifications_ = list_->modifications_;
    return ASN_OK;
}

}  // namespace asn1rt
