#include "front/core/catalogue.h"

#include <iterator>

namespace kestrel {

namespace {

// Misspellings of the English column and differences between the columns are part of
// the interface: scripts match these texts byte for byte.
constexpr TextPair kMessages[] = {
    /* 100 */ {"Ошибка: ", "Error: "},
    /* 101 */
    {".\nУтилита командной строки для защиты данных.",
     ".\nCommand prompt Utility for data protection."},
    /* 102 */
    {"Пожалуйста, выберите сертификат (введите его номер и нажмите [ENTER]).",
     "Please, choose certificate (type its number and press [ENTER])."},
    /* 103 */ {"Действителен с ", "Valid from "},
    /* 104 */ {" по ", " to "},
    /* 105 */ {"Субъект:", "RDN:"},
    /* 106 */ {"Номер:", "Number:"},
    /* 107 */
    {"Не удалось открыть хранилище. Хотите создать его (y/n)?",
     "Can't open store. Do you want to create it (y/n)?"},
    /* 108 */ {"Сертификат скопирован.", "Certificate's been copied."},
    /* 109 */
    {"Сертификат не скопирован, так как он уже есть в хранилище.",
     "Certificate's not been copied because the same one was in store."},
    /* 110 */ {"Открытие контейнера...", "Openning container..."},
    /* 111 */ {"\nУдалить этот сертификат:", "\nDo you want to delete this certificate:"},
    /* 112 */
    {"Удалить[D], Все[A], Пропустить[S], Отменить[C]?", "[D]elete, [A]ll, [S]kip, [C]ancel?"},
    /* 113 */ {"Сертификат удален.", "Certificate's been deleted."},
    /* 114 */ {"Сертификат не удален.", "Certificate's not been deleted."},
    /* 115 */ {"Удаление отменено пользователем.", "Deletion is cancelled by user."},
    /* 116 */ {"Зашифрованное сообщение создано.", "Encrypted message is created."},
    /* 117 */ {"Сообщение расшифровано.", "Message is decrypted."},
    /* 118 */ {"Открытие/запуск файла...", "Openning/starting file..."},
    /* 119 */ {"Запрос сохранен в файле.", "Request is saved in file."},
    /* 120 */ {"Сертификат установлен.", "Certificate is installed."},
    /* 121 */ {"Создание запроса...", "Creating request..."},
    /* 122 */ {"Отправка запроса в ЦС...", "Sending request to CA..."},
    /* 123 */ {"Установка сертификата...", "Installing certificate..."},
    /* 124 */
    {"Пожалуйста, выберите контейнер (введите его номер и нажмите [ENTER]).",
     "Please, choose container (type its number and press [ENTER])."},
    /* 125 */ {"Поддерживаемые команды:", "Supported commands:"},
    /* 126 */
    {"\nЧтобы получить справку о команде, вызовите ее с аргументом '-help'.",
     "\nCall a command with '-help' argument to get info about it."},
    /* 127 */ {"Добавление списка отзыва (CRL).", "Adding CRL."},
    /* 128 */ {"Подписанное сообщение создано.", "Signed message is created."},
    /* 129 */ {"Автор подписи: ", "Signer: "},
    /* 130 */
    {"Подпись пропущена, так как сертификат ее автора не соответствует критерию поиска "
     "сертификатов.",
     "Skipping the signature due to signer certificate is not in certificate criterion."},
    /* 131 */ {"Проверка подписи... ", "Signature verifying... "},
    /* 132 */ {" Подпись неверна.", " Signature is bad."},
    /* 133 */ {"Сообщение повреждено: ", "Message is corrupted: "},
    /* 134 */ {" Подпись проверена.", " Signature's verified."},
    /* 135 */
    {"Файл не будет запущен из-за неверных подписей.",
     "File won't be started due to bad signatures."},
    /* 136 */ {"Ошибка чтения файла.", "File reading error."},
    /* 137 */ {"Ошибка записи файла.", "File writing error."},
    /* 138 */ {"Неверный формат подписи.", "Wrong signature format."},
    /* 139 */ {"Подпись повреждена.", "Signature's corrupted."},
    /* 140 */ {"Папка '", "Folder '"},
    /* 141 */ {"Ошибка чтения файла с хэшем.", "Hash file reading error."},
    /* 142 */ {"Неизвестная ошибка.", "Unknown error."},
    /* 143 */ {"ОК.", "OK."},
    /* 144 */ {"Сертификат автора подписи не найден.", "Signer certificate not found."},
    /* 145 */ {"Цепочки сертификатов проверены.", "Certificate chains are checked."},
    /* 146 */ {"\nНайдено сертификатов: ", "\nCertificates found: "},
    /* 147 */
    {"Вы хотите использовать этот сертификат (Да[Y], Нет[N], Отмена[C])?",
     "Do you want to use this certificate ([Y]es, [N]o, [C]ancel)?"},
    /* 148 */ {"Подпись удалена.", "The signature is deleted."},
    /* 149 */ {"Шифрование данных...", "Encrypting the data..."},
    /* 150 */ {"Расшифрование данных...", "Decrypting the data..."},
    /* 151 */ {"Подписание данных...", "Signing the data..."},
    /* 152 */ {"Проверка подписи данных...", "Verifying the data signature..."},
    /* 153 */ {"Не удалось открыть хранилище сертификатов: '", "Can't open certificate store: '"},
    /* 154 */
    {"Ваш сертификат не был получен.\n"
     "Необходимо подождать, пока администратор не подтвердит запрос.",
     "Your certificate request has been received.\n"
     "However, you must wait for an administrator to issue the certificate you requested."},
    /* 155 */ {"Введите идентификатор запроса:", "Enter request ID:"},
    /* 156 */ {"Идентификатор запроса записан в файл.", "Request ID is written to the file."},
    /* 157 */ {"Идентификатор запроса:", "Request ID:"},
    /* 158 */ {"Запрос отклонен.", "Request was denied."},
    /* 159 */
    {"Сертификат был издан, а затем отозван.", "Certificate was issued, and then revoked."},
    /* 160 */ {"Запрос не выполнен.", "Request failed."},
    /* 161 */
    {"Цепочка сертификатов не проверена для этого сертификата:",
     "Certificate chain is not checked for this certificate:"},
    /* 162 */
    {"Срок действия этого сертификата или одного из сертификатов цепочки истек или еще не "
     "наступил.",
     "This certificate or one of the certificates in the certificate chain is not time valid."},
    /* 163 */
    {"Доверие к этому сертификату или к одному из сертификатов цепочки отозвано.",
     "Trust for this certificate or one of the certificates in the certificate chain has been "
     "revoked."},
    /* 164 */
    {"Подпись этого сертификата или одного из сертификатов цепочки недействительна.",
     "The certificate or one of the certificates in the certificate chain does not have a valid "
     "signature."},
    /* 165 */
    {"Сертификат или цепочка сертификатов не подходит для предполагаемого использования.",
     "The certificate or certificate chain is not valid for its proposed usage."},
    /* 166 */
    {"Сертификат или цепочка сертификатов опирается на недоверенный корневой сертификат.",
     "The certificate or certificate chain is based on an untrusted root."},
    /* 167 */
    {"Состояние отзыва сертификата или одного из сертификатов цепочки неизвестно.",
     "The certificate revocation status or one of the certificates in the certificate chain is "
     "unknown."},
    /* 168 */
    {"\nБудет использован следующий сертификат:", "\nThe following certificate will be used:"},
    /* 169 */ {"Хэш не совпадает.", "Hash differs."},
    /* 170 */ {"Алгоритм хэширования: ", "Hash algorithm: "},
    /* 171 */ {nullptr, nullptr},
    /* 172 */ {nullptr, nullptr},
    /* 173 */ {nullptr, nullptr},
    /* 174 */ {nullptr, nullptr},
    /* 175 */ {"Получение штампа времени...", "Getting time stamp..."},
    /* 176 */ {"Проверка штампа времени...", "Verifying time stamp..."},
    /* 177 */ {"Получение ответа от ЦС...", "Getting response from CA..."},
    /* 178 */
    {"Предупреждение: не удалось установить сертификат в контейнер. ",
     "Warning: Cannot install certificate to container. "},
    /* 179 */ {"Введите пароль контейнера ", "Enter pin for container "},
    /* 180 */ {"Неверный формат поля: ", "Wrong field format."},
    /* 181 */ {"Неверный идентификатор поля: ", "Wrong field ID: "},
    /* 182 */ {"Пользователь зарегистрирован.", "User registred."},
    /* 183 */ {"Регистрация пользователя ожидает подтверждения.", "User registration pending."},
    /* 184 */ {"Не удалось получить состояние запроса.", "Can't get request status."},
    /* 185 */ {"Идентификатор маркера: ", "Token ID: "},
    /* 186 */ {"Пароль: ", "Password: "},
    /* 187 */ {"Идентификатор поля: ", "Field ID: "},
    /* 188 */ {"Имя поля: ", "Field name: "},
    /* 189 */ {"Обязательное поле.", "Mandatory field."},
    /* 190 */ {"Максимальная длина: ", "Maximum length: "},
    /* 191 */ {"Допустимые значения: ", "Allowed values: "},
    /* 192 */ {"Идентификатор запроса: ", "Request ID: "},
};

static_assert(std::size(kMessages) == kLastMessage - kFirstMessage + 1);

}  // namespace

const TextPair& Message(MessageId id) { return kMessages[id - kFirstMessage]; }

}  // namespace kestrel
