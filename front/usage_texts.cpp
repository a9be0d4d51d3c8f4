// The usage of each command, word by word.
#include "front/usage_texts.h"

#include "front/core/endpoints.h"

namespace kestrel {

namespace {

// ---- explanatory lines, shared by the commands -------------------------------
// Misspellings of the English forms stay (front-1).

constexpr TextPair kCscRecipients = {
    " КПС           КПС сертификатов получателей\n",
    " CSC           CSC of recipient certificates\n",
};
constexpr TextPair kCsc1Recipient = {
    " КПС1          КПС сертификата получателя\n",
    " CSC1          CSC of recipient certificate\n",
};
constexpr TextPair kCsc1Signer = {
    " КПС1          КПС сертификата автора подписи\n",
    " CSC1          CSC of signer certificate\n",
};
constexpr TextPair kCscSigners = {
    " КПС           КПС сертификатов авторов подписей\n",
    " CSC           CSC of signer certificates\n",
};
constexpr TextPair kCscVerify = {
    " КПС           КПС сертификатов авторов подписей\n"
    "               (без него проверяются все подписи)\n",
    " CSC           CSC of signer certificates\n"
    "               (without it all signatures are verified)\n",
};
constexpr TextPair kCsc1DeleteSignature = {
    " КПС1          КПС сертификата автора удаляемой подписи\n",
    " CSC1          CSC of signer certificate of signature to delete\n",
};
constexpr TextPair kCsc1AddAttribute = {
    " КПС1          КПС сертификата автора подписи, в которую\n"
    "               добавляется атрибут\n",
    " CSC1          CSC of signer certificate of signature to add attribute to\n",
};
constexpr TextPair kCscCopy = {
    " КПС           КПС копируемых сертификатов\n",
    " CSC           CSC of certificates to copy\n",
};
constexpr TextPair kCscDelete = {
    " КПС           КПС удаляемых сертификатов\n",
    " КПС           CSC to remove from message\n",
};
constexpr TextPair kDer = {
    " -der          выходные данные в DER вместо BASE64\n",
    " -der          DER output instead of BASE64\n",
};
constexpr TextPair kFileToEncrypt = {
    " входной файл  файл, который нужно зашифровать\n",
    " input file    file to encrypt\n",
};
constexpr TextPair kNewEncryptedMessage = {
    " сообщение     файл для зашифрованного сообщения\n",
    " message       file for encrypted message\n",
};
constexpr TextPair kEncryptedMessage = {
    " сообщение     файл с зашифрованным сообщением\n",
    " message       file with encrypted message\n",
};
constexpr TextPair kDecryptedFile = {
    " выходной файл файл для расшифрованных данных\n",
    " output file   file for decrypted data\n",
};
constexpr TextPair kStart = {
    " -start        открыть выходной файл по окончании\n",
    " -start        open output file when finished\n",
};
constexpr TextPair kPin = {
    " -pin          использовать указанный пароль ключевого контейнера\n",
    " -pin          use specified key container password\n",
};
constexpr TextPair kPass = {
    " пароль        пароль ключевого контейнера\n",
    " pass          key container password\n",
};
constexpr TextPair kPassword = {
    " пароль        пароль ключевого контейнера\n",
    " password      key container password\n",
};
constexpr TextPair kAskPin = {
    " -askpin       запросить пароль ключевого контейнера с консоли\n",
    " -askpin       querry key container password from console\n",
};
constexpr TextPair kNoCert = {
    " -nocert       не добавлять сертификат отправителя\n",
    " -nocert       do not add sender's certificate\n",
};
constexpr TextPair kCrl = {
    " -crl          добавить список отзыва сертификатов (CRL)\n",
    " -crl          add certificate revocation list\n",
};
constexpr TextPair kAuthAttr = {
    " -authattr     добавить подписываемый (аутентифицированный) атрибут\n",
    " -authattr     add signed (authenticated) attribute\n",
};
constexpr TextPair kAttr = {
    " -attr         добавить неподписываемый (неаутентифицированный) атрибут\n",
    " -attr         add unsigned (unauthenticated) attribute\n",
};
constexpr TextPair kAttribute = {
    " атрибут       \"<OID>,<файл с закодированным содержимым атрибута>\"\n"
    "               (пример: \"1.2.3,attr.bin\")\n",
    " attribute     \"<OID>,<file with the encoded content attribute>\"\n"
    "               (example: \"1.2.3,attr.bin\")\n",
};
constexpr TextPair kStampData = {
    " -sd           получить штамп времени на данные\n",
    " -sd           get time stamp on the content\n",
};
constexpr TextPair kStampSignature = {
    " -ss           получить штамп времени на подпись\n",
    " -ss           get time stamp on the signature\n",
};
constexpr TextPair kStampUrl = {
    " URL           адрес службы штампов времени (по умолчанию: из политики);\n"
    "               если указан лишь для одного из ключей -sd и -ss,\n"
    "               используется для обоих\n",
    " URL           time stamp service address (default: set by policy);\n"
    "               if specified for only one of -sd and -ss, used for both\n",
};
constexpr TextPair kNoStampCert = {
    " -nostampcert  штамп времени может не содержать сертификат службы\n",
    " -nostampcert  time stamp need not carry the authority's certificate\n",
};
constexpr TextPair kFileToSign = {
    " входной файл  файл, который нужно подписать\n",
    " input file    file to sign\n",
};
constexpr TextPair kNewSignedMessage = {
    " сообщение     файл для подписанного сообщения\n",
    " message       file for signed message\n",
};
constexpr TextPair kSignedMessage = {
    " сообщение     файл с подписанным сообщением\n",
    " message       file with signed message\n",
};
constexpr TextPair kVerAll = {
    " -verall       проверить все подписи\n",
    " -verall       verify all signatures\n",
};
constexpr TextPair kVerifyDataStamp = {
    " -sd           проверить штамп времени на данные\n",
    " -sd           verify time stamp on the content\n",
};
constexpr TextPair kVerifySignatureStamp = {
    " -ss           проверить штамп времени на подпись\n",
    " -ss           verify time stamp on the signature\n",
};
constexpr TextPair kStampAge = {
    " время         допустимый возраст штампа времени в часах\n"
    "               (по умолчанию: не ограничен)\n",
    " time          allowed age of time stamp in hours (default: not limited)\n",
};
constexpr TextPair kContentFile = {
    " выходной файл файл для содержимого сообщения\n",
    " output file   file for message content\n",
};
constexpr TextPair kHashDir = {
    " -dir          папка для файлов с хэшами (по умолчанию: ./)\n",
    " -dir          folder to put hash files into (default: ./)\n",
};
constexpr TextPair kVerifyHashDir = {
    " -dir          папка с файлами хэшей (по умолчанию: ./)\n",
    " -dir          folder of hash files (default: ./)\n",
};
constexpr TextPair kSignDir = {
    " -dir          папка для файлов подписей (по умолчанию: ./)\n",
    " -dir          folder to put signature files into (default: ./)\n",
};
constexpr TextPair kVerifySignDir = {
    " -dir          папка с файлами подписей (по умолчанию: ./)\n",
    " -dir          folder of signature files (default: ./)\n",
};
constexpr TextPair kFolder = {
    " папка         имя папки\n",
    " folder        folder name\n",
};
constexpr TextPair kProvType = {
    " -provtype     тип провайдера (по умолчанию: 75)\n",
    " -provtype     provider type (default: 75)\n",
};
constexpr TextPair kTypeNumber = {
    " N             номер типа провайдера\n",
    " N             provider type number\n",
};
constexpr TextPair kProvName = {
    " -provname     имя провайдера (по умолчанию: выбирается по типу)\n",
    " -provname     provider name (default: selected by type)\n",
};
constexpr TextPair kCsp = {
    " CSP           имя криптопровайдера\n",
    " CSP           cryptographic service provider name\n",
};
constexpr TextPair kMaskToHash = {
    " маска файлов  маска файлов, хэш которых нужно вычислить\n",
    " file mask     mask of files to hash\n",
};
constexpr TextPair kMaskToSign = {
    " маска файлов  маска файлов, которые нужно подписать\n",
    " file mask     mask of files to sign\n",
};
constexpr TextPair kSourceMask = {
    " маска файлов  маска исходных файлов\n",
    " file mask     mask of source files\n",
};
constexpr TextPair kCert = {
    " -cert         добавить сертификат отправителя в каждую подпись\n",
    " -cert         add sender's certificate to each signature\n",
};
constexpr TextPair kDestMachine = {
    " -dm           хранилище назначения компьютера (LOCAL_MACHINE)\n",
    " -dm           destination machine store (LOCAL_MACHINE)\n",
};
constexpr TextPair kDestUser = {
    " -du*          хранилище назначения пользователя (CURRENT_USER)\n",
    " -du*          destination user store (CURRENT_USER)\n",
};
constexpr TextPair kDestName = {
    " имя           имя хранилища назначения (по умолчанию: \"My\")\n",
    " name          destination store name (default: \"My\")\n",
};
constexpr TextPair kDestFile = {
    " -df           файл назначения, используемый как хранилище сертификатов\n",
    " -df           destination file used as certificate store\n",
};
constexpr TextPair kFile = {
    " файл          имя файла\n",
    " file          file name\n",
};
constexpr TextPair kCont = {
    " -cont         имя ключевого контейнера (по умолчанию: выбор из списка)\n",
    " -cont         key container name (default: select from list)\n",
};
constexpr TextPair kContainer = {
    " контейнер     имя контейнера\n",
    " container     container name\n",
};
constexpr TextPair kContainerName = {
    " имя           имя контейнера\n",
    " name          container name\n",
};
constexpr TextPair kUserKeys = {
    " -ku*          ключевой контейнер пользователя (CURRENT_USER)\n",
    " -ku*          user key container (CURRENT_USER)\n",
};
constexpr TextPair kMachineKeys = {
    " -km           ключевой контейнер компьютера (LOCAL_MACHINE)\n",
    " -km           machine key container (LOCAL_MACHINE)\n",
};
constexpr TextPair kExDefault = {
    " -ex*          использовать ключ обмена\n",
    " -ex*          use exchange key\n",
};
constexpr TextPair kEx = {
    " -ex           использовать ключ обмена\n",
    " -ex           use exchange key\n",
};
constexpr TextPair kSg = {
    " -sg           использовать ключ подписи\n",
    " -sg           use signature key\n",
};
constexpr TextPair kBoth = {
    " -both*        создать или использовать оба ключа\n",
    " -both*        create or use both keys\n",
};
constexpr TextPair kYes = {
    " -yes          подтвердить все вопросы\n",
    " -yes          confirm all questions\n",
};
constexpr TextPair kSubjectDn = {
    " -dn           имя субъекта запроса\n",
    " -dn           subject name of the request\n",
};
constexpr TextPair kSubjectRdn = {
    " RDN           <ИмяПоля1>=<Значение1>[,<ИмяПоля2>=<Значение2>...]\n",
    " RDN           <FieldName1>=<FieldValue1>[,<FieldName2>=<FieldValue2>...]\n",
};
constexpr TextPair kSmime = {
    " -SMIME        включить поддержку S/MIME\n",
    " -SMIME        enable S/MIME ability\n",
};
constexpr TextPair kNoKeyGen = {
    " -nokeygen     использовать существующие ключи контейнера\n",
    " -nokeygen     use existing keys of the container\n",
};
constexpr TextPair kExprt = {
    " -exprt        пометить ключи как экспортируемые\n",
    " -exprt        mark keys as exportable\n",
};
constexpr TextPair kSilent = {
    " -silent       создать ключ без участия интерфейса провайдера\n",
    " -silent       generate key without provider's user interface\n",
};
constexpr TextPair kCertUsage = {
    " -certusage    назначение сертификата (по умолчанию: 1.3.6.1.5.5.7.3.4)\n",
    " -certusage    certificate usage (default: 1.3.6.1.5.5.7.3.4)\n",
};
constexpr TextPair kOids = {
    " OIDs          список идентификаторов объектов через запятую\n",
    " OIDs          comma-separated object identifiers\n",
};
constexpr TextPair kExt = {
    " -ext          добавить расширение в запрос\n",
    " -ext          add extension to the request\n",
};
constexpr TextPair kExtension = {
    " расширение    файл с закодированным расширением\n",
    " extension     file with encoded extension\n",
};
constexpr TextPair kExtention = {
    " расширение    файл с закодированным расширением\n",
    " extention     file with encoded extension\n",
};
constexpr TextPair kRequestFile = {
    " имя файла     файл для запроса\n",
    " file name     file for the request\n",
};
constexpr TextPair kNoCsp = {
    " -noCSP        не сохранять сертификат в контейнере\n",
    " -noCSP        do not save certificate into the container\n",
};
constexpr TextPair kEnableInstallRoot = {
    " -enable-install-root разрешить установку корневого сертификата\n",
    " -enable-install-root allow to install root certificate\n",
};
constexpr TextPair kCertificateFile = {
    " имя файла     файл PKCS #7 или файл сертификата\n",
    " file name     PKCS #7 file or certificate file\n",
};
constexpr TextPair kCa = {
    " -CA           адрес центра сертификации, иначе используется\n"
    "               " KESTREL_DEFAULT_CA "\n",
    " -CA           certification authority address, otherwise use\n"
    "               " KESTREL_DEFAULT_CA "\n",
};
constexpr TextPair kFlca = {
    " -FLCA         адрес веб-интерфейса FLCA\n",
    " -FLCA         address of FLCA web interface\n",
};
constexpr TextPair kFlcaDefault = {
    " -FLCA         адрес веб-интерфейса FLCA, иначе используется\n"
    "               " KESTREL_DEFAULT_REGISTRATION "\n",
    " -FLCA         address of FLCA web interface, otherwise use\n"
    "               " KESTREL_DEFAULT_REGISTRATION "\n",
};
constexpr TextPair kUrlCa = {
    " URL ЦС        URL центра сертификации\n",
    " URL CA        URL of certification authority\n",
};
constexpr TextPair kToken = {
    " -token        задать идентификатор маркера\n",
    " -token        specify marker identifier\n",
};
constexpr TextPair kTokenId = {
    " ID маркера    идентификатор маркера\n",
    " token ID      token identifier\n",
};
constexpr TextPair kTPassword = {
    " -tpassword    задать пароль маркера\n",
    " -tpassword    specify marker password\n",
};
constexpr TextPair kCreatCertTPassword = {
    " -tpassword    задать пароль маркера\n",
    " -tpassword    speciry marker password\n",
};
constexpr TextPair kTokenPassword = {
    " пароль        пароль маркера\n",
    " password      token password\n",
};
constexpr TextPair kPinOrTokenPassword = {
    " пароль        пароль ключевого контейнера или маркера\n",
    " password      password of key container or token\n",
};
constexpr TextPair kThumbprintKey = {
    " -thumbprint   отпечаток сертификата для аутентификации\n",
    " -thumbprint   thumbprint of authentication certificate\n",
};
constexpr TextPair kThumbprint = {
    " отпечаток     отпечаток сертификата\n",
    " thumbprint    certificate thumbprint\n",
};
constexpr TextPair kWriteFileId = {
    " -FileID       записать идентификатор запроса в файл\n",
    " -FileID       write request ID to file\n",
};
constexpr TextPair kReadFileId = {
    " -FileID       прочитать идентификатор запроса из файла\n",
    " -FileID       read request ID from file\n",
};
constexpr TextPair kRequestIdFile = {
    " имя файла     файл идентификатора запроса\n",
    " file name     request ID file\n",
};
constexpr TextPair kField = {
    " -field        задать поле регистрационной формы\n",
    " -field        set field of registration form\n",
};
constexpr TextPair kFieldValue = {
    " ID поля = значение идентификатор поля (см. -listDN) и его значение\n",
    " field ID = value field ID (see -listDN) and its value\n",
};

// ---- synopses and the lines under them ---------------------------------------

constexpr const TextPair* kEncrLines[] = {&kCscRecipients, &kDer, &kFileToEncrypt,
                                          &kNewEncryptedMessage};
constexpr TextPair kEncrSynopsis = {
    " -encr <КПС> [-der] <входной файл> <сообщение>",
    " -encr <CSC> [-der] <input file> <message>",
};
constexpr const TextPair* kDecrLines[] = {
    &kCsc1Recipient, &kStart, &kPin, &kPass, &kAskPin, &kEncryptedMessage, &kDecryptedFile};
constexpr TextPair kDecrSynopsis = {
    " -decr <КПС1> [-start] [-pin <пароль>|-askpin] <сообщение> <выходной файл>",
    " -decr <CSC1> [-start] [-pin <pass>|-askpin] <message> <output file>",
};
constexpr const TextPair* kSignLines[] = {
    &kCsc1Signer,      &kNoCert,         &kCrl,      &kDer, &kAuthAttr, &kAttr,   &kAttribute,
    &kStampData,       &kStampSignature, &kStampUrl, &kPin, &kPassword, &kAskPin, &kFileToSign,
    &kNewSignedMessage};
constexpr TextPair kSignSynopsis = {
    " -sign <КПС1> [-nocert] [-crl] [-der] [-authattr <атрибут>]n раз\n"
    "   [-attr <атрибут>]k раз [-sd[<URL>]] [-ss[<URL>]]\n"
    "   [-pin <пароль>|-askpin] <входной файл> <сообщение>",
    " -sign <CSC1> [-nocert] [-crl] [-der] [-authattr <attribute>]n times\n"
    "   [-attr <attribute>]k times [-sd[<URL>]] [-ss[<URL>]]\n"
    "   [-pin <password>|-askpin] <input file> <message>",
};
constexpr const TextPair* kAddsignLines[] = {
    &kCsc1Signer, &kNoCert, &kCrl,      &kStampData, &kStampSignature, &kStampUrl,     &kPin,
    &kPassword,   &kAskPin, &kAuthAttr, &kAttr,      &kAttribute,      &kSignedMessage};
constexpr TextPair kAddsignSynopsis = {
    " -addsign <КПС1> [-nocert] [-crl] [-sd[<URL>]] [-ss[<URL>]]\n"
    "   [-pin <пароль>|-askpin] [-authattr <атрибут>]n раз\n"
    "   [-attr <атрибут>]k раз <сообщение>",
    " -addsign <CSC1> [-nocert] [-crl] [-sd[<URL>]] [-ss[<URL>]]\n"
    "   [-pin <password>|-askpin] [-authattr <attribute>]n count\n"
    "   [-attr <attribute>]k times <message>",
};
constexpr const TextPair* kDelsignLines[] = {&kCsc1DeleteSignature, &kSignedMessage};
constexpr TextPair kDelsignSynopsis = {
    " -delsign <КПС1> <сообщение>",
    " -delsign <CSC1> <message>",
};
constexpr const TextPair* kVerifyLines[] = {
    &kCscVerify, &kVerAll,        &kStart,      &kVerifyDataStamp, &kVerifySignatureStamp,
    &kStampAge,  &kSignedMessage, &kContentFile};
constexpr TextPair kVerifySynopsis = {
    " -verify [<КПС> [-verall]] [-start] [-sd[<время>]] [-ss[<время>]]\n"
    "   <сообщение> [<выходной файл>]",
    " -verify [<CSC> [-verall]] [-start] [-sd[<time>]] [-ss[<time>]]\n"
    "   <message> [<output file>]",
};
constexpr const TextPair* kHashLines[] = {&kHashDir,  &kFolder, &kProvType,  &kTypeNumber,
                                          &kProvName, &kCsp,    &kMaskToHash};
constexpr TextPair kHashSynopsis = {
    " -hash [-dir <папка>] [-provtype <N>] [-provname <CSP>] <маска файлов>",
    " -hash [-dir <folder>] [-provtype <N>] [-provname <CSP>] <file mask>",
};
constexpr const TextPair* kVhashLines[] = {&kVerifyHashDir, &kFolder, &kProvType,  &kTypeNumber,
                                           &kProvName,      &kCsp,    &kSourceMask};
constexpr TextPair kVhashSynopsis = {
    " -vhash [-dir <папка>] [-provtype <N>] [-provname <CSP>]\n"
    "   <маска файлов>",
    " -vhash [-dir <folder>] [-provtype <N>] [-provname <CSP>]\n"
    "   <file mask>",
};
constexpr const TextPair* kSignfLines[] = {
    &kSignDir,   &kFolder,         &kCsc1Signer, &kMaskToSign,  &kCert, &kCrl,      &kDer,
    &kStampData, &kStampSignature, &kStampUrl,   &kNoStampCert, &kPin,  &kPassword, &kAskPin};
constexpr TextPair kSignfSynopsis = {
    " -signf [-dir <папка>] <КПС1> <маска файлов> [-cert] [-crl] [-der]\n"
    "   [-sd[<URL>]] [-ss[<URL>]] [-nostampcert] [-pin <пароль>|-askpin]",
    " -signf [-dir <folder>] <CSC1> <file mask> [-cert] [-crl] [-der]\n"
    "   [-sd[<URL>]] [-ss[<URL>]] [-nostampcert] [-pin <password>|-askpin]",
};
constexpr const TextPair* kVsignfLines[] = {
    &kVerifySignDir, &kFolder,     &kVerifyDataStamp, &kVerifySignatureStamp,
    &kStampAge,      &kCscSigners, &kSourceMask};
constexpr TextPair kVsignfSynopsis = {
    " -vsignf [-dir <папка>] [-sd[<время>]] [-ss[<время>]] <КПС> <маска файлов>",
    " -vsignf [-dir <folder>] [-sd[<time>]] [-ss[<time>]] <CSC> <file mask>",
};
constexpr const TextPair* kCopycertLines[] = {&kCscCopy,  &kDestMachine, &kDestUser, &kDestName,
                                              &kDestFile, &kFile,        &kDer};
constexpr TextPair kCopycertSynopsis = {
    " -copycert <КПС> [-{dm|du}[<имя>]|-df <файл> [-der]]",
    " -copycert <CSC> [-{dm|du}[<name>]|-df <file> [-der]]",
};
constexpr const TextPair* kCSPcertLines[] = {
    &kProvType, &kTypeNumber,  &kProvName,  &kCsp, &kCont,        &kContainer,
    &kUserKeys, &kMachineKeys, &kExDefault, &kSg,  &kDestMachine, &kDestUser,
    &kDestName, &kDestFile,    &kFile,      &kDer};
constexpr TextPair kCSPcertSynopsis = {
    " -CSPcert [-provtype <N>] [-provname <CSP>] [-cont <контейнер>]\n"
    "   [-ku|-km] [-ex|-sg] [-{dm|du}[<имя>]|-df <файл> [-der]]",
    " -CSPcert [-provtype <N>] [-provname <CSP>] [-cont <container>]\n"
    "   [-ku|-km] [-ex|-sg] [-{dm|du}[<name>]|-df <file> [-der]]",
};
constexpr const TextPair* kDelcertLines[] = {&kCscDelete, &kYes};
constexpr TextPair kDelcertSynopsis = {
    " -delcert <КПС> [-yes]",
    " -delcert <CSC> [-yes]",
};
constexpr const TextPair* kCreatrqstLines[] = {
    &kSubjectDn, &kSubjectRdn,    &kProvType, &kTypeNumber, &kProvName,   &kCsp,      &kSmime,
    &kNoKeyGen,  &kExprt,         &kEx,       &kSg,         &kBoth,       &kUserKeys, &kMachineKeys,
    &kCont,      &kContainerName, &kSilent,   &kPin,        &kPassword,   &kAskPin,   &kCertUsage,
    &kOids,      &kDer,           &kExt,      &kExtension,  &kRequestFile};
constexpr TextPair kCreatrqstSynopsis = {
    " -creatrqst -dn <RDN> [-provtype <N>] [-provname <CSP>] [-SMIME]\n"
    "   [-nokeygen|-exprt] [-ex|-sg|-both] [-ku|-km] [-cont <имя>]\n"
    "   [-silent] [-pin <пароль>|-askpin] [-certusage <OIDs>] [-der]\n"
    "   [-ext <расширение>]n раз <имя файла>",
    " -creatrqst -dn <RDN> [-provtype <N>] [-provname <CSP>] [-SMIME]\n"
    "   [-nokeygen|-exprt] [-ex|-sg|-both] [-ku|-km] [-cont <name>]\n"
    "   [-silent] [-pin <password>|-askpin] [-certusage <OIDs>] [-der]\n"
    "   [-ext <extension>]n times <file name>",
};
constexpr const TextPair* kInstcertLines[] = {
    &kProvType,          &kTypeNumber,     &kProvName,    &kCsp,         &kCont,
    &kContainerName,     &kUserKeys,       &kMachineKeys, &kDestMachine, &kDestUser,
    &kDestName,          &kNoCsp,          &kPin,         &kPassword,    &kAskPin,
    &kEnableInstallRoot, &kCertificateFile};
constexpr TextPair kInstcertSynopsis = {
    " -instcert [-provtype <N>] [-provname <CSP>] [-cont <имя>] [-ku|-km]\n"
    "   [-{dm|du}[<имя>]] [-noCSP] [-pin <пароль>|-askpin] [-enable-install-root]\n"
    "   <имя файла>",
    " -instcert [-provtype <N>] [-provname <CSP>] [-cont <name>] [-ku|-km]\n"
    "   [-{dm|du}[<name>]] [-noCSP] [-pin <password>|-askpin] [-enable-install-root]\n"
    "   <file name>",
};
constexpr const TextPair* kCreatcertLines[] = {&kSubjectDn,
                                               &kSubjectRdn,
                                               &kProvType,
                                               &kTypeNumber,
                                               &kProvName,
                                               &kCsp,
                                               &kSmime,
                                               &kNoKeyGen,
                                               &kExprt,
                                               &kEx,
                                               &kSg,
                                               &kBoth,
                                               &kCont,
                                               &kContainerName,
                                               &kUserKeys,
                                               &kMachineKeys,
                                               &kCertUsage,
                                               &kOids,
                                               &kCa,
                                               &kFlca,
                                               &kUrlCa,
                                               &kToken,
                                               &kTokenId,
                                               &kCreatCertTPassword,
                                               &kPinOrTokenPassword,
                                               &kThumbprintKey,
                                               &kThumbprint,
                                               &kDestMachine,
                                               &kDestUser,
                                               &kDestName,
                                               &kNoCsp,
                                               &kSilent,
                                               &kPin,
                                               &kAskPin,
                                               &kWriteFileId,
                                               &kRequestIdFile,
                                               &kExt,
                                               &kExtention,
                                               &kEnableInstallRoot};
constexpr TextPair kCreatcertSynopsis = {
    " -creatcert -dn <RDN> [-provtype <N>] [-provname <CSP>] [-SMIME]\n"
    "   [-nokeygen|-exprt] [-{ex|sg|both}] [-cont <имя>] [-ku|-km]\n"
    "   [-certusage <OIDs>] [-CA <URL ЦС>] [-FLCA <URL ЦС>]\n"
    "   [-token <ID маркера>] [-tpassword <пароль>] [-thumbprint <отпечаток>]\n"
    "   [-{dm|du}[<имя>]] [-noCSP] [-silent] [-pin <пароль>|-askpin] \n"
    "   [-FileID <имя файла>] [-ext <расширение>]n раз [-enable-install-root]",
    " -creatcert -dn <RDN> [-provtype <N>] [-provname <CSP>] [-SMIME]\n"
    "   [-nokeygen|-exprt] [-{ex|sg|both}] [-cont <name>] [-ku|-km]\n"
    "   [-certusage <OIDs>] [-CA <URL CA>] [-FLCA <URL CA>]\n"
    "   [-token <token ID>] [-tpassword <password>] [-thumbprint <thumbprint>]\n"
    "   [-{dm|du}[<name>]] [-noCSP] [-silent] [-pin <password>|-askpin] \n"
    "   [-FileID <file name>] [-ext <extention>]n times [-enable-install-root]",
};
constexpr const TextPair* kPendcertLines[] = {&kProvType,
                                              &kTypeNumber,
                                              &kProvName,
                                              &kCsp,
                                              &kCont,
                                              &kContainerName,
                                              &kUserKeys,
                                              &kMachineKeys,
                                              &kCa,
                                              &kFlca,
                                              &kUrlCa,
                                              &kToken,
                                              &kTokenId,
                                              &kTPassword,
                                              &kPinOrTokenPassword,
                                              &kThumbprintKey,
                                              &kThumbprint,
                                              &kDestMachine,
                                              &kDestUser,
                                              &kDestName,
                                              &kNoCsp,
                                              &kReadFileId,
                                              &kRequestIdFile,
                                              &kPin,
                                              &kAskPin,
                                              &kEnableInstallRoot};
constexpr TextPair kPendcertSynopsis = {
    " -pendcert [-provtype <N>] [-provname <CSP>] [-cont <имя>] [-ku|-km]\n"
    "   [-CA <URL ЦС>] [-FLCA <URL ЦС>][-token <ID маркера>] [-tpassword <пароль>]\n"
    "   [-thumbprint <отпечаток>] [-{dm|du}[<имя>]] [-noCSP] [-FileID <имя файла>]\n"
    "   [-pin <пароль>|-askpin] [-enable-install-root]",
    " -pendcert [-provtype <N>] [-provname <CSP>] [-cont <name>] [-ku|-km]\n"
    "   [-CA <URL CA>] [-FLCA <URL CA>][-token <token ID>] [-tpassword <password>]\n"
    "   [-thumbprint <thumbprint>] [-{dm|du}[<name>]] [-noCSP] [-FileID <file name>]\n"
    "   [-pin <password>|-askpin] [-enable-install-root]",
};
constexpr const TextPair* kAddattrLines[] = {&kCsc1AddAttribute, &kAttr, &kAttribute,
                                             &kSignedMessage};
constexpr TextPair kAddattrSynopsis = {
    " -addattr <КПС1> [-attr <атрибут>]n раз <сообщение>",
    " -addattr <CSC1> [-attr <attribute>]n times <message>",
};
constexpr const TextPair* kCreatuserLines[] = {&kFlcaDefault, &kUrlCa, &kField, &kFieldValue};
constexpr TextPair kCreatuserSynopsis = {
    " -creatuser [-FLCA <URL ЦС>] [-field <ID поля = значение>]n раз",
    " -creatuser [-FLCA <URL CA>] [-field <field ID = value>] times",
};
constexpr const TextPair* kListDNLines[] = {&kFlcaDefault, &kUrlCa};
constexpr TextPair kListDNSynopsis = {
    " -listDN [-FLCA <URL ЦС>]",
    " -listDN [-FLCA <URL CA>]",
};
constexpr const TextPair* kCheckregLines[] = {&kToken,         &kTokenId,     &kTPassword,
                                              &kTokenPassword, &kFlcaDefault, &kUrlCa};
constexpr TextPair kCheckregSynopsis = {
    " -checkreg -token <ID маркера> -tpassword <пароль> [-FLCA <URL ЦС>]",
    " -checkreg -token <token ID> -tpassword <password> [-FLCA <URL CA>]",
};

}  // namespace

constexpr Usage kEncrUsage = {kEncrSynopsis, kEncrLines};
constexpr Usage kDecrUsage = {kDecrSynopsis, kDecrLines};
constexpr Usage kSignUsage = {kSignSynopsis, kSignLines};
constexpr Usage kAddsignUsage = {kAddsignSynopsis, kAddsignLines};
constexpr Usage kDelsignUsage = {kDelsignSynopsis, kDelsignLines};
constexpr Usage kVerifyUsage = {kVerifySynopsis, kVerifyLines};
constexpr Usage kHashUsage = {kHashSynopsis, kHashLines};
constexpr Usage kVhashUsage = {kVhashSynopsis, kVhashLines};
constexpr Usage kSignfUsage = {kSignfSynopsis, kSignfLines};
constexpr Usage kVsignfUsage = {kVsignfSynopsis, kVsignfLines};
constexpr Usage kCopycertUsage = {kCopycertSynopsis, kCopycertLines};
constexpr Usage kCSPcertUsage = {kCSPcertSynopsis, kCSPcertLines};
constexpr Usage kDelcertUsage = {kDelcertSynopsis, kDelcertLines};
constexpr Usage kCreatrqstUsage = {kCreatrqstSynopsis, kCreatrqstLines};
constexpr Usage kInstcertUsage = {kInstcertSynopsis, kInstcertLines};
constexpr Usage kCreatcertUsage = {kCreatcertSynopsis, kCreatcertLines};
constexpr Usage kPendcertUsage = {kPendcertSynopsis, kPendcertLines};
constexpr Usage kAddattrUsage = {kAddattrSynopsis, kAddattrLines};
constexpr Usage kCreatuserUsage = {kCreatuserSynopsis, kCreatuserLines};
constexpr Usage kListDNUsage = {kListDNSynopsis, kListDNLines};
constexpr Usage kCheckregUsage = {kCheckregSynopsis, kCheckregLines};

}  // namespace kestrel
