// Decodes tags and lengths (X.690 8.1), and steps over elements.
#include <cstdio>

#include "asn1/rtbersrc/contents.h"
#include "asn1/rtbersrc/tags.h"

namespace asn1rt {
namespace {

constexpr unsigned kLengthOctets = 4;

bool AtEndOfBuffer(const ASN1Context& context) { return context.byteIndex >= context.size; }

ASN1TAG Widen(unsigned identifier) { return (identifier & 0xE0U) << 24 | (identifier & 0x1FU); }

bool SameTag(ASN1TAG first, ASN1TAG second) { return ((first ^ second) & ~kFormBit) == 0; }

// The number of a tag of several bytes. 31 and above only, in the fewest groups (X.690
// 8.1.2.4), and no more than the 29 bits of an ASN1TAG.
int ReadTagNumber(ASN1Context& context, ASN1TAG& number) {
    number = 0;
    for (;;) {
        if (AtEndOfBuffer(context)) return ASN_E_ENDOFBUF;
        const std::uint8_t byte = context.buffer[context.byteIndex++];
        if (number == 0 && byte == 0x80) return ASN_E_BADTAG;
        if (number > kNumberMask >> 7) return ASN_E_BADTAG;
        number = number << 7 | (byte & 0x7FU);
        if (byte < 0x80) break;
    }
    return number < 0x1F ? ASN_E_BADTAG : ASN_OK;
}

// Logs nothing: a tag may be read to find out whether it is there.
int ReadTag(ASN1Context& context, ASN1TAG& tag) {
    if (AtEndOfBuffer(context)) return ASN_E_ENDOFBUF;
    const std::uint8_t byte = context.buffer[context.byteIndex++];
    ASN1TAG number = byte & 0x1FU;
    if (number == 0x1F) {
        if (const int status = ReadTagNumber(context, number); status < 0) return status;
    }
    tag = static_cast<ASN1TAG>(byte & 0xE0U) << 24 | number;
    NoteForm(context, byte);
    return ASN_OK;
}

// A length behind a tag that was just read.
int ReadLengthOfTag(ASN1Context& context, int& length) {
    if (const int status = xd_len(context, length); status < 0) return status;
    // X.690 8.1.3.2: primitive encodings have definite lengths.
    if (length == ASN_K_INDEFLEN && (context.flags & kLastTagConstructed) == 0) {
        return Fail(context, ASN_E_INVLEN);
    }
    return ASN_OK;
}

void SavePosition(ASN1Context& context) {
    context.savedIndex = context.byteIndex;
    context.savedFlags = context.flags;
}

void RestorePosition(ASN1Context& context) {
    context.byteIndex = context.savedIndex;
    context.flags = context.savedFlags;
}

// As ASN.1 writes it: "[UNIVERSAL 16]", "[0]".
void AddTagParameter(ASN1Context& context, ASN1TAG tag) {
    static constexpr const char* kClasses[] = {"UNIVERSAL ", "APPLICATION ", "", "PRIVATE "};
    char text[kErrorParameterSize];
    std::snprintf(text, sizeof(text), "[%s%u]", kClasses[tag >> 30],
                  static_cast<unsigned>(tag & kNumberMask));
    AddErrorParameter(context, text);
}

int FailMatch(ASN1Context& context, ASN1TAG expected, ASN1TAG seen) {
    AddTagParameter(context, expected);
    AddTagParameter(context, seen);
    return Fail(context, ASN_E_IDNOTFOU);
}

}  // namespace

// ---- lengths -----------------------------------------------------------------

int DecodeLength(ASN1Context& context, int& length) {
    const bool bounded = (context.flags & kNoBoundsCheck) == 0;
    if (context.buffer == nullptr || (bounded && AtEndOfBuffer(context))) {
        return Fail(context, ASN_E_ENDOFBUF);
    }
    std::uint32_t value = context.buffer[context.byteIndex++];
    if (value == 0x80) {
        length = ASN_K_INDEFLEN;
        return ASN_OK;
    }
    if (value > 0x80) {
        unsigned octets = value & 0x7F;
        if (octets > kLengthOctets) return Fail(context, ASN_E_INVLEN);
        for (value = 0; octets > 0; --octets) {
            if (bounded && AtEndOfBuffer(context)) return Fail(context, ASN_E_ENDOFBUF);
            value = value << 8 | context.buffer[context.byteIndex++];
        }
    }
    length = static_cast<int>(value);
    if (length == ASN_K_INDEFLEN || (context.flags & kNoLengthCheck) != 0) return ASN_OK;
    if (length < 0 || context.byteIndex > context.size ||
        value > context.size - context.byteIndex) {
        return Fail(context, ASN_E_INVLEN);
    }
    return ASN_OK;
}

int DecodeMatch1(ASN1Context& context, std::uint8_t tag, int& length) {
    if (AtEndOfBuffer(context)) return Fail(context, ASN_E_ENDOFBUF);
    const std::uint8_t seen = context.buffer[context.byteIndex];
    if (((seen ^ tag) & 0xDF) != 0) return FailMatch(context, Widen(tag), Widen(seen));
    ++context.byteIndex;
    NoteForm(context, seen);
    return ReadLengthOfTag(context, length);
}

// A header and nothing else: both of its bytes are as X.690 8.8 has them.
int xd_null(ASN1Context& context, int tagging) {
    if (tagging != kExplicit) return ASN_OK;
    if (AtEndOfBuffer(context)) return Fail(context, ASN_E_ENDOFBUF);
    const std::uint8_t seen = context.buffer[context.byteIndex];
    if (seen != kNull) return FailMatch(context, kNull, Widen(seen));
    ++context.byteIndex;
    NoteForm(context, seen);
    if (AtEndOfBuffer(context)) return Fail(context, ASN_E_ENDOFBUF);
    if (context.buffer[context.byteIndex] != 0) return Fail(context, ASN_E_INVLEN);
    ++context.byteIndex;
    return ASN_OK;
}

// ---- tags --------------------------------------------------------------------

int xd_tag_len(ASN1Context& context, ASN1TAG& tag, int& length) {
    if (const int status = ReadTag(context, tag); status < 0) return Fail(context, status);
    return ReadLengthOfTag(context, length);
}

int xd_peek_tag(ASN1Context& context, ASN1TAG& tag) {
    if (const int status = CheckContext(context); status < 0) return status;
    SavePosition(context);
    const int status = ReadTag(context, tag);
    RestorePosition(context);
    return status;
}

int xd_match(ASN1Context& context, ASN1TAG tag, int& length, int options) {
    const std::uint32_t start = context.byteIndex;
    int status = (options & kSkipFirst) != 0 ? xd_skip(context) : ASN_OK;
    while (status == ASN_OK) {
        const std::uint32_t element = context.byteIndex;
        ASN1TAG seen = 0;
        status = xd_peek_tag(context, seen);
        if (status < 0 && (status != ASN_E_ENDOFBUF || element == start)) {
            return Fail(context, status);
        }
        if (status == ASN_OK && SameTag(seen, tag)) {
            status = xd_tag_len(context, seen, length);
            if (status == ASN_OK && (options & kStayBehindTag) == 0) context.byteIndex = element;
            return status;
        }
        // Tag 0: siblings end with the buffer or at end-of-contents octets.
        if (seen == 0 || (options & kScanSiblings) == 0) {
            context.byteIndex = start;
            return FailMatch(context, tag, seen);
        }
        status = xd_skip(context);
    }
    return status;
}

// A definite length tells where the element ends; within an indefinite one the elements are
// walked, with a count of those still open instead of recursion.
int xd_skip(ASN1Context& context) {
    unsigned open = 0;
    do {
        const std::uint32_t start = context.byteIndex;
        ASN1TAG tag = 0;
        int length = 0;
        const std::uint8_t* contents = nullptr;
        if (const int status = xd_tag_len(context, tag, length); status < 0) return status;
        if (tag == 0) {
            // X.690 8.1.5: two octets.
            if (length != 0 || context.byteIndex != start + 2) return Fail(context, ASN_E_BADTAG);
            if (open == 0) return Fail(context, ASN_E_ENDOFBUF);  // the end of what is around
            --open;
        } else if (length == ASN_K_INDEFLEN) {
            if (++open > kMaxLevel) return Fail(context, ASN_E_TOODEEP);
        } else if (const int status = TakeContents(context, length, contents); status < 0) {
            return status;
        }
    } while (open != 0);
    return ASN_OK;
}

// ---- contents ----------------------------------------------------------------

int ASN1Contents::FinishOther() {
    if (!whole_) return Fail(context_, ASN_E_ENDOFBUF);
    if (!definite_ && AtEnd()) {
        context_.byteIndex += 2;
        return ASN_OK;
    }
    if (!definite_ && context_.byteIndex + 2 > context_.size) {
        return Fail(context_, ASN_E_ENDOFBUF);
    }
    ASN1TAG tag = 0;
    if (xd_peek_tag(context_, tag) == ASN_OK) AddTagParameter(context_, tag);
    return Fail(context_, ASN_E_NOTINSET);
}

}  // namespace asn1rt
