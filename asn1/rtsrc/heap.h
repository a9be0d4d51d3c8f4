// The allocator behind a context: units of 8 bytes cut off growing blocks, each with a header
// of one unit in front. What is given back serves again; the rest goes at once with its
// region. One limit counts over all regions.
#pragma once

#include <cstddef>
#include <cstdint>

namespace asn1rt {

struct ASN1Context;
class ASN1Heap;

inline constexpr std::size_t kHeapUnit = 8;
// Requests of so many units have a block of their own.
inline constexpr std::size_t kLargeUnits = 65535;

// Memory that goes together: the members of one decoded record, or what belongs to the
// context itself.
class ASN1HeapRegion {
  public:
    ASN1HeapRegion(ASN1Heap& heap, std::uint32_t number) : heap_(heap), number_(number) {}
    ~ASN1HeapRegion();
    ASN1HeapRegion(const ASN1HeapRegion&) = delete;
    ASN1HeapRegion& operator=(const ASN1HeapRegion&) = delete;

    [[nodiscard]] ASN1Heap& Heap() const { return heap_; }

  private:
    friend class ASN1Heap;
    struct alignas(kHeapUnit) Header {
        std::uint32_t units;  // without the header
        std::uint32_t region;
    };
    struct FreePiece {
        Header header;
        FreePiece* next;
    };
    struct alignas(kHeapUnit) Block {
        Block* next;
        std::size_t size;
    };
    struct Large {
        Large* next;
        Large* previous;
        std::size_t size;
        Header header;
    };
    // Free pieces by the bit width of their units.
    static constexpr unsigned kBins = 17;

    void* Allocate(std::size_t size);
    void* AllocateLarge(std::size_t units);
    void* Reuse(std::size_t units);
    bool AddBlock(std::size_t least);
    void GiveBack(Header* header);
    void GiveBackLarge(Large* large);

    ASN1Heap& heap_;
    std::uint32_t number_;
    std::uint8_t* cursor_ = nullptr;
    std::uint8_t* end_ = nullptr;
    std::size_t nextBlock_ = 4096;
    Block* blocks_ = nullptr;
    Large* large_ = nullptr;
    std::size_t freePieces_ = 0;
    FreePiece* bins_[kBins] = {};
    ASN1HeapRegion* nextRegion_ = nullptr;
    ASN1HeapRegion* previousRegion_ = nullptr;
};

class ASN1Heap {
  public:
    explicit ASN1Heap(ASN1Context& context) : context_(context), root_(*this, 0) {}
    ASN1Heap(const ASN1Heap&) = delete;
    ASN1Heap& operator=(const ASN1Heap&) = delete;

    // From the current region. Null without memory or beyond the limit.
    void* Allocate(std::size_t size) {
        return current_ == nullptr ? nullptr : current_->Allocate(size);
    }
    // Of any region, once.
    void GiveBack(void* memory);

    // A region holds a reference to the context. Null without memory.
    ASN1HeapRegion* OpenRegion();
    // May be the context's end, and with it the heap's.
    static void CloseRegion(ASN1HeapRegion* region);

    // Where allocations go; with none they fail.
    [[nodiscard]] ASN1HeapRegion* Current() const { return current_; }
    void SetCurrent(ASN1HeapRegion* region) { current_ = region; }

    // Bytes taken from the system.
    [[nodiscard]] std::size_t Taken() const { return taken_; }

  private:
    friend class ASN1HeapRegion;
    void* Take(std::size_t size);
    void Return(void* memory, std::size_t size);

    ASN1Context& context_;
    std::size_t taken_ = 0;
    std::uint32_t lastNumber_ = 0;
    ASN1HeapRegion root_;
    ASN1HeapRegion* current_ = &root_;
};

}  // namespace asn1rt
