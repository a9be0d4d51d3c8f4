// All text for the user: two catalogues with a Russian and an English form of each
// row, and the one place that prints. Everything goes to standard output.
#pragma once

#include <windows.h>

namespace kestrel {

struct TextPair {
    const char* russian;
    const char* english;
};

// Ids 100 to 192 of the message catalogue.
using MessageId = int;
inline constexpr MessageId kFirstMessage = 100;
inline constexpr MessageId kLastMessage = 192;
// "Unknown error.": also the text of an own code that has no row.
inline constexpr MessageId kUnknownErrorMessage = 142;
const TextPair& Message(MessageId id);

// An own error code is an id of the error catalogue with this flag.
inline constexpr DWORD kOwnError = 0x20000000;
const TextPair& ErrorText(DWORD code);

inline constexpr DWORD kNoMemory = 0x20000064;
inline constexpr DWORD kCannotOpenFile = 0x20000065;
inline constexpr DWORD kCancelled = 0x20000066;
inline constexpr DWORD kBadBase64 = 0x20000067;
inline constexpr DWORD kHelpNotAlone = 0x20000068;
inline constexpr DWORD kFileTooLarge = 0x20000069;
inline constexpr DWORD kTooManyFiles = 0x200000C8;
inline constexpr DWORD kUnknownKey = 0x200000C9;
inline constexpr DWORD kTooManyCommands = 0x200000CA;
inline constexpr DWORD kNoKeyArgument = 0x200000CB;
inline constexpr DWORD kNoCommand = 0x200000CC;
inline constexpr DWORD kNoRequiredKey = 0x200000CD;
inline constexpr DWORD kWrongKey = 0x200000CE;
inline constexpr DWORD kIntegerRequired = 0x200000CF;
inline constexpr DWORD kNoInputFile = 0x200000D0;
inline constexpr DWORD kNoOutputFile = 0x200000D1;
inline constexpr DWORD kNoFileArgument = 0x200000D2;
inline constexpr DWORD kNoMessageFile = 0x200000D3;
inline constexpr DWORD kCannotOpenStore = 0x2000012C;
inline constexpr DWORD kNoCertificate = 0x2000012D;
inline constexpr DWORD kManyCertificates = 0x2000012E;
inline constexpr DWORD kOneCertificateOnly = 0x2000012F;
inline constexpr DWORD kWrongNumber = 0x20000130;
inline constexpr DWORD kNoCertificateToUse = 0x20000131;
inline constexpr DWORD kUnfitCertificate = 0x20000132;
inline constexpr DWORD kBadChain = 0x20000133;
inline constexpr DWORD kNoProvider = 0x20000134;
inline constexpr DWORD kPinFailed = 0x20000135;
inline constexpr DWORD kNoFileMask = 0x20000190;
inline constexpr DWORD kHashDiffers = 0x20000194;
inline constexpr DWORD kStartWithoutOutput = 0x200001F4;
inline constexpr DWORD kNotSignedMessage = 0x200001F5;
inline constexpr DWORD kBadSignatureAlgorithm = 0x200001F6;
inline constexpr DWORD kNoSignature = 0x200001F8;
inline constexpr DWORD kBadSignatures = 0x200001F9;
inline constexpr DWORD kBadTimeStamp = 0x200001FA;
inline constexpr DWORD kNoRecipient = 0x2000025A;
inline constexpr DWORD kNoContainers = 0x200002BD;

// ReportError takes the platform's last error when it is given this code.
inline constexpr DWORD kLastError = 0xFFFFFFFF;

// Sets the runtime's locale and the language flag from the console.
void ChooseLanguage();

// Prints the form for the language and `newlines` line feeds, then flushes. English
// goes out verbatim; Russian passes through the formatter, so a percent sign in it is
// interpreted. A null English form prints the Russian one: scripts rely on both.
void PrintPair(const char* russianText, const char* englishText, int newlines);
void PrintMessage(MessageId id, int newlines);
// A text without a second language, and one line feed.
void PrintRawLine(const char* text, const char* first = nullptr, const char* second = nullptr);

// Prints the error line of an own code, or of the last error for kLastError, and
// returns the code. Code 0 prints nothing.
DWORD ReportError(DWORD code, const char* argument = nullptr);
// The text of a code whose format takes a number, without prefix and code.
DWORD PrintErrorText(DWORD code, DWORD value);

}  // namespace kestrel
