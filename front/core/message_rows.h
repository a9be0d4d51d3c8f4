// One row is the whole truth of a message: its number, its name and its Russian and English
// text. Misspellings and differences between the two stay (front-1); a text that ends without
// a full stop or with a blank is gone on with by the caller. clang-format leaves the rows alone.
#pragma once

// clang-format off
#define KESTREL_MESSAGE_ROWS(ROW)                                                                    \
    ROW(100, kErrorPrefix, "Ошибка: ", "Error: ")                                                    \
    ROW(101, kBannerContinuation, ".\nУтилита командной строки для защиты данных.",                  \
        ".\nCommand prompt Utility for data protection.")                                            \
    ROW(102, kChooseCertificate,                                                                     \
        "Пожалуйста, выберите сертификат (введите его номер и нажмите [ENTER]).",                    \
        "Please, choose certificate (type its number and press [ENTER]).")                           \
    ROW(103, kValidFrom, "Действителен с ", "Valid from ")                                           \
    ROW(104, kValidTo, " по ", " to ")                                                               \
    ROW(105, kSubjectLabel, "Субъект:", "RDN:")                                                      \
    ROW(106, kNumberPrompt, "Номер:", "Number:")                                                     \
    ROW(107, kCreateStoreQuestion, "Не удалось открыть хранилище. Хотите создать его (y/n)?",        \
        "Can't open store. Do you want to create it (y/n)?")                                         \
    ROW(108, kCopied, "Сертификат скопирован.", "Certificate's been copied.")                        \
    ROW(109, kAlreadyThere, "Сертификат не скопирован, так как он уже есть в хранилище.",            \
        "Certificate's not been copied because the same one was in store.")                          \
    ROW(110, kOpeningContainer, "Открытие контейнера...", "Openning container...")                   \
    ROW(111, kDeleteThis, "\nУдалить этот сертификат:",                                              \
        "\nDo you want to delete this certificate:")                                                 \
    ROW(112, kDeleteQuestion, "Удалить[D], Все[A], Пропустить[S], Отменить[C]?",                     \
        "[D]elete, [A]ll, [S]kip, [C]ancel?")                                                        \
    ROW(113, kDeleted, "Сертификат удален.", "Certificate's been deleted.")                          \
    ROW(114, kNotDeleted, "Сертификат не удален.", "Certificate's not been deleted.")                \
    ROW(115, kDeletionCancelled, "Удаление отменено пользователем.",                                 \
        "Deletion is cancelled by user.")                                                            \
    ROW(116, kEncrypted, "Зашифрованное сообщение создано.", "Encrypted message is created.")        \
    ROW(117, kDecrypted, "Сообщение расшифровано.", "Message is decrypted.")                         \
    ROW(118, kStarting, "Открытие/запуск файла...", "Openning/starting file...")                     \
    ROW(119, kRequestSaved, "Запрос сохранен в файле.", "Request is saved in file.")                 \
    ROW(120, kInstalled, "Сертификат установлен.", "Certificate is installed.")                      \
    ROW(121, kCreatingRequest, "Создание запроса...", "Creating request...")                         \
    ROW(122, kSendingRequest, "Отправка запроса в ЦС...", "Sending request to CA...")                \
    ROW(123, kInstalling, "Установка сертификата...", "Installing certificate...")                   \
    ROW(124, kChooseContainer,                                                                       \
        "Пожалуйста, выберите контейнер (введите его номер и нажмите [ENTER]).",                     \
        "Please, choose container (type its number and press [ENTER]).")                             \
    ROW(125, kSupportedCommands, "Поддерживаемые команды:", "Supported commands:")                   \
    ROW(126, kHelpHint, "\nЧтобы получить справку о команде, вызовите ее с аргументом '-help'.",     \
        "\nCall a command with '-help' argument to get info about it.")                              \
    ROW(127, kAddingCrl, "Добавление списка отзыва (CRL).", "Adding CRL.")                           \
    ROW(128, kSigned, "Подписанное сообщение создано.", "Signed message is created.")                \
    ROW(129, kSigner, "Автор подписи: ", "Signer: ")                                                 \
    ROW(130, kSkipped,                                                                               \
        "Подпись пропущена, так как сертификат ее автора не соответствует критерию поиска "          \
        "сертификатов.",                                                                             \
        "Skipping the signature due to signer certificate is not in certificate criterion.")         \
    ROW(131, kVerifying, "Проверка подписи... ", "Signature verifying... ")                          \
    ROW(132, kSignatureBad, " Подпись неверна.", " Signature is bad.")                               \
    ROW(133, kMessageCorrupted, "Сообщение повреждено: ", "Message is corrupted: ")                  \
    ROW(134, kVerified, " Подпись проверена.", " Signature's verified.")                             \
    ROW(135, kNotStarted, "Файл не будет запущен из-за неверных подписей.",                          \
        "File won't be started due to bad signatures.")                                              \
    ROW(136, kReadingFailed, "Ошибка чтения файла.", "File reading error.")                          \
    ROW(137, kWritingFailed, "Ошибка записи файла.", "File writing error.")                          \
    ROW(138, kWrongFormat, "Неверный формат подписи.", "Wrong signature format.")                    \
    ROW(139, kCorrupted, "Подпись повреждена.", "Signature's corrupted.")                            \
    ROW(140, kFolder, "Папка '", "Folder '")                                                         \
    ROW(141, kHashReadingFailed, "Ошибка чтения файла с хэшем.", "Hash file reading error.")         \
    ROW(142, kUnknownError, "Неизвестная ошибка.", "Unknown error.")                                 \
    ROW(143, kFileDone, "ОК.", "OK.")                                                                \
    ROW(144, kNoSignerCertificate, "Сертификат автора подписи не найден.",                           \
        "Signer certificate not found.")                                                             \
    ROW(145, kChainsChecked, "Цепочки сертификатов проверены.",                                      \
        "Certificate chains are checked.")                                                           \
    ROW(146, kCertificatesFound, "\nНайдено сертификатов: ", "\nCertificates found: ")               \
    ROW(147, kUseThisCertificate,                                                                    \
        "Вы хотите использовать этот сертификат (Да[Y], Нет[N], Отмена[C])?",                        \
        "Do you want to use this certificate ([Y]es, [N]o, [C]ancel)?")                              \
    ROW(148, kSignatureDeleted, "Подпись удалена.", "The signature is deleted.")                     \
    ROW(149, kEncrypting, "Шифрование данных...", "Encrypting the data...")                          \
    ROW(150, kDecrypting, "Расшифрование данных...", "Decrypting the data...")                       \
    ROW(151, kSigning, "Подписание данных...", "Signing the data...")                                \
    ROW(152, kVerifyingData, "Проверка подписи данных...", "Verifying the data signature...")        \
    ROW(153, kStoreNotOpened, "Не удалось открыть хранилище сертификатов: '",                        \
        "Can't open certificate store: '")                                                           \
    ROW(154, kRequestPending,                                                                        \
        "Ваш сертификат не был получен.\n"                                                           \
        "Необходимо подождать, пока администратор не подтвердит запрос.",                            \
        "Your certificate request has been received.\n"                                              \
        "However, you must wait for an administrator to issue the certificate you requested.")       \
    ROW(155, kEnterRequestId, "Введите идентификатор запроса:", "Enter request ID:")                 \
    ROW(156, kRequestIdWritten, "Идентификатор запроса записан в файл.",                             \
        "Request ID is written to the file.")                                                        \
    ROW(157, kRequestIdShown, "Идентификатор запроса:", "Request ID:")                               \
    ROW(158, kRequestDenied, "Запрос отклонен.", "Request was denied.")                              \
    ROW(159, kIssuedAndRevoked, "Сертификат был издан, а затем отозван.",                            \
        "Certificate was issued, and then revoked.")                                                 \
    ROW(160, kRequestFailed, "Запрос не выполнен.", "Request failed.")                               \
    ROW(161, kChainNotChecked, "Цепочка сертификатов не проверена для этого сертификата:",           \
        "Certificate chain is not checked for this certificate:")                                    \
    ROW(162, kChainNotTimeValid,                                                                     \
        "Срок действия этого сертификата или одного из сертификатов цепочки истек или еще не "       \
        "наступил.",                                                                                 \
        "This certificate or one of the certificates in the certificate chain is not time valid.")   \
    ROW(163, kChainRevoked,                                                                          \
        "Доверие к этому сертификату или к одному из сертификатов цепочки отозвано.",                \
        "Trust for this certificate or one of the certificates in the certificate chain has been "   \
        "revoked.")                                                                                  \
    ROW(164, kChainBadSignature,                                                                     \
        "Подпись этого сертификата или одного из сертификатов цепочки недействительна.",             \
        "The certificate or one of the certificates in the certificate chain does not have a valid " \
        "signature.")                                                                                \
    ROW(165, kChainWrongUsage,                                                                       \
        "Сертификат или цепочка сертификатов не подходит для предполагаемого использования.",        \
        "The certificate or certificate chain is not valid for its proposed usage.")                 \
    ROW(166, kChainUntrustedRoot,                                                                    \
        "Сертификат или цепочка сертификатов опирается на недоверенный корневой сертификат.",        \
        "The certificate or certificate chain is based on an untrusted root.")                       \
    ROW(167, kChainRevocationUnknown,                                                                \
        "Состояние отзыва сертификата или одного из сертификатов цепочки неизвестно.",               \
        "The certificate revocation status or one of the certificates in the certificate chain is "  \
        "unknown.")                                                                                  \
    ROW(168, kCertificateToBeUsed, "\nБудет использован следующий сертификат:",                      \
        "\nThe following certificate will be used:")                                                 \
    ROW(169, kHashDiffers, "Хэш не совпадает.", "Hash differs.")                                     \
    ROW(170, kHashAlgorithm, "Алгоритм хэширования: ", "Hash algorithm: ")                           \
    ROW(171, kReserved171, nullptr, nullptr)                                                         \
    ROW(172, kReserved172, nullptr, nullptr)                                                         \
    ROW(173, kReserved173, nullptr, nullptr)                                                         \
    ROW(174, kReserved174, nullptr, nullptr)                                                         \
    ROW(175, kGettingTimeStamp, "Получение штампа времени...", "Getting time stamp...")              \
    ROW(176, kVerifyingTimeStamp, "Проверка штампа времени...", "Verifying time stamp...")           \
    ROW(177, kGettingResponse, "Получение ответа от ЦС...", "Getting response from CA...")           \
    ROW(178, kNotInContainer, "Предупреждение: не удалось установить сертификат в контейнер. ",      \
        "Warning: Cannot install certificate to container. ")                                        \
    ROW(179, kEnterPin, "Введите пароль контейнера ", "Enter pin for container ")                    \
    ROW(180, kWrongFieldFormat, "Неверный формат поля: ", "Wrong field format.")                     \
    ROW(181, kWrongFieldId, "Неверный идентификатор поля: ", "Wrong field ID: ")                     \
    ROW(182, kUserRegistered, "Пользователь зарегистрирован.", "User registred.")                    \
    ROW(183, kRegistrationPending, "Регистрация пользователя ожидает подтверждения.",                \
        "User registration pending.")                                                                \
    ROW(184, kNoRequestStatus, "Не удалось получить состояние запроса.",                             \
        "Can't get request status.")                                                                 \
    ROW(185, kTokenId, "Идентификатор маркера: ", "Token ID: ")                                      \
    ROW(186, kTokenPassword, "Пароль: ", "Password: ")                                               \
    ROW(187, kFieldId, "Идентификатор поля: ", "Field ID: ")                                         \
    ROW(188, kFieldName, "Имя поля: ", "Field name: ")                                               \
    ROW(189, kMandatoryField, "Обязательное поле.", "Mandatory field.")                              \
    ROW(190, kMaximumLength, "Максимальная длина: ", "Maximum length: ")                             \
    ROW(191, kAllowedValues, "Допустимые значения: ", "Allowed values: ")                            \
    ROW(192, kRegistrationRequestId, "Идентификатор запроса: ", "Request ID: ")
// clang-format on
