#include "tests/host/scripted_monitor.h"

#include <algorithm>
#include <cstring>

#include "host/text.h"
#include "platform/spooler_admin.h"

namespace zrtmon::test {
namespace {

ScriptedMonitor* g_script = nullptr;

BOOL Result(DWORD error)
{
    SetLastError(error);
    return error == ERROR_SUCCESS;
}

} // namespace

struct ScriptedMonitor::Entries {
    static BOOL WINAPI OpenPortEx(HANDLE, HANDLE, LPWSTR, LPWSTR printerName, PHANDLE port, MONITOR2*)
    {
        g_script->Note("OpenPortEx");
        g_script->printerName = printerName;
        *port = g_script;
        return Result(g_script->openError);
    }

    static BOOL WINAPI ClosePort(HANDLE)
    {
        g_script->Note("ClosePort");
        if (g_script->onClose) {
            g_script->onClose();
        }
        return TRUE;
    }

    static BOOL WINAPI StartDocPort(HANDLE, LPWSTR, DWORD jobId, DWORD, LPBYTE)
    {
        g_script->Note("StartDocPort");
        g_script->staleJobs += spooler::JobStatus(g_script->printerName, g_script->jobId) ? 1 : 0;
        g_script->jobId = jobId;
        return Result(g_script->startError);
    }

    static BOOL WINAPI WritePort(HANDLE, LPBYTE data, DWORD size, LPDWORD written)
    {
        g_script->Note("WritePort");
        g_script->offers.push_back(size);
        *written = g_script->take ? std::min(g_script->take(size), size) : size;
        g_script->written.append(reinterpret_cast<const char*>(data), *written);
        return Result(g_script->writeError);
    }

    static BOOL WINAPI EndDocPort(HANDLE)
    {
        g_script->Note("EndDocPort");
        g_script->jobAtEnd = spooler::JobStatus(g_script->printerName, g_script->jobId);
        if (g_script->onEnd) {
            g_script->onEnd();
        }
        return g_script->endFails ? Result(ERROR_GEN_FAILURE) : TRUE;
    }

    static BOOL WINAPI GetPrinterDataFromPort(HANDLE, DWORD, LPWSTR valueName, LPWSTR, DWORD, LPWSTR output,
                                              DWORD outputSize, LPDWORD returned)
    {
        const std::string requestText = host::Utf8FromWide(valueName);
        g_script->Note(requestText.c_str());
        const auto answer = g_script->answer ? g_script->answer(requestText) : std::nullopt;
        *returned = 0;
        if (!answer || answer->text.empty()) {
            SetLastError(answer ? answer->error : ERROR_INVALID_PARAMETER);
            return FALSE;
        }
        *returned = static_cast<DWORD>(answer->text.size() + 1);
        if (*returned <= outputSize) {
            std::memcpy(output, answer->text.c_str(), *returned);
        }
        return TRUE;
    }
};

ScriptedMonitor::ScriptedMonitor() { g_script = this; }

ScriptedMonitor::~ScriptedMonitor() { g_script = nullptr; }

MONITOR2* WINAPI ScriptedMonitor::Initialize(MONITORINIT* init, HANDLE* monitor)
{
    static MONITOR2 table = [] {
        MONITOR2 entries{};
        entries.cbSize = sizeof entries;
        entries.pfnOpenPortEx = Entries::OpenPortEx;
        entries.pfnClosePort = Entries::ClosePort;
        entries.pfnStartDocPort = Entries::StartDocPort;
        entries.pfnWritePort = Entries::WritePort;
        entries.pfnEndDocPort = Entries::EndDocPort;
        entries.pfnGetPrinterDataFromPort = Entries::GetPrinterDataFromPort;
        return entries;
    }();
    *monitor = init;
    return &table;
}

size_t ScriptedMonitor::Count(const std::string& call)
{
    const CSectionHold hold(m_lock);
    const auto found = m_calls.find(call);
    return found == m_calls.end() ? 0 : found->second;
}

void ScriptedMonitor::Note(const char* call)
{
    const CSectionHold hold(m_lock);
    ++m_calls[call];
}

} // namespace zrtmon::test
