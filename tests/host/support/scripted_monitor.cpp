#include "tests/host/support/scripted_monitor.h"

#include <algorithm>
#include <cstring>

#include "host/text/text.h"
#include "platform/faults.h"
#include "platform/spooler_admin.h"

namespace zrtmon::test {
namespace {

CScriptedMonitor* g_script = nullptr;

} // namespace

struct CScriptedMonitor::CEntries {
    static BOOL WINAPI OpenPortEx(HANDLE, HANDLE, LPWSTR, LPWSTR, PHANDLE port, MONITOR2*)
    {
        *port = g_script;
        return g_script->Note("OpenPortEx");
    }

    static BOOL WINAPI ClosePort(HANDLE) { return g_script->Note("ClosePort"); }

    static BOOL WINAPI StartDocPort(HANDLE, LPWSTR, DWORD jobId, DWORD, LPBYTE)
    {
        const BOOL result = g_script->Note("StartDocPort");
        g_script->jobId = jobId;
        return result;
    }

    static BOOL WINAPI WritePort(HANDLE, LPBYTE data, DWORD size, LPDWORD written)
    {
        g_script->offers.push_back(size);
        *written = g_script->take ? std::min(g_script->take(size), size) : size;
        g_script->written.append(reinterpret_cast<const char*>(data), *written);
        return g_script->Note("WritePort");
    }

    static BOOL WINAPI EndDocPort(HANDLE)
    {
        g_script->jobAtEnd = spooler::JobStatus(L"Card Printer", g_script->jobId);
        return g_script->Note("EndDocPort");
    }

    static BOOL WINAPI GetPrinterDataFromPort(HANDLE, DWORD, LPWSTR valueName, LPWSTR, DWORD, LPWSTR output,
                                              DWORD outputSize, LPDWORD returned)
    {
        const CFaultExemption own; // the script's copies of a password are not the command line's
        const std::string requestText = host::Utf8FromWide(valueName);
        g_script->Note(requestText);
        const CAnswer answer = g_script->answer(requestText);
        *returned = answer.text.empty() ? 0 : static_cast<DWORD>(answer.text.size() + 1);
        if (*returned <= outputSize) {
            std::memcpy(output, answer.text.c_str(), *returned);
        }
        SetLastError(answer.error);
        return *returned > 0;
    }
};

CScriptedMonitor::CScriptedMonitor() { g_script = this; }

CScriptedMonitor::~CScriptedMonitor() { g_script = nullptr; }

MONITOR2* WINAPI CScriptedMonitor::Initialize(MONITORINIT* init, HANDLE* monitor)
{
    static MONITOR2 table = [] {
        MONITOR2 entries{};
        entries.cbSize = sizeof entries;
        entries.pfnOpenPortEx = CEntries::OpenPortEx;
        entries.pfnClosePort = CEntries::ClosePort;
        entries.pfnStartDocPort = CEntries::StartDocPort;
        entries.pfnWritePort = CEntries::WritePort;
        entries.pfnEndDocPort = CEntries::EndDocPort;
        entries.pfnGetPrinterDataFromPort = CEntries::GetPrinterDataFromPort;
        return entries;
    }();
    *monitor = init;
    return &table;
}

size_t CScriptedMonitor::Count(const std::string& call)
{
    const CSectionHold hold(m_lock);
    return m_calls[call];
}

BOOL CScriptedMonitor::Note(const std::string& call)
{
    if (const auto hook = hooks.find(call); hook != hooks.end()) {
        hook->second();
    }
    const auto failure = errors.find(call);
    SetLastError(failure == errors.end() ? ERROR_SUCCESS : failure->second);
    const CSectionHold hold(m_lock);
    ++m_calls[call];
    return failure == errors.end();
}

} // namespace zrtmon::test
