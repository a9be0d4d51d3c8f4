// One row is the whole truth of a command: its number, its word, the routine that carries it
// out, its usage text, whether the search criterion stands behind that, and its line in the
// list of commands in both languages ("-singf" stays: front-1). The key table, the dispatch
// table and the help each take their columns out of these rows. Numbers 1, 8 and 20 are gaps.
#pragma once

// clang-format off
#define KESTREL_COMMAND_ROWS(ROW)                                                       \
    ROW(2, "encr", RunEncrypt, kEncrUsage, true,                                        \
        " -encr        Создать зашифрованное сообщение.",                               \
        " -encr        Create encrypted message.")                                      \
    ROW(3, "decr", RunDecrypt, kDecrUsage, true,                                        \
        " -decr        Расшифровать сообщение.",                                        \
        " -decr        Decrypt message.")                                               \
    ROW(4, "sign", RunSign, kSignUsage, true,                                           \
        " -sign        Создать подписанное сообщение.",                                 \
        " -sign        Create signed message.")                                         \
    ROW(5, "addsign", RunAddSign, kAddsignUsage, true,                                  \
        " -addsign     Добавить подпись в сообщение.",                                  \
        " -addsign     Add signature to a message.")                                    \
    ROW(6, "delsign", RunDelSign, kDelsignUsage, true,                                  \
        " -delsign     Удалить подпись из сообщения.",                                  \
        " -delsign     Delete signature from a message.")                               \
    ROW(7, "verify", RunVerify, kVerifyUsage, true,                                     \
        " -verify      Проверить подпись сообщения.",                                   \
        " -verify      Verify message signature.")                                      \
    ROW(9, "hash", RunHash, kHashUsage, true,                                           \
        " -hash        Вычислить хэши файлов в 'исходный_файл.hsh'.",                   \
        " -hash        Calculate file hashes into 'source_file.hsh'.")                  \
    ROW(10, "vhash", RunVerifyHash, kVhashUsage, true,                                  \
        " -vhash       Проверить хэши файлов, созданные командой '-hash'.",             \
        " -vhash       Verify file hashes, created with '-hash' command.")              \
    ROW(11, "signf", RunSignFiles, kSignfUsage, true,                                   \
        " -signf       Создать подписи файлов в 'исходный_файл.sgn'.",                  \
        " -singf       Create file signatures into 'source_file.sgn'.")                 \
    ROW(12, "vsignf", RunVerifyFiles, kVsignfUsage, true,                               \
        " -vsignf      Проверить подписи файлов, созданные командой '-signf'.",         \
        " -vsignf      Verify file signatures, created with '-signf' command.")         \
    ROW(13, "copycert", RunCopyCert, kCopycertUsage, true,                              \
        " -copycert    Скопировать сертификаты в указанное хранилище.",                 \
        " -copycert    Copy certificates into a specified store.")                      \
    ROW(14, "CSPcert", RunCspCert, kCSPcertUsage, true,                                 \
        " -CSPcert     Скопировать сертификат из контейнера в указанное хранилище.",    \
        " -CSPcert     Copy certificate from key container to specified store.")        \
    ROW(15, "delcert", RunDelCert, kDelcertUsage, true,                                 \
        " -delcert     Удалить сертификат из указанного хранилища.",                    \
        " -delcert     Delete certificate from a specified store.")                     \
    ROW(16, "creatrqst", RunCreatRqst, kCreatrqstUsage, false,                          \
        " -creatrqst   Создать запрос на сертификат и сохранить его в файле PKCS #10.", \
        " -creatrqst   Create certificate request and save it into PKCS #10 file.")     \
    ROW(17, "instcert", RunInstCert, kInstcertUsage, false,                             \
        " -instcert    Установить сертификат из файла PKCS #7 или файла сертификата.",  \
        " -instcert    Install certificate from PKCS #7 file or certificate file.")     \
    ROW(18, "creatcert", RunCreatCert, kCreatcertUsage, false,                          \
        " -creatcert   Создать запрос на сертификат, отправить его в ЦС,\n"             \
        "              получить и установить выданный сертификат.",                     \
        " -creatcert   Create certificate request, send it to CA,\n"                    \
        "              get and install issued certificate.")                            \
    ROW(19, "pendcert", RunPendCert, kPendcertUsage, false,                             \
        " -pendcert    Проверить отложенный запрос на сертификат,\n"                    \
        "              получить и установить выданный сертификат.",                     \
        " -pendcert    Check pending certificate request,\n"                            \
        "              get and install issued certificate.")                            \
    ROW(21, "addattr", RunAddAttr, kAddattrUsage, true,                                 \
        " -addattr     Добавить неаутентифицированный атрибут в подпись.",              \
        " -addattr     Add an unauthenticated attribute to signature.")                 \
    ROW(22, "creatuser", RunCreatUser, kCreatuserUsage, false,                          \
        " -creatuser   Зарегистрировать нового пользователя Ferroline CA.",             \
        " -creatuser   Register new Ferroline CA user.")                                \
    ROW(23, "listDN", RunListDn, kListDNUsage, false,                                   \
        " -listDN      Показать политику имен Ferroline CA.",                           \
        " -listDN      Show Ferroline CA name policy.")                                 \
    ROW(24, "checkreg", RunCheckReg, kCheckregUsage, false,                             \
        " -checkreg    Проверить состояние регистрации пользователя.",                  \
        " -checkreg    Check user registration status.")
// clang-format on
