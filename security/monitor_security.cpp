#include "security/monitor_security.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

#include "link/exchange_hold.h"
#include "monitor/port_record.h"
#include "platform/wipe.h"
#include "requests/data.h"
#include "requests/data_print_job.h"
#include "requests/printer_data.h"

namespace zrtmon {

namespace {

constexpr DWORD kGatePauseMs = 1000;
constexpr int kPasswordNeeded = 100;
constexpr int kNoError = 1;
constexpr size_t kLongestPassword = 254;
constexpr const wchar_t* kErrorValue = L"PrinterError";
constexpr const wchar_t* kPasswordValue = L"Password";
constexpr const wchar_t* kConfigurationValue = L"ConfigurationFile";

/// A stored value as wide text: it may lack its terminator, or end in the middle of a character.
std::wstring WideValue(const char* bytes, size_t size)
{
    std::wstring text(size / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), bytes, text.size() * sizeof(wchar_t));
    text.resize(std::min(text.find(L'\0'), text.size()));
    return text;
}

/// The wide form of 8-bit text, which CPassword converts back: each byte becomes the character of that value.
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
        m_isPendingPieceAllowed = false;
    } else if (!m_isPendingPieceAllowed) {
        CDataPrintJob& job = *Model().FindPrintJob();
        job.Reoffer(data, size);
        if (const uint32_t rest = job.GetUnitRest()) {
            CDataJobPart part(job, rest);
            return RunRequest(port, &part, TRUE); // 0 written: the same data is offered again
        }
        BOOL proceed = TRUE;
        CheckPassword(port, &proceed);
        if (!proceed) {
            return TRUE;
        }
        m_isPendingPieceAllowed = true;
    }
    return CMonitor::Write(port, data, size, written);
}

BOOL CMonitorSecurity::QuerySecurity(PortRecord* port, BOOL* mayPrint)
{
    *mayPrint = TRUE;
    CData* request = Model().GetRequest(SecurityInfo);
    if (!request) {
        return FALSE;
    }
    const CExchangeHold exchange(ExchangeMutex());
    if (!exchange || !RunRequest(port, request, FALSE)) {
        return FALSE;
    }
    int protection = 0;
    if (!request->GetIntField("Password", protection)) {
        return FALSE;
    }
    m_isProtected = protection != 0;
    if (!m_isProtected) {
        m_released = FALSE;
        return TRUE;
    }
    int validation = 0;
    if (!request->GetIntField("Validation", validation)) {
        return FALSE;
    }
    *mayPrint = validation > 0;
    return TRUE;
}

void CMonitorSecurity::CheckPassword(PortRecord* port, BOOL* proceed)
{
    if (!QuerySecurity(port, proceed)) {
        *proceed = TRUE;
        return;
    }
    if (*proceed) {
        *proceed = !m_released;
        if (m_released) {
            Sleep(kGatePauseMs);
        }
        m_released = m_isProtected;
        return;
    }
    m_released = FALSE;
    // *proceed stays FALSE: the next offer of the data finds a printer that is validated by then.
    if (!Reauthenticate(port) && !RequestPassword(port)) {
        Sleep(kGatePauseMs);
    }
}

/// Presents the password stored in printer data; if there is none, publishes that one is needed.
bool CMonitorSecurity::RequestPassword(PortRecord* port)
{
    const bool presented = AuthenticateFromPrinterData(port) != FALSE;
    WriteNumberValue(GetJobPrinter(port), kErrorValue, presented ? kNoError : kPasswordNeeded);
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
    CPrinterData reader; // the model's transport may be carrying a query
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
    const CExchangeHold exchange(ExchangeMutex());
    if (!exchange || (requestText && !request->Prepare(requestText))) {
        return FALSE;
    }
    return RunRequest(port, request, FALSE);
}

} // namespace zrtmon
