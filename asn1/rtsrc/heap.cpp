// The allocator behind a context.
#include "asn1/rtsrc/heap.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <new>

#include "asn1/rtsrc/context.h"
#include "asn1/rtsrc/message_buffer.h"

namespace asn1rt {
namespace {

// Larger blocks would come from the system page by page, and go back to it.
constexpr std::size_t kLargestBlock = 65536;

unsigned BinOf(std::size_t units) { return static_cast<unsigned>(std::bit_width(units)); }

}  // namespace

// ---- a region ----------------------------------------------------------------

ASN1HeapRegion::~ASN1HeapRegion() {
    while (blocks_ != nullptr) {
        Block* block = blocks_;
        blocks_ = block->next;
        heap_.Return(block, block->size);
    }
    while (large_ != nullptr) {
        Large* large = large_;
        large_ = large->next;
        heap_.Return(large, large->size);
    }
}

void* ASN1HeapRegion::Allocate(std::size_t size) {
    if (size > kHeapLimit) return nullptr;
    const std::size_t units = std::max<std::size_t>((size + kHeapUnit - 1) / kHeapUnit, 1);
    if (units >= kLargeUnits) return AllocateLarge(units);
    if (freePieces_ != 0) {
        if (void* memory = Reuse(units)) return memory;
    }
    const std::size_t bytes = sizeof(Header) + units * kHeapUnit;
    if (static_cast<std::size_t>(end_ - cursor_) < bytes && !AddBlock(bytes)) return nullptr;
    auto* header = new (cursor_) Header{static_cast<std::uint32_t>(units), number_};
    cursor_ += bytes;
    return header + 1;
}

void* ASN1HeapRegion::AllocateLarge(std::size_t units) {
    static_assert(offsetof(Large, header) + sizeof(Header) == sizeof(Large));
    const std::size_t size = sizeof(Large) + units * kHeapUnit;
    void* memory = heap_.Take(size);
    if (memory == nullptr) return nullptr;
    auto* large =
        new (memory) Large{large_, nullptr, size, {static_cast<std::uint32_t>(units), number_}};
    if (large_ != nullptr) large_->previous = large;
    large_ = large;
    return large + 1;
}

void* ASN1HeapRegion::Reuse(std::size_t units) {
    // The first of its own bin may be too small, one of the bin above never is.
    const unsigned own = BinOf(units);
    for (unsigned bin = own; bin < kBins && bin <= own + 1; ++bin) {
        FreePiece* piece = bins_[bin];
        if (piece == nullptr || piece->header.units < units) continue;
        bins_[bin] = piece->next;
        --freePieces_;
        return &piece->header + 1;
    }
    return nullptr;
}

bool ASN1HeapRegion::AddBlock(std::size_t least) {
    const std::size_t size = std::max(nextBlock_, least + sizeof(Block));
    void* memory = heap_.Take(size);
    if (memory == nullptr) return false;
    blocks_ = new (memory) Block{blocks_, size};
    cursor_ = reinterpret_cast<std::uint8_t*>(blocks_ + 1);
    end_ = static_cast<std::uint8_t*>(memory) + size;
    nextBlock_ = std::min(nextBlock_ * 2, kLargestBlock);
    return true;
}

void ASN1HeapRegion::GiveBack(Header* header) {
    if (header->units >= kLargeUnits) {
        GiveBackLarge(
            reinterpret_cast<Large*>(reinterpret_cast<std::uint8_t*>(header + 1) - sizeof(Large)));
        return;
    }
    auto* piece = reinterpret_cast<FreePiece*>(header);
    FreePiece*& bin = bins_[BinOf(header->units)];
    piece->next = bin;
    bin = piece;
    ++freePieces_;
}

void ASN1HeapRegion::GiveBackLarge(Large* large) {
    (large->previous == nullptr ? large_ : large->previous->next) = large->next;
    if (large->next != nullptr) large->next->previous = large->previous;
    heap_.Return(large, large->size);
}

// ---- the heap ----------------------------------------------------------------

void* ASN1Heap::Take(std::size_t size) {
    if (size > kHeapLimit - taken_) return nullptr;
    void* memory = std::malloc(size);
    if (memory != nullptr) taken_ += size;
    return memory;
}

void ASN1Heap::Return(void* memory, std::size_t size) {
    taken_ -= size;
    std::free(memory);
}

void ASN1Heap::GiveBack(void* memory) {
    if (memory == nullptr) return;
    auto* header = static_cast<ASN1HeapRegion::Header*>(memory) - 1;
    ASN1HeapRegion* region = current_;
    if (region == nullptr || region->number_ != header->region) {
        region = &root_;
        while (region != nullptr && region->number_ != header->region) {
            region = region->nextRegion_;
        }
    }
    if (region != nullptr) region->GiveBack(header);
}

ASN1HeapRegion* ASN1Heap::OpenRegion() {
    auto* region = new (std::nothrow) ASN1HeapRegion(*this, ++lastNumber_);
    if (region == nullptr) return nullptr;
    region->previousRegion_ = &root_;
    region->nextRegion_ = root_.nextRegion_;
    if (region->nextRegion_ != nullptr) region->nextRegion_->previousRegion_ = region;
    root_.nextRegion_ = region;
    AddReference(context_);
    return region;
}

void ASN1Heap::CloseRegion(ASN1HeapRegion* region) {
    ASN1Context& context = region->heap_.context_;
    region->previousRegion_->nextRegion_ = region->nextRegion_;
    if (region->nextRegion_ != nullptr) {
        region->nextRegion_->previousRegion_ = region->previousRegion_;
    }
    delete region;
    ReleaseContext(context);
}

// ---- scopes and records ------------------------------------------------------

ASN1RegionScope::ASN1RegionScope(ASN1Context& context)
    : context_(context),
      region_(context.memoryHeap->OpenRegion()),
      outer_(context.memoryHeap->Current()) {
    context_.memoryHeap->SetCurrent(region_);
}

ASN1RegionScope::~ASN1RegionScope() {
    if (ASN1HeapRegion* region = Close()) ASN1Heap::CloseRegion(region);
}

ASN1HeapRegion* ASN1RegionScope::Close() {
    context_.memoryHeap->SetCurrent(outer_);
    ASN1HeapRegion* region = region_;
    region_ = nullptr;
    return region;
}

void ASN1Record::LeaveRegion() {
    ASN1Heap::CloseRegion(region_);
    region_ = nullptr;
}

}  // namespace asn1rt
