// What the commands that change a signed message in its own file have in common. Nothing
// is written before the new message is complete. All answer 0 or a reported code.
#pragma once

#include <windows.h>

#include "front/core/holders.h"
#include "front/core/result.h"
#include "messages/message_file.h"

namespace kestrel {

// These commands take one file argument, the message.
Reported CheckMessageArgument();

// Decodes the file's message and lets its bytes go. False with the last error set,
// unreported.
bool OpenForChange(MessageFile& file, MessageHolder& message);

// Puts the encoding of the changed message into `file`.
Reported EncodeChanged(HCRYPTMSG message, MessageFile& file);

}  // namespace kestrel
