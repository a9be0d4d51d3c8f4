#include "front/help.h"

#include <iterator>

#include "front/core/state.h"
#include "front/usage_texts.h"

namespace kestrel {

namespace {

constexpr MessageId kSupportedCommands = 125;
constexpr TextPair kUsageTitle = {"Формат команды:", "Command usage:"};
constexpr TextPair kUsagePath = {" [путь]kestrel", " [path]kestrel"};

// One row a command, in the order of their numbers but without the gap at 8. The last row
// is the search criterion, one before it the help, and row 17 is reserved. "-singf" stays.
constexpr TextPair kListTable[] = {
    {" -encr        Создать зашифрованное сообщение.", " -encr        Create encrypted message."},
    {" -decr        Расшифровать сообщение.", " -decr        Decrypt message."},
    {" -sign        Создать подписанное сообщение.", " -sign        Create signed message."},
    {" -addsign     Добавить подпись в сообщение.", " -addsign     Add signature to a message."},
    {" -delsign     Удалить подпись из сообщения.",
     " -delsign     Delete signature from a message."},
    {" -verify      Проверить подпись сообщения.", " -verify      Verify message signature."},
    {" -hash        Вычислить хэши файлов в 'исходный_файл.hsh'.",
     " -hash        Calculate file hashes into 'source_file.hsh'."},
    {" -vhash       Проверить хэши файлов, созданные командой '-hash'.",
     " -vhash       Verify file hashes, created with '-hash' command."},
    {" -signf       Создать подписи файлов в 'исходный_файл.sgn'.",
     " -singf       Create file signatures into 'source_file.sgn'."},
    {" -vsignf      Проверить подписи файлов, созданные командой '-signf'.",
     " -vsignf      Verify file signatures, created with '-signf' command."},
    {" -copycert    Скопировать сертификаты в указанное хранилище.",
     " -copycert    Copy certificates into a specified store."},
    {" -CSPcert     Скопировать сертификат из контейнера в указанное хранилище.",
     " -CSPcert     Copy certificate from key container to specified store."},
    {" -delcert     Удалить сертификат из указанного хранилища.",
     " -delcert     Delete certificate from a specified store."},
    {" -creatrqst   Создать запрос на сертификат и сохранить его в файле PKCS #10.",
     " -creatrqst   Create certificate request and save it into PKCS #10 file."},
    {" -instcert    Установить сертификат из файла PKCS #7 или файла сертификата.",
     " -instcert    Install certificate from PKCS #7 file or certificate file."},
    {" -creatcert   Создать запрос на сертификат, отправить его в ЦС,\n"
     "              получить и установить выданный сертификат.",
     " -creatcert   Create certificate request, send it to CA,\n"
     "              get and install issued certificate."},
    {" -pendcert    Проверить отложенный запрос на сертификат,\n"
     "              получить и установить выданный сертификат.",
     " -pendcert    Check pending certificate request,\n"
     "              get and install issued certificate."},
    {nullptr, nullptr},
    {" -addattr     Добавить неаутентифицированный атрибут в подпись.",
     " -addattr     Add an unauthenticated attribute to signature."},
    {" -creatuser   Зарегистрировать нового пользователя Ferroline CA.",
     " -creatuser   Register new Ferroline CA user."},
    {" -listDN      Показать политику имен Ferroline CA.",
     " -listDN      Show Ferroline CA name policy."},
    {" -checkreg    Проверить состояние регистрации пользователя.",
     " -checkreg    Check user registration status."},
    {" -help        Вывести справку.", " -help        Print help."},
    {"Критерий поиска сертификатов (КПС/КПС1):\n"
     " [-dn <RDN>]n [-{m|u}[<имя>]|-f <файл>]k [-all|-1|-q[N]]\n"
     "   [{-nochain|-errchain [-norev]}]\n"
     "\n"
     " -dn           строка поиска в RDN (иначе поиск не зависит от RDN)\n"
     " RDN           список строк для поиска сертификата (через запятую)\n"
     "               Все эти строки должны присутствовать в субъекте сертификата\n"
     " -m            искать в хранилище сертификатов компьютера (LOCAL_MACHINE)\n"
     " -u*           искать в хранилище сертификатов пользователя (CURRENT_USER)\n"
     " имя           имя хранилища (по умолчанию: \"My\" для подписи и расшифрования\n"
     "               и \"My+Addressbook\" для остальных команд)\n"
     " -f            использовать файл сообщения или сертификата как хранилище\n"
     " файл          имя файла\n"
     " -all*         использовать все найденные сертификаты (* для КПС)\n"
     " -1*           должен быть найден только один сертификат,\n"
     "               иначе вернуть ошибку (* для КПС1)\n"
     " -q[N]         если найдено менее N сертификатов, предложить\n"
     "               выбрать нужный сертификат (по умолчанию N=10)\n"
     " -nochain      не проверять цепочки сертификатов\n"
     " -norev        не проверять отзыв сертификатов\n"
     " -errchain     завершить с ошибкой, если хотя бы один сертификат\n"
     "               не прошел проверку\n",
     "Certificate Search Criterion (CSC/CSC1):\n"
     " [-dn <RDN>]n [-{m|u}[<name>]|-f <file>]k [-all|-1|-q[N]]\n"
     "   [{-nochain|-errchain [-norev]}]\n"
     "\n"
     " -dn           search string in RDN (otherwise search does not depend on RDN)\n"
     " RDN           string list for certificate search (comma-separated)\n"
     "               All these strings must exist in certificate subject\n"
     " -m            search in machine certificate store (LOCAL_MACHINE)\n"
     " -u*           search in user certificate store (CURRENT_USER)\n"
     " name          store name (defaults: \"My\" for sign and decrypt\n"
     "               and \"My+Addressbook\" for others)\n"
     " -f            use message or certificate file as store\n"
     " file          file name\n"
     " -all*         use all found certificates (* for CSC)\n"
     " -1*           only one certificate shall be found,\n"
     "               otherwise return error (* for CSC1)\n"
     " -q[N]         if less than N certificates found prompt select\n"
     "               desired certificate dialog (by default N=10)\n"
     " -nochain      do not verify certificate chains\n"
     " -norev        do not check certificates for revocation\n"
     " -errchain     terminate with error if at least one certificate\n"
     "               is not verified\n"},
};

constexpr int kReservedRow = 17;
constexpr int kSearchRow = 23;
static_assert(std::size(kListTable) == kSearchRow + 1);

struct UsageRow {
    CommandNumber number;
    const Usage* usage;
};

constexpr UsageRow kUsageTable[] = {
#define USAGE_ROW(number, word, routine, usage) {number, &(usage)},
    KESTREL_COMMAND_ROWS(USAGE_ROW)
#undef USAGE_ROW
};
constexpr CommandNumber kFirstUsage = 2;

void Print(const TextPair& text, int newlines) { PrintPair(text.russian, text.english, newlines); }

void PrintListRow(int row) {
    if (row != kReservedRow) Print(kListTable[row], 1);
}

const Usage* FindUsage(CommandNumber number) {
    for (const UsageRow& row : kUsageTable) {
        if (row.number == number) return row.usage;
    }
    return nullptr;
}

void PrintUsageText(const Usage& usage) {
    Print(usage.synopsis, 2);
    for (const TextPair* line : usage.lines) Print(*line, 0);
}

bool EndsWithSearchUsage(CommandNumber number) {
    return (number >= 2 && number <= 7) || (number >= 9 && number <= 15) || number == 21;
}

}  // namespace

void PrintCommandList() {
    PrintMessage(kSupportedCommands, 1);
    for (int row = 0; row <= kSearchRow; ++row) PrintListRow(row);
}

void PrintCommandUsage() {
    // The list has no row for the gap at 8, so that from 9 on the line above a usage is
    // that of the next command. Scripts rely on the output as it is.
    PrintListRow(state.command - kFirstUsage);
    Print(kUsageTitle, 1);
    Print(kUsagePath, 0);
    if (const Usage* usage = FindUsage(state.command)) PrintUsageText(*usage);
    PrintPair("\n", nullptr, 0);
    if (EndsWithSearchUsage(state.command)) PrintSearchUsage();
}

void PrintSearchUsage() { Print(kListTable[kSearchRow], 1); }

}  // namespace kestrel
