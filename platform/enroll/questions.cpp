// Questions on the terminal.
#include "platform/enroll/questions.h"

#include <cstdio>

#include "platform/base/descriptor.h"
#include "platform/base/error.h"
#include "platform/base/language.h"
#include "platform/certs/compare.h"
#include "platform/certs/names.h"
#include "platform/console/hidden_line.h"
#include "platform/console/terminal.h"
#include "platform/providers/algorithms.h"
#include "platform/registry/registry.h"

namespace platform {
namespace {

struct Texts {
    const char* newPassword;
    const char* again;
    const char* differ;
    const char* trustRoot;
    const char* thumbprint;
    const char* yesOrNo;
};
constexpr Texts kEnglish = {
    "Password of the new key (empty: none): ", "Once more: ",          "The passwords differ.\n",
    "Trust this root certificate?\n",          "SHA-256 thumbprint: ", "(y/n)? "};
constexpr Texts kRussian = {
    "Пароль нового ключа (пустой: без пароля): ", "Ещё раз: ",           "Пароли не совпадают.\n",
    "Доверять этому корневому сертификату?\n",    "Отпечаток SHA-256: ", "(y/n)? "};
constexpr int kTries = 3;
constexpr int kEscape = 27;

enum class InstallRoots : DWORD { Never = 0, Ask = 1, Always = 2 };

const Texts& ForUser() { return RussianUser() ? kRussian : kEnglish; }

Secret AskLine(const char* prompt) {
    auto line = AskHiddenLine(prompt);
    if (!line) throw Error(SCARD_W_CANCELLED_BY_USER);
    return *std::move(line);
}

// A terminal that cannot be written to still takes the answer.
void Show(const std::string& text) { static_cast<void>(WriteAll(KeyTerminal(), ViewOf(text))); }

// Anything but a clear yes or no is asked again; the end of input is a no.
bool ReadYes() {
    const RawKeys raw(KeyTerminal());
    for (;;) {
        const int key = ReadByte(KeyTerminal());
        if (key == 'y' || key == 'Y') return true;
        const bool end = key < 0 || key == kEscape || key == raw.EndOfInput();
        if (end || key == 'n' || key == 'N') return false;
    }
}

InstallRoots Policy() {
    const auto value = ReadMachineDword("Software\\Kestrel\\Platform", "InstallRoots");
    if (!value || *value > static_cast<DWORD>(InstallRoots::Always)) return InstallRoots::Ask;
    return static_cast<InstallRoots>(*value);
}

std::string Thumbprint(const Certificate& certificate) {
    return Hex(DigestOf(oid::kSha256, certificate.Der()));
}

bool AskToTrust(const Certificate& root) {
    std::fflush(stdout);
    const Texts& texts = ForUser();
    Show(texts.trustRoot + NameToText(ViewOf(root.Info().Subject), CERT_X500_NAME_STR) + "\n" +
         texts.thumbprint + Thumbprint(root) + "\n" + texts.yesOrNo);
    const bool yes = ReadYes();
    Show(yes ? "y\n" : "n\n");
    return yes;
}

}  // namespace

Secret AskNewPassword(bool silent) {
    if (silent || KeyTerminal() < 0) return {};
    for (int left = kTries; left > 0; --left) {
        Secret password = AskLine(ForUser().newPassword);
        if (password.Empty()) return password;
        if (Equal(password.View(), AskLine(ForUser().again).View())) return password;
        Show(ForUser().differ);
    }
    throw Error(SCARD_W_CANCELLED_BY_USER);
}

bool MayTrust(const Certificate& root, bool silent) {
    const InstallRoots policy = Policy();
    if (policy != InstallRoots::Ask) return policy == InstallRoots::Always;
    return !silent && KeyTerminal() >= 0 && AskToTrust(root);
}

}  // namespace platform
