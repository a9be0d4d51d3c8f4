// The catalogue of the report.
#include "kestrelctl/message/report_texts.h"

#include <algorithm>
#include <iterator>

namespace kestrelctl::message {
namespace {

constexpr struct {
    Text text;
    const char* english;
    const char* russian;
} kTexts[] = {
    // clang-format off
    {Text::Title, "Verdict on a message", "Заключение о сообщении"},
    {Text::Good, "Good", "Подтверждено"},
    {Text::Indeterminate, "Indeterminate", "Не установлено"},
    {Text::Bad, "Bad", "Отвергнуто"},
    {Text::None, "Nothing to check", "Проверять нечего"},
    {Text::Signature, "Signature", "Подпись"},
    {Text::Certificate, "Certificate", "Сертификат"},
    {Text::Fitness, "Fit for signing", "Назначение ключа"},
    {Text::Chain, "Chain", "Цепочка"},
    {Text::Stamps, "Time stamps", "Штампы времени"},
    {Text::Countersignatures, "Countersignatures", "Заверяющие подписи"},
    {Text::Strength, "Strength", "Стойкость"},
    {Text::File, "File", "Файл"},
    {Text::ContentFile, "Signed content", "Подписанное содержимое"},
    {Text::Inside, "inside the message", "внутри сообщения"},
    {Text::Kind, "Kind and form", "Вид и форма"},
    {Text::Size, "Size of the content, bytes", "Размер содержимого, байт"},
    {Text::JudgedAt, "Judged as of", "Проверено на"},
    {Text::Offline, "without the network", "без сети"},
    {Text::Demanded, "Demanded signers", "Требуемые подписи"},
    {Text::Signer, "Signer", "Подпись"},
    {Text::Nobody, "not found", "не найден"},
    {Text::Subject, "Subject", "Владелец"},
    {Text::Issuer, "Issuer", "Издатель"},
    {Text::Serial, "Serial number", "Серийный номер"},
    {Text::Valid, "Valid", "Действителен"},
    {Text::Thumbprint, "SHA-256 of the certificate", "SHA-256 сертификата"},
    {Text::Identified, "Identified by", "Установлен по"},
    {Text::ByNames, "issuer and serial number, and the key", "издателю, номеру и ключу"},
    {Text::ByKey, "key identifier, and the key", "идентификатору ключа и ключу"},
    {Text::Whole, "; the signature names this very certificate",
     "; подпись называет именно этот сертификат"},
    {Text::OfSeveral, "; several certificates have these names",
     "; такие имена у нескольких сертификатов"},
    {Text::Algorithms, "Algorithms", "Алгоритмы"},
    {Text::SigningTime, "Time that the signer claims", "Время со слов подписавшего"},
    {Text::TimeThatCounts, "Time that counts", "Учитываемое время"},
    {Text::FromStamp, "proven by a time stamp", "доказано штампом времени"},
    {Text::FromNow, "now: no stamp proves an earlier one",
     "текущее: более раннего ни один штамп не доказывает"},
    {Text::FromOption, "as asked for", "задано при проверке"},
    {Text::Findings, "Findings", "Замечания"},
    {Text::Countersigned, "Countersignature", "Заверяющая подпись"},
    {Text::Stamp, "Time stamp", "Штамп времени"},
    {Text::OfContent, "over the content", "на содержимое"},
    {Text::OfSignature, "over the signature", "на подпись"},
    {Text::OfToken, "in a file of its own", "отдельным файлом"},
    {Text::StampTime, "Time", "Время"},
    {Text::Policy, "Policy", "Политика"},
    {Text::Service, "Service", "Служба"},
    {Text::ChainAt, "Chain as of", "Цепочка на"},
    {Text::IssuerMissing, "issuer not found", "издатель не найден"},
    {Text::Root, "root", "корень"},
    {Text::Trusted, "trusted", "есть доверие"},
    {Text::NotTrusted, "not trusted", "доверия нет"},
    {Text::NotRevoked, "not revoked", "не отозван"},
    {Text::Revoked, "revoked", "отозван"},
    {Text::NotTold, "revocation unknown", "отзыв неизвестен"},
    {Text::NotAsked, "revocation not asked", "отзыв не проверялся"},
    {Text::ToldBy, "told by", "источник"},
    {Text::InStores, "a list in the stores", "список в хранилищах"},
    {Text::Foot, "Made by kestrelctl message verify. The same as JSON: --json.",
     "Составлено командой kestrelctl message verify. То же в виде JSON: --json."},
    // clang-format on
};

}  // namespace

const char* Of(Text text, bool russian) {
    const auto* row =
        std::ranges::find_if(kTexts, [&](const auto& one) { return one.text == text; });
    return russian ? row->russian : row->english;
}

const char* Of(Verdict verdict, bool russian) {
    constexpr Text kVerdicts[] = {Text::Good, Text::Indeterminate, Text::Bad};
    return Of(kVerdicts[static_cast<std::size_t>(verdict)], russian);
}

const char* Of(Check check, bool russian) {
    constexpr Text kOfChecks[] = {
        Text::File,  Text::Signature, Text::Certificate,       Text::Fitness,
        Text::Chain, Text::Stamps,    Text::Countersignatures, Text::Strength};
    return Of(kOfChecks[static_cast<std::size_t>(check)], russian);
}

}  // namespace kestrelctl::message
