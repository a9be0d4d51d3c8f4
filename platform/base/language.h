// The user's language, for texts of the platform.
#pragma once

namespace platform {

// True when the user reads Russian: LC_ALL, LC_MESSAGES or LANG, the first that is set,
// begins with "ru".
bool RussianUser();

}  // namespace platform
