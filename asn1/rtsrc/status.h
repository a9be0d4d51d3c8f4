// Statuses of the codec. Negative; a call that has something to tell (a length) returns it
// as a number from 0 on in the same value.
#pragma once

namespace asn1rt {

inline constexpr int ASN_OK = 0;
inline constexpr int ASN_E_BUFOVFLW = -1;
inline constexpr int ASN_E_ENDOFBUF = -2;
inline constexpr int ASN_E_IDNOTFOU = -3;
inline constexpr int ASN_E_INVOBJID = -4;
inline constexpr int ASN_E_INVLEN = -5;
inline constexpr int ASN_E_INVENUM = -6;
inline constexpr int ASN_E_SETDUPL = -7;
inline constexpr int ASN_E_SETMISRQ = -8;
inline constexpr int ASN_E_NOTINSET = -9;
inline constexpr int ASN_E_SEQOVFLW = -10;
inline constexpr int ASN_E_INVOPT = -11;
inline constexpr int ASN_E_NOMEM = -12;
inline constexpr int ASN_E_INVSTRTYPE = -13;
inline constexpr int ASN_E_INVHEXS = -14;
inline constexpr int ASN_E_INVBINS = -15;
inline constexpr int ASN_E_INVREAL = -16;
inline constexpr int ASN_E_STROVFLW = -17;
inline constexpr int ASN_E_BADVALUE = -18;
inline constexpr int ASN_E_UNDEFVAL = -19;
inline constexpr int ASN_E_UNDEFTYP = -20;
inline constexpr int ASN_E_BADTAG = -21;
inline constexpr int ASN_E_TOODEEP = -22;
inline constexpr int ASN_E_CONSVIO = -23;
inline constexpr int ASN_E_RANGERR = -24;
inline constexpr int ASN_E_ENDOFFILE = -25;
inline constexpr int ASN_E_INVUTF8 = -26;
inline constexpr int ASN_E_CONCMODF = -27;
inline constexpr int ASN_E_ILLSTATE = -28;
inline constexpr int ASN_E_OUTOFBND = -29;
inline constexpr int ASN_E_INVPARAM = -30;
inline constexpr int ASN_E_INVFORMAT = -31;
inline constexpr int ASN_E_NOTINIT = -32;
inline constexpr int ASN_E_TOOBIG = -33;
inline constexpr int ASN_E_INVCHAR = -34;
inline constexpr int ASN_E_XMLSTATE = -35;
inline constexpr int ASN_E_XMLPARSE = -36;
inline constexpr int ASN_E_SEQORDER = -37;
inline constexpr int ASN_E_INVINDEX = -38;
inline constexpr int ASN_E_INVTCVAL = -39;
inline constexpr int ASN_E_FILNOTFOU = -40;
inline constexpr int ASN_E_FILEREAD = -41;
inline constexpr int ASN_E_FILEWRITE = -42;
inline constexpr int ASN_E_INVBASE64 = -43;
inline constexpr int ASN_E_INVSOCKET = -44;
inline constexpr int ASN_E_XMLLIBNFOU = -45;
inline constexpr int ASN_E_INVXMLLIB = -46;
// Not supported by this kind of buffer; it has no text.
inline constexpr int ASN_E_NOTSUPP = -99;

// Stands for an indefinite length wherever a length is returned (X.690 8.1.3.6).
inline constexpr int ASN_K_INDEFLEN = -9999;

// The text of a status, with "%s" and "%d" where its parameters go; null when it has none.
const char* StatusText(int status);

}  // namespace asn1rt
