#include "tests/support/lower_port.h"

#include <algorithm>

#include "platform/faults.h"

namespace zrtmon::test {

namespace {

LowerPort* Port(HANDLE handle) { return static_cast<LowerPort*>(handle); }

BOOL WINAPI OpenEntry(HANDLE monitor, LPWSTR name, PHANDLE port)
{
    const FaultFree outside;
    *port = monitor;
    return Port(monitor)->OpenPort(name);
}
BOOL WINAPI CloseEntry(HANDLE port)
{
    const FaultFree outside;
    return Port(port)->ClosePort();
}
BOOL WINAPI StartDocEntry(HANDLE port, LPWSTR printerName, DWORD jobId, DWORD level, LPBYTE docInfo)
{
    const FaultFree outside;
    return Port(port)->StartDocPort(printerName, jobId, level, docInfo);
}
BOOL WINAPI WriteEntry(HANDLE port, LPBYTE data, DWORD size, LPDWORD written)
{
    const FaultFree outside;
    return Port(port)->WritePort(data, size, written);
}
BOOL WINAPI ReadEntry(HANDLE port, LPBYTE buffer, DWORD size, LPDWORD read)
{
    const FaultFree outside;
    return Port(port)->ReadPort(buffer, size, read);
}
BOOL WINAPI EndDocEntry(HANDLE port)
{
    const FaultFree outside;
    return Port(port)->EndDocPort();
}
BOOL WINAPI DataEntry(HANDLE port, DWORD code, LPWSTR valueName, LPWSTR input, DWORD inputSize, LPWSTR output,
                      DWORD outputSize, LPDWORD returned)
{
    const FaultFree outside;
    return Port(port)->GetPrinterData(code, valueName, input, inputSize, output, outputSize, returned);
}
DWORD WINAPI BidiEntry(HANDLE port, DWORD, LPCWSTR, BIDI_REQUEST_CONTAINER*, BIDI_RESPONSE_CONTAINER**)
{
    return Port(port)->SendRecvBidiData();
}

} // namespace

MONITOR2* LowerPort::Table()
{
    static MONITOR2 table = [] {
        MONITOR2 entries{};
        entries.cbSize = sizeof entries;
        entries.pfnOpenPort = OpenEntry;
        entries.pfnClosePort = CloseEntry;
        entries.pfnStartDocPort = StartDocEntry;
        entries.pfnWritePort = WriteEntry;
        entries.pfnReadPort = ReadEntry;
        entries.pfnEndDocPort = EndDocEntry;
        entries.pfnGetPrinterDataFromPort = DataEntry;
        entries.pfnSendRecvBidiDataFromPort = BidiEntry;
        return entries;
    }();
    return &table;
}

std::vector<std::string> ScriptedPort::Writes()
{
    const CSectionHold hold(m_lock);
    return m_writes;
}

std::string ScriptedPort::Written()
{
    std::string all;
    for (const std::string& write : Writes()) {
        all += write;
    }
    return all;
}

std::vector<std::string> ScriptedPort::Calls()
{
    const CSectionHold hold(m_lock);
    return m_calls;
}

size_t ScriptedPort::CountCalls(const std::string& name)
{
    const auto calls = Calls();
    return static_cast<size_t>(std::count(calls.begin(), calls.end(), name));
}

BOOL ScriptedPort::Note(const char* call)
{
    const CSectionHold hold(m_lock);
    m_calls.emplace_back(call);
    if (allow && !allow(call)) {
        SetLastError(failError);
        return FALSE;
    }
    return TRUE;
}

BOOL ScriptedPort::OpenPort(const wchar_t*) { return Note("OpenPort"); }
BOOL ScriptedPort::ClosePort() { return Note("ClosePort"); }
BOOL ScriptedPort::EndDocPort() { return Note("EndDocPort"); }
BOOL ScriptedPort::StartDocPort(LPWSTR, DWORD, DWORD, LPBYTE) { return Note("StartDocPort"); }

BOOL ScriptedPort::WritePort(LPBYTE data, DWORD size, LPDWORD written)
{
    if (!Note("WritePort")) {
        return FALSE;
    }
    const std::optional<DWORD> taken = take ? take(size) : size;
    if (!taken) {
        SetLastError(failError);
        return FALSE;
    }
    *written = *taken;
    const CSectionHold hold(m_lock);
    m_writes.emplace_back(reinterpret_cast<const char*>(data), std::min(*taken, size));
    return TRUE;
}

BOOL ScriptedPort::ReadPort(LPBYTE buffer, DWORD size, LPDWORD read)
{
    if (!Note("ReadPort")) {
        return FALSE;
    }
    const std::string text = reply ? reply() : std::string();
    *read = static_cast<DWORD>(std::min<size_t>(size, text.size()));
    std::copy_n(text.begin(), *read, buffer);
    return TRUE;
}

BOOL ScriptedPort::GetPrinterData(DWORD code, LPWSTR, LPWSTR input, DWORD inputSize, LPWSTR output,
                                  DWORD outputSize, LPDWORD returned)
{
    if (!Note("GetPrinterDataFromPort")) {
        return FALSE;
    }
    const std::string bytes(reinterpret_cast<const char*>(input), inputSize);
    const std::optional<std::string> answer = control ? control(code, bytes) : std::nullopt;
    if (!answer) {
        SetLastError(failError);
        return FALSE;
    }
    *returned = static_cast<DWORD>(answer->size());
    std::copy_n(answer->begin(), std::min<size_t>(outputSize, answer->size()),
                reinterpret_cast<char*>(output));
    return TRUE;
}

void DisturbedPort::FailCall(uint64_t index, DWORD error)
{
    m_failAt = index;
    m_failError = error;
}

bool DisturbedPort::Fails(const char* call)
{
    {
        const CSectionHold hold(m_lock);
        if (m_failAt == m_count++) {
            m_failedCall = call;
            SetLastError(m_failError);
            return true;
        }
    }
    return IsTroubled(call);
}

bool DisturbedPort::IsTroubled(const char* call) const
{
    const DWORD error = trouble ? trouble(call) : 0;
    if (error != 0) {
        SetLastError(error);
    }
    return error != 0;
}

BOOL DisturbedPort::OpenPort(const wchar_t* name)
{
    return !Fails("OpenPort") && m_lower->pfnOpenPort(m_lowerMonitor, const_cast<wchar_t*>(name), &m_port);
}

BOOL DisturbedPort::ClosePort() { return !Fails("ClosePort") && m_lower->pfnClosePort(m_port); }

BOOL DisturbedPort::StartDocPort(LPWSTR printerName, DWORD jobId, DWORD level, LPBYTE docInfo)
{
    return !Fails("StartDocPort") && m_lower->pfnStartDocPort(m_port, printerName, jobId, level, docInfo);
}

BOOL DisturbedPort::WritePort(LPBYTE data, DWORD size, LPDWORD written)
{
    if (Fails("WritePort")) {
        return FALSE;
    }
    const DWORD limited = limitWrite ? std::min(limitWrite(data, size), size) : size;
    if (beforeWrite) {
        beforeWrite(data, limited);
    }
    *written = 0;
    return (limited == 0 || m_lower->pfnWritePort(m_port, data, limited, written)) &&
           !IsTroubled("WritePort's end");
}

BOOL DisturbedPort::ReadPort(LPBYTE buffer, DWORD size, LPDWORD read)
{
    return !Fails("ReadPort") && m_lower->pfnReadPort(m_port, buffer, size, read);
}

BOOL DisturbedPort::EndDocPort() { return !Fails("EndDocPort") && m_lower->pfnEndDocPort(m_port); }

BOOL DisturbedPort::GetPrinterData(DWORD code, LPWSTR valueName, LPWSTR input, DWORD inputSize, LPWSTR output,
                                   DWORD outputSize, LPDWORD returned)
{
    return !Fails("GetPrinterDataFromPort") &&
           m_lower->pfnGetPrinterDataFromPort(m_port, code, valueName, input, inputSize, output, outputSize,
                                              returned);
}

} // namespace zrtmon::test
