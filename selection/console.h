// Showing certificates, reading list numbers and passwords.
#pragma once

#include <windows.h>

#include "front/core/result.h"

namespace kestrel {

// "RDN:" and the subject, then the validity and a blank line. 0 or kNoMemory, reported.
Reported PrintCertificateSummary(PCCERT_CONTEXT certificate);

// The two halves of the summary, for those who show them in another order. The validity
// is in UTC; it is left out when a time is outside the calendar.
Reported PrintCertificateSubject(PCCERT_CONTEXT certificate, int newlines);
void PrintCertificateValidity(PCCERT_CONTEXT certificate);

// A number from 1 to `limit`, typed key by key. 0, or kCancelled or kWrongNumber, reported.
Reported ReadCertificateNumber(int limit, DWORD& number);

// Reads a line from the console without echo; null on any failure, a redirected input
// among them.
char* ReadHiddenLine(const char* prompt, char* buffer, DWORD size);

// The next answer to a letter question, folded to upper case: line feeds are skipped,
// and the end of input counts as C.
char ReadAnswerLetter();

}  // namespace kestrel
