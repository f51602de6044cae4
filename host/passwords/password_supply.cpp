#include "host/passwords/password_supply.h"

#include "host/printer/status_words.h"
#include "host/text/text.h"

namespace zrtmon::host {
namespace {

constexpr unsigned kMostEntries = 3;
// The monitor removes a password that it has presented and publishes that none is wanted right after. In
// between the printer seems to want another.
constexpr unsigned kSettledPolls = 3;

wchar_t* ValueName()
{
    static wchar_t name[] = L"Password";
    return name;
}

bool IsStored(HANDLE printer)
{
    DWORD size = 0;
    const DWORD error = GetPrinterDataW(printer, ValueName(), nullptr, nullptr, 0, &size);
    return error == ERROR_SUCCESS || error == ERROR_MORE_DATA;
}

} // namespace

CPasswordSupply::~CPasswordSupply()
{
    if (m_isGiven) {
        DeletePrinterDataW(m_session.Printer(), ValueName());
    }
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
    const std::string label = "password for " + Printable(Utf8FromWide(m_session.PrinterName()));
    const CPasswordEntry entry = m_reader.Read(label, kLongestPassword, password, stop);
    m_isGiven = false;
    m_entries += entry.end == PasswordEnd::Stopped ? 0 : 1;
    if (entry.end == PasswordEnd::Given) {
        Store(password);
    } else if (entry.end == PasswordEnd::Unfit) {
        m_console.Message(entry.problem, Tone::Warning);
    }
    return entry.end != PasswordEnd::EndOfInput;
}

bool CPasswordSupply::IsWanted(const CPublishedValues& published)
{
    const bool isWanted =
        published.printerError == kPasswordCategory && !(m_isGiven && IsStored(m_session.Printer()));
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
        m_console.Message("no more passwords are asked for: the job stays held", Tone::Warning);
    }
}

void CPasswordSupply::Store(CSecret& password)
{
    const auto size = static_cast<DWORD>(password.Text().size() + 1);
    const DWORD error = SetPrinterDataW(m_session.Printer(), ValueName(), REG_BINARY,
                                        reinterpret_cast<LPBYTE>(password.Data()), size);
    m_isGiven = error == ERROR_SUCCESS;
    m_console.Message(m_isGiven ? "the password goes to the printer"
                                : "the spooler does not keep the password: " + PortErrorWords(error),
                      m_isGiven ? Tone::Plain : Tone::Bad);
}

} // namespace zrtmon::host
