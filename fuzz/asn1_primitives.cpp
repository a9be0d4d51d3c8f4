// A script of primitive decoders over bytes. The first byte tells how long the script is; each
// of its bytes names the next primitive. What was decoded is encoded, and decoded again.
#include <cstring>
#include <functional>
#include <string>

#include "asn1/rtbersrc/ber_buffer.h"
#include "asn1/rtsrc/bit_string.h"
#include "asn1/rtsrc/times.h"
#include "fuzz/support.h"

namespace {

using namespace asn1rt;

std::string TextOf(const char* text) { return text == nullptr ? "null" : text; }

// Decodes the encoding of a value, which must give the value again, in an encoding that
// does not change any more.
template <class Value, class Decode, class Encode, class Equal>
void RoundTrip(const Value& value, const Decode& decode, const Encode& encode, const Equal& equal) {
    ASN1BEREncodeBuffer first;
    const int length = encode(*first.getContextPtr(), value);
    Demand(length > 0, "what was decoded can be encoded");
    ASN1BERDecodeBuffer input(first.getMsgPtr(), static_cast<std::size_t>(length));
    ASN1Context& context = *input.getContextPtr();
    Value again{};
    Demand(decode(context, again) == ASN_OK, "what was encoded can be decoded");
    Demand(context.byteIndex == context.size, "the whole encoding is read");
    Demand(equal(value, again), "the value is the same");
    ASN1BEREncodeBuffer second;
    Demand(encode(*second.getContextPtr(), again) == length, "the length is the same");
    Demand(
        std::memcmp(first.getMsgPtr(), second.getMsgPtr(), static_cast<std::size_t>(length)) == 0,
        "the encoding is the same");
}

template <class Value, class Decode, class Encode, class Equal>
bool Try(ASN1Context& context, const Decode& decode, const Encode& encode, const Equal& equal) {
    Value value{};
    if (decode(context, value) != ASN_OK) return false;
    RoundTrip(value, decode, encode, equal);
    return true;
}

template <class Value>
bool TryNumber(ASN1Context& context, int (*decode)(ASN1Context&, Value&, int, int),
               int (*encode)(ASN1Context&, Value, int)) {
    return Try<Value>(
        context, [&](ASN1Context& c, Value& value) { return decode(c, value, kExplicit, 0); },
        [&](ASN1Context& c, const Value& value) { return encode(c, value, kExplicit); },
        [](Value first, Value second) { return first == second; });
}

template <class Value, class Equal>
bool TryValue(ASN1Context& context, int (*decode)(ASN1Context&, Value&, int, int),
              int (*encode)(ASN1Context&, const Value&, int), const Equal& equal) {
    return Try<Value>(
        context, [&](ASN1Context& c, Value& value) { return decode(c, value, kExplicit, 0); },
        [&](ASN1Context& c, const Value& value) { return encode(c, value, kExplicit); }, equal);
}

template <class Value, class Equal>
bool TryString(ASN1Context& context, std::uint8_t tag,
               int (*decode)(ASN1Context&, Value&, int, std::uint8_t, int),
               int (*encode)(ASN1Context&, const Value&, int, std::uint8_t), const Equal& equal) {
    return Try<Value>(
        context, [&](ASN1Context& c, Value& value) { return decode(c, value, kExplicit, tag, 0); },
        [&](ASN1Context& c, const Value& value) { return encode(c, value, kExplicit, tag); },
        equal);
}

bool TryBoolean(ASN1Context& context) {
    ASN1BOOL value = 0;
    if (xd_boolean(context, value, kExplicit, 0) != ASN_OK) return false;
    ASN1BEREncodeBuffer output;
    Demand(xe_boolean(*output.getContextPtr(), value, kExplicit) == 3, "a boolean has 3 bytes");
    Demand((output.getMsgPtr()[2] != 0) == (value != 0), "a boolean keeps its sense");
    return true;
}

bool TryWide(ASN1Context& context, bool wider) {
    const auto equal = [](const auto& first, const auto& second) {
        return first.nchars == second.nchars &&
               std::memcmp(first.data, second.data, first.nchars * sizeof(*first.data)) == 0;
    };
    return wider
               ? TryString<ASN132BitCharStr>(context, 28, xd_32BitCharStr, xe_32BitCharStr, equal)
               : TryString<ASN116BitCharStr>(context, 30, xd_16BitCharStr, xe_16BitCharStr, equal);
}

bool TryOctets(ASN1Context& context) {
    return TryValue<ASN1DynOctStr>(
        context, xd_octstr, xe_octstr, [](const auto& first, const auto& second) {
            return first.numocts == second.numocts &&
                   (first.numocts == 0 || std::memcmp(first.data, second.data, first.numocts) == 0);
        });
}

bool TryBits(ASN1Context& context) {
    return TryValue<ASN1DynBitStr>(
        context, xd_bitstr, xe_bitstr, [](ASN1DynBitStr first, ASN1DynBitStr second) {
            ASN1BEREncodeBuffer buffer;
            const ASN1CBitStr one(buffer, first);
            const ASN1CBitStr other(buffer, second);
            return one.size() == other.size() && one.length() == other.length() &&
                   one.cardinality() == other.cardinality();
        });
}

bool TryOpen(ASN1Context& context) {
    return Try<ASN1OpenType>(context, xd_open_type, xe_open_type,
                             [](const ASN1OpenType& first, const ASN1OpenType& second) {
                                 return first.numocts == second.numocts &&
                                        std::memcmp(first.data, second.data, first.numocts) == 0;
                             });
}

// A time that can be read is written, and reads as it did.
template <class Time>
bool TryTime(ASN1Context& context, std::uint8_t tag) {
    ASN1CharStr value;
    if (xd_charstr(context, value, kExplicit, tag, 0) != ASN_OK) return false;
    ASN1BEREncodeBuffer buffer;
    Time time(buffer, value);
    if (time.Parse() != ASN_OK) return false;
    std::int64_t before = 0;
    const int status = time.GetTime(before);
    Demand(time.Compile() == ASN_OK && time.Parse() == ASN_OK, "a time is written as it is read");
    std::int64_t after = 0;
    Demand(time.GetTime(after) == status && before == after, "a time stays");
    return true;
}

bool Contents(ASN1Context& context, const std::uint8_t*& script, const std::uint8_t* end);

bool Step(ASN1Context& context, const std::uint8_t*& script, const std::uint8_t* end) {
    const auto sameText = [](const auto& first, const auto& second) {
        return TextOf(first.text) == TextOf(second.text);
    };
    switch (*script++ % 16) {
        case 0:
            return TryNumber<ASN1INT>(context, xd_integer, xe_integer);
        case 1:
            return TryNumber<ASN1UINT>(context, xd_unsigned, xe_unsigned);
        case 2:
            return TryNumber<ASN1ENUM>(context, xd_enum, xe_enum);
        case 3: {
            // No octets at all become the zero.
            ASN1BigInt value;
            if (xd_bigint(context, value, kExplicit, 0) != ASN_OK) return false;
            if (TextOf(value.text) == "0x0") value.text = "0x00";
            RoundTrip(
                value,
                [](ASN1Context& c, ASN1BigInt& big) { return xd_bigint(c, big, kExplicit, 0); },
                [](ASN1Context& c, const ASN1BigInt& big) { return xe_bigint(c, big, kExplicit); },
                sameText);
            return true;
        }
        case 4:
            return TryBoolean(context);
        case 5:
            return xd_null(context, kExplicit) == ASN_OK;
        case 6:
            return TryValue<ASN1OBJID>(context, xd_objid, xe_objid, std::equal_to<ASN1OBJID>());
        case 7:
            return TryOctets(context);
        case 8:
            return TryBits(context);
        case 9:
            return TryString<ASN1CharStr>(context, 12, xd_charstr, xe_charstr, sameText);
        case 10:
            return TryWide(context, false);
        case 11:
            return TryWide(context, true);
        case 12:
            return TryOpen(context);
        case 13:
            return TryTime<ASN1CGeneralizedTime>(context, 24);
        case 14:
            return TryTime<ASN1CUTCTime>(context, 23);
        default:
            return Contents(context, script, end);
    }
}

void Run(ASN1Context& context, const std::uint8_t*& script, const std::uint8_t* end) {
    while (script != end) {
        const std::uint32_t before = context.byteIndex;
        if (!Step(context, script, end)) {
            Demand(context.byteIndex <= context.size, "no read leaves the buffer");
            context.byteIndex = before;
            if (xd_skip(context) != ASN_OK) return;
        }
    }
}

bool Contents(ASN1Context& context, const std::uint8_t*& script, const std::uint8_t* end) {
    int length = 0;
    if (xd_match1(context, 0x30, length) != ASN_OK) return false;
    const std::uint32_t size = context.size;
    bool finished = false;
    {
        ASN1Contents contents(context, length);
        Demand(context.size <= size, "contents do not reach beyond their element");
        Run(context, script, end);
        finished = contents.Finish() == ASN_OK;
    }
    Demand(context.size == size, "the outer end comes back");
    return finished;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0 || *data >= size) return 0;
    const std::uint8_t* script = data + 1;
    const std::uint8_t* end = script + *data;
    ASN1BERDecodeBuffer buffer(end, size - 1 - *data);
    Run(*buffer.getContextPtr(), script, end);
    return 0;
}
