// One row is the whole truth of a command: its number, its word, the routine that
// carries it out, and its usage text. The key table, the dispatch table and the help each
// take their columns out of these rows. Numbers 1, 8 and 20 are gaps and stay so: the
// help is indexed by the number.
#pragma once

#define KESTREL_COMMAND_ROWS(ROW)                            \
    ROW(2, "encr", RunEncrypt, kEncrUsage)                   \
    ROW(3, "decr", RunDecrypt, kDecrUsage)                   \
    ROW(4, "sign", RunSign, kSignUsage)                      \
    ROW(5, "addsign", RunAddSign, kAddsignUsage)             \
    ROW(6, "delsign", RunDelSign, kDelsignUsage)             \
    ROW(7, "verify", RunVerify, kVerifyUsage)                \
    ROW(9, "hash", RunHash, kHashUsage)                      \
    ROW(10, "vhash", RunVerifyHash, kVhashUsage)             \
    ROW(11, "signf", RunSignFiles, kSignfUsage)              \
    ROW(12, "vsignf", RunVerifyFiles, kVsignfUsage)          \
    ROW(13, "copycert", RunCopyCert, kCopycertUsage)         \
    ROW(14, "CSPcert", RunCspCert, kCSPcertUsage)            \
    ROW(15, "delcert", RunDelCert, kDelcertUsage)            \
    ROW(16, "creatrqst", RunNotImplemented, kCreatrqstUsage) \
    ROW(17, "instcert", RunNotImplemented, kInstcertUsage)   \
    ROW(18, "creatcert", RunNotImplemented, kCreatcertUsage) \
    ROW(19, "pendcert", RunNotImplemented, kPendcertUsage)   \
    ROW(21, "addattr", RunAddAttr, kAddattrUsage)            \
    ROW(22, "creatuser", RunNotImplemented, kCreatuserUsage) \
    ROW(23, "listDN", RunNotImplemented, kListDNUsage)       \
    ROW(24, "checkreg", RunNotImplemented, kCheckregUsage)
