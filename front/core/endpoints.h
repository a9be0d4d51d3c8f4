// The certification authorities that commands turn to when the line names none. Macros,
// so that the help can hold them inside its texts.
#pragma once

#define KESTREL_DEFAULT_CA "http://ca.kestrel.example/certsrv/"
#define KESTREL_DEFAULT_REGISTRATION "https://ra.kestrel.example/ui"
