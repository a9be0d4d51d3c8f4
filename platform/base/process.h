// What the platform does to its process.
#pragma once

namespace platform {

// Flushes standard output and tells whether everything printed has arrived there.
bool OutputArrived();

}  // namespace platform
