#include <algorithm>
#include <memory>

#include "host/commands/commands.h"
#include "host/passwords/password_reader.h"

namespace zrtmon::host {
namespace {

struct CSecurityState {
    bool isProtected;
    bool isValidated;
};

bool IsSet(std::string_view answer, const std::string& field)
{
    return (";" + std::string(answer)).find(';' + field + "=1") != std::string::npos;
}

/// One command's conversation with the printer and with the user, who knows its passwords.
class CPasswordDialog {
public:
    CPasswordDialog(const CPrinterChoice& choice, const CHostEnvironment& environment, CConsole& console)
        : m_printer(OpenPrinter(choice, environment)), m_environment(environment), m_console(console),
          m_reader(environment, console)
    {
    }

    CConsole& Console() { return m_console; }

    CSecurityState State()
    {
        const std::string answer = QueryAfreshOrThrow(*m_printer, "SecurityInfo");
        return {IsSet(answer, "Password"), IsSet(answer, "Validation")};
    }

    void Send(const std::string& name, std::initializer_list<std::string_view> passwords)
    {
        StopWhenInterrupted(m_environment);
        const CQueryResult result = m_printer->SendPasswords(name, passwords);
        if (!result.answered) {
            throw CHostError(QueryStatus(result.error), name + ": " + QueryProblem(*m_printer, result));
        }
    }

    /// Whether the password validates the printer. Meaningful only while its protection is on.
    bool Accepts(const CSecret& password)
    {
        Send("Password", {password.Text()});
        return State().isValidated;
    }

    void Read(const std::string& label, size_t longest, CSecret& password)
    {
        const CPasswordEntry entry =
            m_reader.Read(label, longest, password, [this] { return m_environment.wasInterrupted(); });
        switch (entry.end) {
        case PasswordEnd::Given:
            return;
        case PasswordEnd::Unfit:
            throw CHostError(ExitStatus::BadData, entry.problem);
        case PasswordEnd::EndOfInput:
            throw CHostError(ExitStatus::NoPermission, label + ": no more passwords on standard input");
        case PasswordEnd::Stopped:
            break;
        }
        throw CHostError(ExitStatus::Interrupted, "interrupted");
    }

    /// Typed text is not shown, so a new password is asked for twice.
    void ReadNew(CSecret& password)
    {
        Read("new password", kLongestNewPassword, password);
        if (!m_reader.IsTyped()) {
            return;
        }
        CSecret again;
        Read("new password again", kLongestNewPassword, again);
        if (again.Text() != password.Text()) {
            throw CHostError(ExitStatus::BadData, "the two entries of the new password differ");
        }
    }

private:
    std::unique_ptr<IPrinter> m_printer;
    const CHostEnvironment& m_environment;
    CConsole& m_console;
    CPasswordReader m_reader;
};

/// An action of the command.
struct CPasswordAction {
    const char* command;
    const char* help;
    void (*run)(CPasswordDialog& dialog, const CPasswordAction& action);
    const char* valueName;
    bool protects;    ///< state of the protection after a switch
    const char* done; ///< message on success
};

/// Whether the printer, which pads passwords with '0', regards the two as the same.
bool AreSame(std::string_view left, std::string_view right)
{
    constexpr size_t kSize = 16;
    const auto at = [](std::string_view text, size_t index) {
        return index < text.size() ? text[index] : '0';
    };
    for (size_t index = 0; index < kSize; ++index) {
        if (at(left, index) != at(right, index)) {
            return false;
        }
    }
    return true;
}

void Check(CPasswordDialog& dialog, const CPasswordAction& action)
{
    if (!dialog.State().isProtected) {
        throw CHostError(
            ExitStatus::PrinterError,
            "cannot check the password: the printer only does so while its password protection is on");
    }
    CSecret password;
    dialog.Read("password", kLongestPassword, password);
    if (!dialog.Accepts(password)) {
        throw CHostError(ExitStatus::NoPermission, "wrong password: the printer does not accept it");
    }
    dialog.Console().Message(action.done, Tone::Good);
}

/// Turns the protection on or off.
void Switch(CPasswordDialog& dialog, const CPasswordAction& action)
{
    if (dialog.State().isProtected == action.protects) {
        dialog.Console().Message(std::string(action.done) + " already");
        return;
    }
    CSecret password;
    dialog.Read("administrator's password", kLongestPassword, password);
    dialog.Send(action.valueName, {password.Text()});
    if (dialog.State().isProtected != action.protects) {
        throw CHostError(ExitStatus::NoPermission,
                         "wrong administrator's password: the printer does not accept it");
    }
    dialog.Console().Message(action.done, Tone::Good);
}

/// Sets a new password. The printer does not reply: with the protection on, the result shows by presenting
/// the passwords. The new one is sent in clear text, so the current one is checked first.
void Set(CPasswordDialog& dialog, const CPasswordAction& action)
{
    const bool isProtected = dialog.State().isProtected;
    CSecret current;
    CSecret fresh;
    dialog.Read("current password", kLongestPassword, current);
    dialog.ReadNew(fresh);
    if (AreSame(current.Text(), fresh.Text())) {
        throw CHostError(ExitStatus::BadData, "the new password is the same as the current one");
    }
    if (isProtected && !dialog.Accepts(current)) {
        throw CHostError(ExitStatus::NoPermission, "wrong current password: the printer does not accept it");
    }
    dialog.Send(action.valueName, {current.Text(), fresh.Text()});
    if (!isProtected) {
        dialog.Console().Message("new password sent; cannot check whether the printer accepted it, because "
                                 "its password protection is off",
                                 Tone::Warning);
        return;
    }
    if (!dialog.Accepts(fresh)) {
        throw CHostError(
            ExitStatus::NoPermission,
            "the printer rejected the new password: the current password is not allowed to change it");
    }
    dialog.Console().Message(action.done, Tone::Good);
}

constexpr CPasswordAction kActions[] = {
    {"set-admin", "Set the administrator's password", Set, "SetAdminPassword", false,
     "the administrator's password is set"},
    {"set-user", "Set the user's password", Set, "SetUserPassword", false, "the user's password is set"},
    {"enable", "Turn the password protection on", Switch, "EnablePassword", true,
     "the password protection is on"},
    {"disable", "Turn the password protection off", Switch, "DisablePassword", false,
     "the password protection is off"},
    {"check", "Check whether the printer accepts a password", Check, "Password", false,
     "the printer accepts the password"},
};

} // namespace

CCommand PasswordCommand()
{
    CCommand command{.name = "password",
                     .help = "Set and check the printer's passwords, typed or read from standard input",
                     .hidesExtraArguments = true};
    for (const CPasswordAction& action : kActions) {
        const auto choice = std::make_shared<CPrinterChoice>();
        command.parts.push_back({.name = action.command,
                                 .help = action.help,
                                 .options = WithPrinterOptions({}, *choice),
                                 .run =
                                     [choice, &action](CHostEnvironment& environment, CConsole& console) {
                                         CPasswordDialog dialog(*choice, environment, console);
                                         action.run(dialog, action);
                                         return ExitStatus::Done;
                                     },
                                 .hidesExtraArguments = true});
    }
    command.parts.push_back(PasswordSupplyCommand());
    return command;
}

} // namespace zrtmon::host
