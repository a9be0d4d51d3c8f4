// The heap, its regions and its limit; contexts, error records, deep copies.
#include <cstring>
#include <random>

#include "asn1/rtsrc/copy.h"
#include "asn1/rtsrc/heap.h"
#include "tests/asn1rt/support.h"

namespace asn1rt {
namespace {

TEST(Heap, PiecesAreApartAndAligned) {
    const ASN1ContextRef context(NewContext());
    std::mt19937 random(1);
    std::vector<Bytes> contents;
    std::vector<std::uint8_t*> pieces;
    for (int i = 0; i < 5000; ++i) {
        const std::size_t size = i % 500 == 0 ? kLargeUnits * 8 + i : 1 + random() % 700;
        if (i % 3 == 2) {  // gives back one of those before
            const std::size_t which = random() % pieces.size();
            if (pieces[which] == nullptr) continue;
            ASSERT_EQ(std::memcmp(pieces[which], contents[which].data(), contents[which].size()),
                      0);
            GiveBack(*context, pieces[which]);
            pieces[which] = nullptr;
            continue;
        }
        auto* piece = static_cast<std::uint8_t*>(Allocate(*context, size));
        ASSERT_NE(piece, nullptr);
        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(piece) % kHeapUnit, 0U);
        contents.emplace_back(size, static_cast<std::uint8_t>(random()));
        std::memcpy(piece, contents.back().data(), size);
        pieces.push_back(piece);
    }
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        if (pieces[i] == nullptr) continue;
        ASSERT_EQ(std::memcmp(pieces[i], contents[i].data(), contents[i].size()), 0) << i;
    }
}

TEST(Heap, WhatIsGivenBackServesAgain) {
    for (const std::size_t size : {1U, 8U, 520U, 65534U * 8U, 65535U * 8U, 10000000U}) {
        const ASN1ContextRef context(NewContext());
        void* piece = Allocate(*context, size);
        const std::size_t taken = context->memoryHeap->Taken();
        for (int i = 0; i < 1000; ++i) {
            GiveBack(*context, piece);
            piece = Allocate(*context, size);
            ASSERT_NE(piece, nullptr) << size;
        }
        EXPECT_EQ(context->memoryHeap->Taken(), taken) << size;
    }
}

TEST(Heap, LimitIsOneForAll) {
    const ASN1ContextRef context(NewContext());
    EXPECT_EQ(Allocate(*context, SIZE_MAX), nullptr);
    EXPECT_EQ(Allocate(*context, kHeapLimit + 1), nullptr);
    ASN1RegionScope scope(*context);
    ASN1TList<std::uint64_t> list;  // many tiny elements end too
    while (Append(*context, list) != nullptr) {
    }
    EXPECT_GT(list.count, 1000000U);
    {
        ASN1RegionScope inner(*context);
        EXPECT_EQ(Allocate(*context, 1 << 20), nullptr);
    }
    EXPECT_LE(context->memoryHeap->Taken(), kHeapLimit);
    ASN1HeapRegion* region = scope.Close();
    ASN1Heap::CloseRegion(region);
    EXPECT_NE(Allocate(*context, 1 << 20), nullptr);
}

struct Record : ASN1Record {
    ASN1CharStr text;
};

int DecodeRecord(ASN1Context& context, Record& record, int tagging, int length) {
    return xd_charstr(context, record.text, tagging, 0x0C, length);
}

class ControlOfRecord : public ASN1CType {
  public:
    ControlOfRecord(ASN1MessageBufferIF& buffer, Record& record)
        : ASN1CType(buffer), record_(record) {}
    int Encode() override {
        return EncodeWith<Record>(
            [](ASN1Context& context, const Record& record, int tagging) {
                return xe_charstr(context, record.text, tagging, 0x0C);
            },
            record_);
    }
    int Decode() override { return DecodeWith<Record>(DecodeRecord, record_); }

  private:
    Record& record_;
};

TEST(Regions, RecordOutlivesItsBuffer) {
    Record record;
    {
        const Bytes bytes = FromHex("0C 02 41 42");
        ASN1BERDecodeBuffer buffer(bytes.data(), bytes.size());
        EXPECT_EQ(ControlOfRecord(buffer, record).Decode(), ASN_OK);
    }
    EXPECT_STREQ(record.text.text, "AB");
}

TEST(Regions, DecodingAgainGivesBackWhatWasThere) {
    const Bytes bytes = FromHex("0C 02 41 42");
    ASN1BERDecodeBuffer buffer(bytes.data(), bytes.size());
    Record record;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(ControlOfRecord(buffer, record).Decode(), ASN_OK) << i;
        EXPECT_LE(buffer.getContextPtr()->memoryHeap->Taken(), 4096U) << i;
    }
    {
        const Bytes bad = FromHex("0C 02 41 00");
        EXPECT_EQ(buffer.setSource(bad.data(), bad.size()), ASN_OK);
        Record failed;
        EXPECT_EQ(ControlOfRecord(buffer, failed).Decode(), ASN_E_INVCHAR);
    }
    record.KeepRegion(nullptr);
    EXPECT_EQ(buffer.getContextPtr()->memoryHeap->Taken(), 0U);
}

TEST(Regions, PiecesGoBackToTheirOwn) {
    const ASN1ContextRef context(NewContext());
    void* outer = Allocate(*context, 100);
    {
        ASN1RegionScope scope(*context);
        GiveBack(*context, outer);
        EXPECT_NE(Allocate(*context, 100), outer);
    }
    EXPECT_EQ(Allocate(*context, 100), outer);
}

TEST(Control, DirectionsAreNotMixed) {
    const Bytes bytes = FromHex("0C 01 41");
    ASN1BERDecodeBuffer input(bytes.data(), bytes.size());
    ASN1BEREncodeBuffer output;
    Record record;
    EXPECT_EQ(ControlOfRecord(output, record).Decode(), ASN_E_NOTSUPP);
    EXPECT_EQ(ControlOfRecord(input, record).Encode(), ASN_E_NOTSUPP);
    EXPECT_EQ(ControlOfRecord(output, record).Encode(), ASN_E_BADVALUE);
    EXPECT_EQ(ControlOfRecord(input, record).Decode(), ASN_OK);
    EXPECT_EQ(ControlOfRecord(output, record).Encode(), 3);
    EXPECT_EQ(ToHex(output.getMsgPtr(), 3), "0C 01 41");
}

TEST(Context, WithoutInitialisation) {
    ASN1Context context;
    ASN1INT number = 0;
    ASN1DynOctStr octets;
    int length = 0;
    ASN1Written element{0, 0};
    const int statuses[] = {
        CheckContext(context),
        SetDecodeBuffer(context, nullptr, 0),
        SetEncodeBuffer(context, nullptr, 0),
        xd_len(context, length),
        xd_match(context, 2, length, kScanSiblings),
        xd_integer(context, number, kExplicit, 0),
        xd_integer(context, number, kImplicit, 1),
        xd_octstr(context, octets, kExplicit, 0),
        xe_memcpy(context, "", 1),
        xe_integer(context, 5, kExplicit),
        xe_derCanonicalSort(context, &element, 1),
    };
    for (const int& status : statuses) EXPECT_EQ(status, ASN_E_NOTINIT) << &status - statuses;
    EXPECT_EQ(Allocate(context, 1), nullptr);
}

TEST(Context, OfTheCallerIsReleasedToo) {
    ASN1Context context;
    ASSERT_EQ(InitContext(context), ASN_OK);
    ASSERT_EQ(SetEncodeBuffer(context, nullptr, 8), ASN_OK);
    EXPECT_EQ(xe_integer(context, 5, kExplicit), 3);
    AddReference(context);
    ReleaseContext(context);
    EXPECT_EQ(CheckContext(context), ASN_OK);
    ReleaseContext(context);
    EXPECT_EQ(xe_integer(context, 5, kExplicit), ASN_E_NOTINIT);
}

TEST(Errors, FirstStatusStays) {
    const ASN1ContextRef context(NewContext());
    AddErrorParameter(*context, "serial");
    AddErrorParameter(*context, std::string(100, '7').c_str());
    EXPECT_EQ(LogError(*context, ASN_E_CONSVIO, "One", 1), ASN_E_CONSVIO);
    AddErrorParameter(*context, "late");
    for (int i = 2; i < 20; ++i) EXPECT_EQ(LogError(*context, ASN_E_NOMEM, "More", i), ASN_E_NOMEM);
    const ASN1ErrorInfo& info = context->errorInfo;
    EXPECT_EQ(info.status, ASN_E_CONSVIO);
    EXPECT_EQ(info.stackCount, kErrorStack);
    EXPECT_STREQ(info.stack[0].module, "One");
    EXPECT_EQ(info.stack[kErrorStack - 1].line, static_cast<int>(kErrorStack));
    char text[200];
    FormatError(*context, text, sizeof(text));
    EXPECT_EQ(text, "Value constraint violation: field serial, value " + std::string(31, '7'));
    ResetError(*context);
    EXPECT_EQ(FormatError(*context, text, sizeof(text)), 0U);
}

TEST(Copies, OntoThemselvesAndBeyondTheLimit) {
    const ASN1ContextRef context(NewContext());
    const std::uint8_t octets[] = {1, 2, 0xF8};
    ASN1DynOctStr octStr;
    ASN1DynBitStr bitStr;
    EXPECT_EQ(Copy(*context, ASN1DynOctStr{3, octets}, octStr), ASN_OK);
    EXPECT_EQ(Copy(*context, ASN1DynBitStr{17, octets}, bitStr), ASN_OK);
    EXPECT_NE(octStr.data, octets);
    EXPECT_EQ(ToHex(bitStr.data, 3), "01 02 F8");
    const std::uint8_t* same = octStr.data;
    EXPECT_EQ(Copy(*context, octStr, octStr), ASN_OK);
    EXPECT_EQ(octStr.data, same);
    EXPECT_EQ(Copy(*context, ASN1DynOctStr(), octStr), ASN_OK);
    EXPECT_TRUE(octStr.numocts == 0 && octStr.data == nullptr);
    EXPECT_EQ(Copy(*context, ASN1DynBitStr{UINT32_MAX, octets}, bitStr), ASN_E_NOMEM);
    EXPECT_EQ(bitStr.numbits, 0U);
    ASN1OBJID arcs;
    arcs.numids = ASN_K_MAXSUBIDS + 1;
    ASN1OBJID target;
    EXPECT_EQ(Copy(*context, arcs, target), ASN_E_INVOBJID);
}

}  // namespace
}  // namespace asn1rt
