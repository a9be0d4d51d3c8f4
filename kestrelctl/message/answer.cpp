// The answers of time-stamp services.
#include "kestrelctl/message/answer.h"

#include "kestrelctl/message/reader.h"
#include "platform/base/error.h"
#include "platform/der/der.h"
#include "platform/der/normalise.h"

namespace kestrelctl::message {
namespace {

using platform::ByteView;
namespace der = platform::der;

constexpr std::size_t kMostOfAnswer = std::size_t{16} << 20;
constexpr std::uint8_t kUtf8String = 0x0C;

// The identifier behind the first header; 0 when there is none.
std::uint8_t FirstInside(ByteView start) {
    platform::BerHeaderParser parser;
    for (std::size_t at = 0; at + 1 < start.size(); ++at) {
        if (parser.Take(start[at])) return start[at + 1];
    }
    return 0;
}

// PKIStatusInfo: a number, texts, and bits that nobody reads here.
StampAnswer ReadStatus(ByteView contents) {
    StampAnswer answer;
    der::Cursor cursor(contents);
    answer.status = cursor.SmallInteger();
    if (!cursor.NextIs(der::kSequence)) return answer;
    for (der::Cursor texts(cursor.Next().contents); !texts.AtEnd();) {
        const ByteView text = texts.Expect(kUtf8String).contents;
        answer.text += answer.text.empty() ? "" : " ";
        answer.text.append(text.begin(), text.end());
    }
    return answer;
}

}  // namespace

bool LooksLikeAnswer(ByteView start) {
    try {
        return !start.empty() && start[0] == der::kSequence && FirstInside(start) == der::kSequence;
    } catch (const platform::Error&) {
        return false;  // whoever reads the message tells
    }
}

void AppendBounded(platform::Bytes& whole, ByteView piece) {
    if (whole.size() + piece.size() > kMostOfAnswer) throw platform::Error(CRYPT_E_ASN1_LARGE);
    der::Append(whole, piece);
}

Record ReadAnswer(ByteView ber) {
    const platform::Bytes whole = platform::Normalise(ber);
    der::Cursor cursor = der::Inside(whole, der::kSequence);
    StampAnswer answer = ReadStatus(cursor.Expect(der::kSequence).contents);
    answer.hasToken = !cursor.AtEnd();
    Record record;
    if (answer.hasToken) record = ReadMessageOctets(cursor.Next().whole);
    cursor.ExpectEnd();
    record.kind = Kind::StampResponse;
    record.answer = std::move(answer);
    return record;
}

}  // namespace kestrelctl::message
