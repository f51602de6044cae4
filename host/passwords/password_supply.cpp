#include "host/passwords/password_supply.h"

#include "host/printer/status_words.h"
#include "host/text/text.h"

namespace zrtmon::host {
namespace {

constexpr unsigned kMostEntries = 3;
// The monitor removes a password that it has presented, and publishes right afterwards that none is needed.
// In between the printer seems to need another.
constexpr unsigned kSettledPolls = 3;

// The monitor looks once a second whether the printer is validated.
constexpr DWORD kSentMs = 3000;

constexpr wchar_t kValueName[] = L"Password";

} // namespace

CPasswordSupply::~CPasswordSupply() { TakeBack(); }

void CPasswordSupply::StartOver()
{
    TakeBack();
    m_polls = 0;
    m_entries = 0;
    m_isRefused = false;
}

void CPasswordSupply::TakeBack()
{
    if (m_isStored) {
        m_printer.RemoveValue(kValueName);
    }
    m_isStored = false;
    m_isGiven = false;
}

bool CPasswordSupply::Poll(const CPublishedValues& published, const std::function<bool()>& stop)
{
    if (m_isRefused || !IsWanted(published)) {
        return true;
    }
    ReportRefusal();
    if (m_isRefused) {
        return true;
    }
    CSecret password;
    const std::string label = "password for " + Printable(m_printer.Name());
    const CPasswordEntry entry = m_reader.Read(label, kLongestPassword, password, stop);
    m_isGiven = false;
    m_entries += entry.end == PasswordEnd::Stopped ? 0 : 1;
    if (entry.end == PasswordEnd::Given) {
        Give(password);
    } else if (entry.end == PasswordEnd::Unfit) {
        m_console.Message(entry.problem, Tone::Warning);
    }
    return entry.end != PasswordEnd::EndOfInput;
}

bool CPasswordSupply::IsWanted(const CPublishedValues& published)
{
    m_isStored = m_isStored && m_printer.HasValue(kValueName);
    const bool isSettling = m_isSent && GetTickCount() - m_sentTick < kSentMs;
    const bool isWanted = published.printerError == kPasswordCategory && !m_isStored && !isSettling;
    m_polls = isWanted ? m_polls + 1 : 0;
    return m_polls >= kSettledPolls;
}

void CPasswordSupply::ReportRefusal()
{
    if (m_isGiven) {
        m_console.Message("the printer does not accept the password", Tone::Warning);
    }
    m_isRefused = m_entries == kMostEntries;
    if (m_isRefused) {
        m_console.Message("three wrong passwords: not asking again; the job stays held", Tone::Warning);
    }
}

void CPasswordSupply::Give(CSecret& password)
{
    const std::span<const char> withEnd(password.Data(), password.Text().size() + 1);
    const CStoreResult stored = m_printer.StoreValue(kValueName, REG_BINARY, withEnd);
    m_isGiven = stored.error == ERROR_SUCCESS;
    m_isStored = m_isGiven;
    m_isSent = false;
    if (m_isGiven) {
        m_console.Message("password stored for the monitor to send");
    } else if (stored.error == ERROR_ACCESS_DENIED) {
        Send(password);
    } else {
        m_console.Message("cannot store the password in the printer's data: " + StoreProblem(stored),
                          Tone::Bad);
    }
}

/// What the right to print is enough for. The monitor does not remember an entry that came this way.
void CPasswordSupply::Send(CSecret& password)
{
    const CQueryResult result = m_printer.SendPasswords("Password", {password.Text()});
    m_isGiven = result.answered;
    m_isSent = m_isGiven;
    m_sentTick = GetTickCount();
    if (!m_isGiven) {
        m_console.Message("cannot send the password: " + QueryProblem(m_printer, result), Tone::Bad);
        return;
    }
    m_console.Message(m_isTold
                          ? "password sent"
                          : "password sent; without the right to administer the printer it cannot be stored, "
                            "and a policy's delay does not count it");
    m_isTold = true;
}

} // namespace zrtmon::host
