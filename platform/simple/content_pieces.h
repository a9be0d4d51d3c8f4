// The content of a call that takes a whole message's content as an array of pieces.
#pragma once

#include "platform/base/ground.h"

#include "platform/base/bytes.h"
#include "platform/base/error.h"

namespace platform {

// Borrows the caller's arrays.
struct ContentPieces {
    DWORD count;
    const BYTE* const* pieces;
    const DWORD* sizes;

    // Throws ERROR_INVALID_PARAMETER for an array or a piece that is missing.
    void Check() const {
        if (count != 0 && (pieces == nullptr || sizes == nullptr)) {
            throw Error(ERROR_INVALID_PARAMETER);
        }
        for (DWORD i = 0; i < count; ++i) {
            if (pieces[i] == nullptr && sizes[i] != 0) throw Error(ERROR_INVALID_PARAMETER);
        }
    }
    [[nodiscard]] ByteView At(DWORD index) const { return ViewOf(pieces[index], sizes[index]); }
};

}  // namespace platform
