// Starts a file with the program for its kind.
#include "messages/start_file.h"

#include <process.h>

#include "front/core/catalogue.h"

namespace kestrel {

void StartFile(const char* name) {
    PrintMessage(say::kStarting, 1);
    _spawnlp(_P_NOWAIT, "cmd", "cmd", "/c", name, static_cast<char*>(nullptr));
}

}  // namespace kestrel
