// What all messages share: the sink, and failures that stay.
#include "platform/cms/message.h"

#include <limits>

#include "platform/base/error.h"

namespace platform {

void StreamSink::Write(ByteView block, bool isFinal) const {
    if (block.size() > std::numeric_limits<DWORD>::max()) throw Error(E_INVALIDARG);
    // The callback's type says BYTE*, yet no receiver may write to what it is shown.
    auto* data = const_cast<BYTE*>(block.data());
    const auto size = static_cast<DWORD>(block.size());
    if (info_.pfnStreamOutput(info_.pvArg, data, size, isFinal ? TRUE : FALSE) != FALSE) return;
    const DWORD code = LastError();
    throw Error(code != 0 ? code : static_cast<DWORD>(E_FAIL), LastErrorDetail(code));
}

Bytes Message::Param(DWORD param, DWORD index) {
    DWORD size = 0;
    GetParam(param, index, nullptr, &size);
    Bytes value(size);
    GetParam(param, index, value.data(), &size);
    value.resize(size);
    return value;
}

DWORD Message::NumberParam(DWORD param) {
    DWORD number = 0;
    DWORD size = sizeof number;
    GetParam(param, 0, &number, &size);
    return number;
}

void Message::ThrowIfFailed() const {
    if (failure_) throw Error(*failure_);
}

void Message::Update(ByteView data, bool isFinal) {
    ThrowIfFailed();
    if (finished_ || (!isFinal && !TakesPieces())) throw Error(CRYPT_E_MSG_ERROR);
    try {
        Feed(data, isFinal);
    } catch (const Error& error) {
        failure_ = error.Code();
        throw;
    } catch (...) {
        failure_ = static_cast<DWORD>(E_OUTOFMEMORY);
        throw;
    }
    finished_ = isFinal && !ExpectsMore();
}

}  // namespace platform
