// The help: the list of commands and the usage of each, from the commands' rows.
#include "front/help.h"

#include <algorithm>
#include <iterator>

#include "front/core/state.h"
#include "front/usage_texts.h"

namespace kestrel {

namespace {

constexpr TextPair kUsageTitle = {"Формат команды:", "Command usage:"};
constexpr TextPair kUsagePath = {" [путь]kestrel", " [path]kestrel"};

constexpr TextPair kHelpLine = {" -help        Вывести справку.", " -help        Print help."};
constexpr TextPair kSearchCriterion = {
    "Критерий поиска сертификатов (КПС/КПС1):\n"
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
    "               is not verified\n"};

struct HelpRow {
    CommandNumber number;
    TextPair line;
    const Usage* usage;
    bool withSearch;
};

constexpr HelpRow kRows[] = {
#define HELP_ROW(number, word, routine, usage, withSearch, russian, english) \
    {number, {russian, english}, &(usage), withSearch},
    KESTREL_COMMAND_ROWS(HELP_ROW)
#undef HELP_ROW
};
// The help itself counts as the command behind the last one.
constexpr CommandNumber kHelpNumber = 25;
constexpr CommandNumber kGap = 8;

const HelpRow* FindRow(CommandNumber number) {
    const auto row = std::ranges::find(kRows, number, &HelpRow::number);
    return row != std::end(kRows) ? row : nullptr;
}

// The lines are counted without the gap at 8, and the usages with it: from 9 on the line
// above a usage is that of the number behind it (front-3).
void PrintLineAbove(CommandNumber command) {
    const auto number = static_cast<CommandNumber>(command < kGap ? command : command + 1);
    if (number == kHelpNumber) return PrintPair(kHelpLine, 1);
    if (const HelpRow* row = FindRow(number)) PrintPair(row->line, 1);
}

void PrintUsageText(const Usage& usage) {
    PrintPair(usage.synopsis, 2);
    for (const TextPair* line : usage.lines) PrintPair(*line, 0);
}

}  // namespace

const TextPair& SearchCriterion() { return kSearchCriterion; }

void PrintCommandList() {
    PrintMessage(say::kSupportedCommands, 1);
    for (const HelpRow& row : kRows) PrintPair(row.line, 1);
    PrintPair(kHelpLine, 1);
    PrintSearchUsage();
}

void PrintCommandUsage() {
    const HelpRow* row = FindRow(state.command);
    PrintLineAbove(state.command);
    PrintPair(kUsageTitle, 1);
    PrintPair(kUsagePath, 0);
    if (row != nullptr) PrintUsageText(*row->usage);
    PrintText({}, 1);
    if (row != nullptr && row->withSearch) PrintSearchUsage();
}

void PrintSearchUsage() { PrintPair(kSearchCriterion, 1); }

}  // namespace kestrel
