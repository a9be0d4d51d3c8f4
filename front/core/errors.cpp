#include <iterator>
#include <span>

#include "front/core/catalogue.h"

namespace kestrel {

namespace {

// The full stops that some forms lack are part of the interface.

constexpr TextPair kGeneral[] = {
    {"Недостаточно памяти.", "No enough memory."},
    {"Не удалось открыть файл '%s'.", "Can't open file '%s'."},
    {"Отменено пользователем.", "Canceled by user."},
    {"Неверное преобразование BASE64.", "Incorrect BASE64 conversion."},
    {"Аргумент '-help' нельзя использовать вместе с другими.",
     "You cannot use '-help' argument along with the others."},
    {"Слишком большой файл.", "File is too large."},
};

constexpr TextPair kCommandLine[] = {
    {"Слишком много файлов: '%s'.", "Too many files: '%s'."},
    {"Неизвестный ключ: '%s'.", "Unknown key: '%s'."},
    {"Указана лишняя команда: '%s'.", "Too many commands: '%s'"},
    {"Не указан аргумент ключа '%s'.", "No argument for '%s' key."},
    {"Не указана команда.", "No command."},
    {"Не указан обязательный ключ: '%s'.", "No required key: '%s'."},
    {"Неверный ключ: '%s'.", "Wrong key: '%s'."},
    {"Параметром ключа '-q' должно быть натуральное число", "Integer is required for '-q' key"},
    {"Не указан входной файл", "No input file."},
    {"Не указан выходной файл", "No output file."},
    {"Команде не нужен файл в качестве аргумента", "Command doesn't need file argument."},
    {"Не указан файл сообщения", "No message file."},
};

constexpr TextPair kCertificates[] = {
    {"Не удалось открыть хранилище сертификатов: '%s'.", "Can't open certificate store: '%s'."},
    {"Сертификат не найден.", "No certificate found."},
    {"Найдено более одного сертификата (ключ '-1').", "More than one certificate found."},
    {"Команде нужен только один сертификат.", "Command needs only one certificate."},
    {"Неверный номер.", "Wrong number."},
    {"Нет сертификата, который можно использовать.", "No certificate to use."},
    {"Этот сертификат нельзя использовать для текущей операции.",
     "This certificate can't be used for current operation."},
    {"Цепочка сертификатов не проверена для этого сертификата (код ошибки %X):",
     "Certificate chain is not checked for this certificate (error code %X):"},
    {"Не найден CSP, поддерживающий нужный алгоритм.",
     "CSP that supports required algorithm not found."},
    {"Ошибка при получении пароля контейнера.", "Error while getting pin."},
};

constexpr TextPair kMasksAndHashes[] = {
    {"Не указана маска файлов.", "No file mask."},
    {"Слишком много масок файлов", "Too many file masks"},
    {"Файлы не найдены.", "No files found."},
    {"Неверная маска файлов.", "Wrong file mask."},
    {"Неверный хэш", "Hash is incorrect"},
};

constexpr TextPair kSignatures[] = {
    {"Ключ '-start' без выходного файла.", "Key '-start' without output file."},
    {"Файл не является подписанным сообщением.", "File isn't a signed message."},
    {"Неверный алгоритм подписи.", "Bad signature algorithm."},
    {"Сертификат автора подписи не найден.", "Signer certificate not found."},
    {"Подпись не найдена.", "Signature isn't found."},
    {"Подпись не верна.", "Signature."},
    {"Неверный штамп времени.", "Time stamp is incorrect."},
};

constexpr TextPair kEncryptedMessages[] = {
    {"Файл не является зашифрованным сообщением.", "File isn't encrypted message."},
    {"Неверный алгоритм шифрования.", "Bad encryption algorithm."},
    {"Сертификат получателя не найден.", "Recipient certificate not found."},
};

constexpr TextPair kEnrolment[] = {
    {"Не удалось инициализировать COM.", "Can't initialize COM."},
    {"Контейнеры не найдены.", "Containers not found."},
    {"Неверный ответ сервера.", "Incorrect response from the server."},
    {"Сертификат не найден в ответе сервера.", "Certificate isn't found in the server response."},
    {"Файл не содержит идентификатор запроса: '%s'.", "File doesn't contain the request ID: '%s'."},
    {"Неверный адрес ЦС: '%s'.", "Incorrect CA address: '%s'."},
    {"Неверный Cookie.", "Incorrect Cookie."},
    {"ЦС отклонил запрос.", "CA rejected request."},
    {"Ошибка инициализации Curl.", "Curl initialization error."},
};

// By the hundreds of the id; ids begin at 100.
constexpr std::span<const TextPair> kBlocks[] = {
    {},          kGeneral,           kCommandLine, kCertificates, kMasksAndHashes,
    kSignatures, kEncryptedMessages, kEnrolment,
};

constexpr DWORD kIdsPerBlock = 100;

}  // namespace

const TextPair& ErrorText(DWORD code) {
    const DWORD id = code & ~kOwnError;
    const DWORD block = id / kIdsPerBlock;
    const DWORD row = id % kIdsPerBlock;
    if (block >= std::size(kBlocks) || row >= kBlocks[block].size())
        return Message(kUnknownErrorMessage);
    return kBlocks[block][row];
}

}  // namespace kestrel
