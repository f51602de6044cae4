#include "security/monitor_security.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

#include "link/exchange_hold.h"
#include "monitor/port_record.h"
#include "platform/wipe.h"
#include "requests/data.h"
#include "requests/printer_data.h"

namespace zrtmon {

namespace {

constexpr DWORD kGatePauseMs = 1000;
constexpr int kPasswordWanted = 100;
constexpr int kNoError = 1;
constexpr size_t kLongestPassword = 254;
constexpr const wchar_t* kErrorValue = L"PrinterError";
constexpr const wchar_t* kPasswordValue = L"Password";
constexpr const wchar_t* kConfigurationValue = L"ConfigurationFile";

/// A stored value as wide text: it may lack its terminator, and may end in the middle of a character.
std::wstring WideValue(const char* bytes, size_t size)
{
    std::wstring text(size / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), bytes, text.size() * sizeof(wchar_t));
    text.resize(std::min(text.find(L'\0'), text.size()));
    return text;
}

/// The wide form of 8-bit text, which CPassword turns back: each byte is the character of its value.
std::wstring PasswordRequest(const char* password)
{
    std::wstring text = L"/";
    text.reserve(1 + kLongestPassword);
    for (size_t index = 0; index < kLongestPassword && password[index]; ++index) {
        text.push_back(static_cast<unsigned char>(password[index]));
    }
    return text;
}

} // namespace

BOOL CMonitorSecurity::StartDoc(PortRecord* port)
{
    if (!CMonitor::StartDoc(port)) {
        return FALSE;
    }
    CPrinterData reader;
    const char* value = reader.ReadValue(GetJobPrinterName(port), kConfigurationValue);
    if (!value) {
        m_config.reset();
        return TRUE;
    }
    try {
        const std::wstring path = WideValue(value, reader.GetValueSize());
        if (!m_config) {
            m_config = std::make_unique<CConfigPassword>();
        }
        if (!m_config->Load(path.c_str())) {
            m_config.reset();
        }
    } catch (const std::bad_alloc&) {
        return Fail(ERROR_NOT_ENOUGH_MEMORY);
    }
    return TRUE;
}

BOOL CMonitorSecurity::Write(PortRecord* port, const uint8_t* data, DWORD size, DWORD* written)
{
    *written = 0;
    if (!Model().IsJobAtCheckpoint()) {
        m_isDecided = false;
    } else if (!m_isDecided) {
        BOOL proceed = TRUE;
        CheckPassword(port, &proceed);
        if (!proceed) {
            return TRUE;
        }
        m_isDecided = true;
    }
    return CMonitor::Write(port, data, size, written);
}

BOOL CMonitorSecurity::ReadSecurityState(PortRecord* port, SecurityState& state)
{
    CData* request = Model().GetRequest(SecurityInfo);
    if (!request) {
        return FALSE;
    }
    const ExchangeHold exchange(ExchangeMutex());
    if (!exchange || !RunAtBorder(port, request)) {
        return FALSE;
    }
    int protection = 0;
    if (!request->GetIntField("Password", protection)) {
        return FALSE;
    }
    int validation = 0;
    if (protection != 0 && !request->GetIntField("Validation", validation)) {
        return FALSE;
    }
    state = {protection != 0, validation > 0};
    return TRUE;
}

BOOL CMonitorSecurity::QuerySecurity(PortRecord* port, BOOL* mayPrint)
{
    *mayPrint = TRUE;
    SecurityState state{};
    if (!ReadSecurityState(port, state)) {
        return FALSE;
    }
    if (!state.isProtected) {
        m_released = FALSE;
        return TRUE;
    }
    *mayPrint = state.isValidated;
    return TRUE;
}

void CMonitorSecurity::CheckPassword(PortRecord* port, BOOL* proceed)
{
    SecurityState state{};
    if (!ReadSecurityState(port, state)) {
        *proceed = TRUE;
        return;
    }
    if (!state.isProtected) {
        m_released = FALSE; // a job that goes without protection uses up no validation
        *proceed = TRUE;
        return;
    }
    if (state.isValidated) {
        *proceed = !m_released;
        if (m_released) {
            Sleep(kGatePauseMs);
        }
        m_released = TRUE;
        return;
    }
    m_released = FALSE;
    *proceed = FALSE; // a validation that is had now is found at the next offer of the data
    if (!Reauthenticate(port) && !AskForPassword(port)) {
        Sleep(kGatePauseMs);
    }
}

/// Presents the password that printer data holds; publishes that one is wanted when there is none.
bool CMonitorSecurity::AskForPassword(PortRecord* port)
{
    const bool presented = AuthenticateFromPrinterData(port) != FALSE;
    WriteNumberValue(GetJobPrinter(port), kErrorValue, presented ? kNoError : kPasswordWanted);
    return presented;
}

BOOL CMonitorSecurity::Reauthenticate(PortRecord* port)
{
    if (!m_config || m_config->IsPasswordRequired() || !SendPassword(port, nullptr)) {
        return FALSE;
    }
    BOOL mayPrint = FALSE;
    return QuerySecurity(port, &mayPrint) && mayPrint;
}

BOOL CMonitorSecurity::AuthenticateFromPrinterData(PortRecord* port)
{
    CPrinterData reader; // of its own: the transport may be carrying a query
    const char* password = reader.ReadValue(GetJobPrinterName(port), kPasswordValue);
    if (!password) {
        return FALSE;
    }
    try {
        std::wstring text = PasswordRequest(password);
        reader.WipeValue();
        const BOOL sent = SendPassword(port, text.c_str());
        Wipe(text);
        if (!sent) {
            return FALSE;
        }
    } catch (const std::bad_alloc&) {
        reader.WipeValue();
        return FALSE;
    }
    DeleteValue(GetJobPrinter(port), kPasswordValue);
    if (m_config) {
        m_config->MarkEntered();
    }
    return TRUE;
}

BOOL CMonitorSecurity::SendPassword(PortRecord* port, const wchar_t* requestText)
{
    CData* request = Model().GetRequest(Password);
    if (!request) {
        return FALSE;
    }
    const ExchangeHold exchange(ExchangeMutex());
    if (!exchange || (requestText && !request->Prepare(requestText))) {
        return FALSE;
    }
    return RunAtBorder(port, request);
}

/// The scanner is ahead of the printer here: the piece with the job's end is scanned and not sent. When the
/// bytes that have left end inside a packet, a command would become part of the job.
BOOL CMonitorSecurity::RunAtBorder(PortRecord* port, CData* request)
{
    return Model().SentJobDataEndsAtBorder() ? RunRequest(port, request, FALSE) : Fail(ERROR_BUSY);
}

} // namespace zrtmon
