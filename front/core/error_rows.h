// One row is the whole truth of an own error: the number in its code, its name and its texts.
// The hundreds tell the kind: 1 general, 2 command line, 3 certificates and providers, 4 file
// masks and hashes, 5 signatures, 6 encrypted messages, 7 enrolment. Full stops that some forms
// lack are part of the interface (front-1).
#pragma once

// clang-format off
#define KESTREL_ERROR_ROWS(ROW)                                                                 \
    ROW(100, kNoMemory, "Недостаточно памяти.", "No enough memory.")                            \
    ROW(101, kCannotOpenFile, "Не удалось открыть файл '%s'.", "Can't open file '%s'.")         \
    ROW(102, kCancelled, "Отменено пользователем.", "Canceled by user.")                        \
    ROW(103, kBadBase64, "Неверное преобразование BASE64.", "Incorrect BASE64 conversion.")     \
    ROW(104, kHelpNotAlone, "Аргумент '-help' нельзя использовать вместе с другими.",           \
        "You cannot use '-help' argument along with the others.")                               \
    ROW(105, kFileTooLarge, "Слишком большой файл.", "File is too large.")                      \
    ROW(200, kTooManyFiles, "Слишком много файлов: '%s'.", "Too many files: '%s'.")             \
    ROW(201, kUnknownKey, "Неизвестный ключ: '%s'.", "Unknown key: '%s'.")                      \
    ROW(202, kTooManyCommands, "Указана лишняя команда: '%s'.", "Too many commands: '%s'")      \
    ROW(203, kNoKeyArgument, "Не указан аргумент ключа '%s'.", "No argument for '%s' key.")     \
    ROW(204, kNoCommand, "Не указана команда.", "No command.")                                  \
    ROW(205, kNoRequiredKey, "Не указан обязательный ключ: '%s'.", "No required key: '%s'.")    \
    ROW(206, kWrongKey, "Неверный ключ: '%s'.", "Wrong key: '%s'.")                             \
    ROW(207, kIntegerRequired, "Параметром ключа '-q' должно быть натуральное число",           \
        "Integer is required for '-q' key")                                                     \
    ROW(208, kNoInputFile, "Не указан входной файл", "No input file.")                          \
    ROW(209, kNoOutputFile, "Не указан выходной файл", "No output file.")                       \
    ROW(210, kNoFileArgument, "Команде не нужен файл в качестве аргумента",                     \
        "Command doesn't need file argument.")                                                  \
    ROW(211, kNoMessageFile, "Не указан файл сообщения", "No message file.")                    \
    ROW(300, kCannotOpenStore, "Не удалось открыть хранилище сертификатов: '%s'.",              \
        "Can't open certificate store: '%s'.")                                                  \
    ROW(301, kNoCertificate, "Сертификат не найден.", "No certificate found.")                  \
    ROW(302, kManyCertificates, "Найдено более одного сертификата (ключ '-1').",                \
        "More than one certificate found.")                                                     \
    ROW(303, kOneCertificateOnly, "Команде нужен только один сертификат.",                      \
        "Command needs only one certificate.")                                                  \
    ROW(304, kWrongNumber, "Неверный номер.", "Wrong number.")                                  \
    ROW(305, kNoCertificateToUse, "Нет сертификата, который можно использовать.",               \
        "No certificate to use.")                                                               \
    ROW(306, kUnfitCertificate, "Этот сертификат нельзя использовать для текущей операции.",    \
        "This certificate can't be used for current operation.")                                \
    ROW(307, kBadChain,                                                                         \
        "Цепочка сертификатов не проверена для этого сертификата (код ошибки %X):",             \
        "Certificate chain is not checked for this certificate (error code %X):")               \
    ROW(308, kNoProvider, "Не найден CSP, поддерживающий нужный алгоритм.",                     \
        "CSP that supports required algorithm not found.")                                      \
    ROW(309, kPinFailed, "Ошибка при получении пароля контейнера.", "Error while getting pin.") \
    ROW(400, kNoFileMask, "Не указана маска файлов.", "No file mask.")                          \
    ROW(401, kTooManyMasks, "Слишком много масок файлов", "Too many file masks")                \
    ROW(402, kNoFilesFound, "Файлы не найдены.", "No files found.")                             \
    ROW(403, kWrongMask, "Неверная маска файлов.", "Wrong file mask.")                          \
    ROW(404, kHashDiffers, "Неверный хэш", "Hash is incorrect")                                 \
    ROW(500, kStartWithoutOutput, "Ключ '-start' без выходного файла.",                         \
        "Key '-start' without output file.")                                                    \
    ROW(501, kNotSignedMessage, "Файл не является подписанным сообщением.",                     \
        "File isn't a signed message.")                                                         \
    ROW(502, kBadSignatureAlgorithm, "Неверный алгоритм подписи.", "Bad signature algorithm.")  \
    ROW(503, kNoSignerFound, "Сертификат автора подписи не найден.",                            \
        "Signer certificate not found.")                                                        \
    ROW(504, kNoSignature, "Подпись не найдена.", "Signature isn't found.")                     \
    ROW(505, kBadSignatures, "Подпись не верна.", "Signature.")                                 \
    ROW(506, kBadTimeStamp, "Неверный штамп времени.", "Time stamp is incorrect.")              \
    ROW(600, kNotEncryptedMessage, "Файл не является зашифрованным сообщением.",                \
        "File isn't encrypted message.")                                                        \
    ROW(601, kBadEncryptionAlgorithm, "Неверный алгоритм шифрования.",                          \
        "Bad encryption algorithm.")                                                            \
    ROW(602, kNoRecipient, "Сертификат получателя не найден.",                                  \
        "Recipient certificate not found.")                                                     \
    ROW(700, kComFailed, "Не удалось инициализировать COM.", "Can't initialize COM.")           \
    ROW(701, kNoContainers, "Контейнеры не найдены.", "Containers not found.")                  \
    ROW(702, kBadServerResponse, "Неверный ответ сервера.",                                     \
        "Incorrect response from the server.")                                                  \
    ROW(703, kNoCertificateInResponse, "Сертификат не найден в ответе сервера.",                \
        "Certificate isn't found in the server response.")                                      \
    ROW(704, kNoRequestIdInFile, "Файл не содержит идентификатор запроса: '%s'.",               \
        "File doesn't contain the request ID: '%s'.")                                           \
    ROW(705, kBadCaAddress, "Неверный адрес ЦС: '%s'.", "Incorrect CA address: '%s'.")          \
    ROW(706, kBadCookie, "Неверный Cookie.", "Incorrect Cookie.")                               \
    ROW(707, kRequestRejected, "ЦС отклонил запрос.", "CA rejected request.")                   \
    ROW(708, kCurlFailed, "Ошибка инициализации Curl.", "Curl initialization error.")
// clang-format on
