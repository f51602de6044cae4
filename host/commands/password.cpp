#include <algorithm>
#include <memory>

#include "host/commands/commands.h"
#include "host/passwords/password_reader.h"
#include "host/session/query.h"

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

/// The printer of one command, and the person who knows its passwords.
class CPasswordDialog {
public:
    CPasswordDialog(const CSessionOptions& options, const CHostEnvironment& environment, CConsole& console)
        : m_session(options, environment), m_environment(environment), m_console(console),
          m_reader(environment, console)
    {
    }

    CConsole& Console() { return m_console; }

    CSecurityState State()
    {
        const std::string answer = QueryOrThrow(m_session.Table(), m_session.Port(), "SecurityInfo");
        return {IsSet(answer, "Password"), IsSet(answer, "Validation")};
    }

    void Send(const std::string& name, std::initializer_list<std::string_view> passwords)
    {
        StopWhenInterrupted(m_environment);
        SendPasswords(m_session.Table(), m_session.Port(), name, passwords);
    }

    /// Whether the printer is validated by the password. Only a printer whose protection is on can tell.
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
            throw CHostError(ExitStatus::NoPermission, label + ": standard input has ended");
        case PasswordEnd::Stopped:
            break;
        }
        throw CHostError(ExitStatus::Interrupted, "interrupted");
    }

    /// A person who types cannot see what, and is asked twice.
    void ReadNew(CSecret& password)
    {
        Read("new password", kLongestNewPassword, password);
        if (!m_reader.IsTyped()) {
            return;
        }
        CSecret again;
        Read("new password again", kLongestNewPassword, again);
        if (again.Text() != password.Text()) {
            throw CHostError(ExitStatus::BadData, "the new password was not typed the same way twice");
        }
    }

private:
    CSpoolerSession m_session;
    const CHostEnvironment& m_environment;
    CConsole& m_console;
    CPasswordReader m_reader;
};

/// What one action asks for and sends.
struct CPasswordAction {
    const char* command;
    const char* help;
    void (*run)(CPasswordDialog& dialog, const CPasswordAction& action);
    const char* valueName;
    bool protects;    ///< of the switches: what the protection is to be
    const char* done; ///< what is then told
};

/// The printer fills passwords up with '0': these two are one to it.
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
            "the password protection is off: the printer does not tell whether a password is right");
    }
    CSecret password;
    dialog.Read("password", kLongestPassword, password);
    if (!dialog.Accepts(password)) {
        throw CHostError(ExitStatus::NoPermission, "the printer does not accept the password");
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
                         "the printer does not accept the administrator's password");
    }
    dialog.Console().Message(action.done, Tone::Good);
}

/// Sets a new password. The printer answers nothing: with the protection on, what came of it is learnt by
/// presenting the passwords. As the new one travels in clear, a wrong current one is found before it is sent.
void Set(CPasswordDialog& dialog, const CPasswordAction& action)
{
    const bool isProtected = dialog.State().isProtected;
    CSecret current;
    CSecret fresh;
    dialog.Read("current password", kLongestPassword, current);
    dialog.ReadNew(fresh);
    if (AreSame(current.Text(), fresh.Text())) {
        throw CHostError(ExitStatus::BadData, "the new password is the current one");
    }
    if (isProtected && !dialog.Accepts(current)) {
        throw CHostError(ExitStatus::NoPermission, "the printer does not accept the current password");
    }
    dialog.Send(action.valueName, {current.Text(), fresh.Text()});
    if (!isProtected) {
        dialog.Console().Message(
            "the new password was sent; the printer tells whether it took it only while its "
            "password protection is on",
            Tone::Warning);
        return;
    }
    if (!dialog.Accepts(fresh)) {
        throw CHostError(ExitStatus::NoPermission,
                         "the printer did not take the new password: the current one may not set it");
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
    {"check", "Present a password and tell whether the printer accepts it", Check, "Password", false,
     "the printer accepts the password"},
};

} // namespace

CCommand PasswordCommand()
{
    CCommand command{.name = "password",
                     .help =
                         "Set and check the printer's passwords, which are typed or stand on standard input"};
    for (const CPasswordAction& action : kActions) {
        const auto session = std::make_shared<CSessionOptions>();
        command.parts.push_back({.name = action.command,
                                 .help = action.help,
                                 .options = WithSessionOptions({}, *session),
                                 .run =
                                     [session, &action](CHostEnvironment& environment, CConsole& console) {
                                         CPasswordDialog dialog(*session, environment, console);
                                         action.run(dialog, action);
                                         return ExitStatus::Done;
                                     },
                                 .hidesExtraArguments = true});
    }
    return command;
}

} // namespace zrtmon::host
