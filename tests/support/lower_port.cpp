#include "tests/support/lower_port.h"

#include <algorithm>

#include "monitor/port_record.h"
#include "platform/faults.h"

namespace zrtmon::test {

namespace {

template <size_t kSize>
struct CallName {
    constexpr CallName(const char (&name)[kSize]) { std::copy_n(name, kSize, text); }
    char text[kSize];
};

/// The table's entry that calls a function of the object that the handle is.
template <CallName kName, auto kFunction, typename... Arguments>
BOOL WINAPI Entry(HANDLE handle, Arguments... arguments)
{
    const CFaultExemption outside;
    auto* port = static_cast<CLowerPort*>(handle);
    return port->Admits(kName.text) && (port->*kFunction)(arguments...);
}

DWORD WINAPI BidiEntry(HANDLE port, DWORD access, LPCWSTR action, BIDI_REQUEST_CONTAINER* request,
                       BIDI_RESPONSE_CONTAINER** response)
{
    return static_cast<CLowerPort*>(port)->SendRecvBidi(access, action, request, response);
}

} // namespace

MONITOR2* CLowerPort::Table()
{
    static MONITOR2 table = [] {
        MONITOR2 entries{};
        entries.cbSize = sizeof entries;
        entries.pfnOpenPort = Entry<"OpenPort", &CLowerPort::OpenPort>;
        entries.pfnClosePort = Entry<"ClosePort", &CLowerPort::ClosePort>;
        entries.pfnStartDocPort = Entry<"StartDocPort", &CLowerPort::StartDocPort>;
        entries.pfnWritePort = Entry<"WritePort", &CLowerPort::WritePort>;
        entries.pfnReadPort = Entry<"ReadPort", &CLowerPort::ReadPort>;
        entries.pfnEndDocPort = Entry<"EndDocPort", &CLowerPort::EndDocPort>;
        entries.pfnGetPrinterDataFromPort = Entry<"GetPrinterDataFromPort", &CLowerPort::GetPrinterData>;
        entries.pfnSendRecvBidiDataFromPort = BidiEntry;
        return entries;
    }();
    return &table;
}

BOOL CLowerPort::OpenPort(LPWSTR, PHANDLE port)
{
    *port = Handle();
    return TRUE;
}

std::string CScriptedPort::Written()
{
    const CSectionHold hold(m_lock);
    return m_written;
}

size_t CScriptedPort::CountCalls(const std::string& name)
{
    const CSectionHold hold(m_lock);
    return m_calls[name];
}

bool CScriptedPort::Admits(const char* call)
{
    const CSectionHold hold(m_lock);
    ++m_calls[call];
    return !allow || allow(call) || Fail(failError);
}

BOOL CScriptedPort::WritePort(LPBYTE data, DWORD size, LPDWORD written)
{
    const std::optional<DWORD> taken = take ? take(size) : size;
    if (!taken) {
        return Fail(failError);
    }
    *written = *taken;
    const CSectionHold hold(m_lock);
    m_written.append(reinterpret_cast<const char*>(data), std::min(*taken, size));
    return TRUE;
}

BOOL CScriptedPort::ReadPort(LPBYTE buffer, DWORD size, LPDWORD read)
{
    const std::string text = reply ? reply() : std::string();
    *read = static_cast<DWORD>(text.copy(reinterpret_cast<char*>(buffer), size));
    *read = readCount.value_or(*read);
    return TRUE;
}

BOOL CScriptedPort::GetPrinterData(DWORD code, LPWSTR, LPWSTR input, DWORD inputSize, LPWSTR output,
                                   DWORD outputSize, LPDWORD returned)
{
    const std::string bytes(reinterpret_cast<const char*>(input), inputSize);
    const std::optional<std::string> answer = control ? control(code, bytes) : std::nullopt;
    if (!answer) {
        return Fail(failError);
    }
    *returned = static_cast<DWORD>(answer->size());
    answer->copy(reinterpret_cast<char*>(output), outputSize);
    return TRUE;
}

void CDisturbedPort::FailCall(uint64_t preceding, DWORD error)
{
    m_failAt = m_count + preceding;
    m_failError = error;
}

bool CDisturbedPort::Admits(const char* call)
{
    {
        const CSectionHold hold(m_lock);
        if (m_failAt == m_count++) {
            m_failedCall = call;
            return Fail(m_failError);
        }
    }
    return IsUntroubled(call);
}

bool CDisturbedPort::IsUntroubled(const char* call) const
{
    const DWORD error = trouble ? trouble(call) : 0;
    return error == 0 || Fail(error);
}

BOOL CDisturbedPort::OpenPort(LPWSTR name, PHANDLE port)
{
    return m_lower->pfnOpenPort(m_lowerMonitor, name, &m_port) && CLowerPort::OpenPort(name, port);
}

BOOL CDisturbedPort::ClosePort() { return m_lower->pfnClosePort(m_port); }

BOOL CDisturbedPort::StartDocPort(LPWSTR printerName, DWORD jobId, DWORD level, LPBYTE docInfo)
{
    return m_lower->pfnStartDocPort(m_port, printerName, jobId, level, docInfo);
}

BOOL CDisturbedPort::WritePort(LPBYTE data, DWORD size, LPDWORD written)
{
    const DWORD limited = limitWrite ? std::min(limitWrite(data, size), size) : size;
    *written = 0;
    return (limited == 0 || m_lower->pfnWritePort(m_port, data, limited, written)) &&
           IsUntroubled("WritePort's end");
}

BOOL CDisturbedPort::ReadPort(LPBYTE buffer, DWORD size, LPDWORD read)
{
    return m_lower->pfnReadPort(m_port, buffer, size, read);
}

BOOL CDisturbedPort::EndDocPort() { return m_lower->pfnEndDocPort(m_port); }

BOOL CDisturbedPort::GetPrinterData(DWORD code, LPWSTR valueName, LPWSTR input, DWORD inputSize,
                                    LPWSTR output, DWORD outputSize, LPDWORD returned)
{
    return m_lower->pfnGetPrinterDataFromPort(m_port, code, valueName, input, inputSize, output, outputSize,
                                              returned);
}

} // namespace zrtmon::test
