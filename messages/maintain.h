// What the commands that change a signed message in its own file have in common. Nothing
// is written before the new message is complete. All answer 0 or a reported code.
#pragma once

#include <windows.h>

#include "front/core/holders.h"
#include "messages/message_file.h"

namespace kestrel {

// These commands take one file argument, the message.
DWORD CheckMessageArgument();

// Decodes the file's message and lets its bytes go.
DWORD OpenForChange(MessageFile& file, MessageHolder& message);

// Puts the encoding of the changed message into `file`.
DWORD EncodeChanged(HCRYPTMSG message, MessageFile& file);

// The index of the signer whose certificate is the first one selected. The signature must
// verify; those of other signers in front of it are passed over.
DWORD FindSelectedSigner(const MessageFile& file, DWORD& signer);

}  // namespace kestrel
