#include <cstddef>

#include "monitor/entry_points.h"
#include "monitor/port_list.h"

namespace zrtmon {

namespace {

// The bidi entry came with version 5.1; 5.0 does not accept a longer table than its own.
constexpr DWORD kTableSize = sizeof(MONITOR2);
constexpr DWORD kTableSizeBeforeBidi = offsetof(MONITOR2, pfnSendRecvBidiDataFromPort);
static_assert(sizeof(void*) != 4 || (kTableSize == 80 && kTableSizeBeforeBidi == 76));

MONITOR2 MakeTable()
{
    MONITOR2 table{};
    table.pfnOpenPortEx = OpenPortEx;
    table.pfnStartDocPort = StartDocPort;
    table.pfnWritePort = WritePort;
    table.pfnReadPort = ReadPort;
    table.pfnEndDocPort = EndDocPort;
    table.pfnClosePort = ClosePort;
    table.pfnGetPrinterDataFromPort = GetPrinterDataFromPort;
    table.pfnShutdown = Shutdown;
    table.pfnSendRecvBidiDataFromPort = SendRecvBidiDataFromPort;
    return table;
}

MONITOR2 entryPoints = MakeTable();

bool IsVersionFiveZero()
{
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof version;
    version.dwMajorVersion = 5;
    version.dwMinorVersion = 0;
    ULONGLONG conditions = VerSetConditionMask(0, VER_MAJORVERSION, VER_EQUAL);
    conditions = VerSetConditionMask(conditions, VER_MINORVERSION, VER_EQUAL);
    return VerifyVersionInfoW(&version, VER_MAJORVERSION | VER_MINORVERSION, conditions) != FALSE;
}

} // namespace

} // namespace zrtmon

extern "C" {

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID /*reserved*/)
{
    if (reason == DLL_PROCESS_ATTACH) {
        zrtmon::InitializePortList();
        DisableThreadLibraryCalls(module);
    }
    return TRUE;
}

MONITOR2* WINAPI InitializePrintMonitor2(MONITORINIT* init, PHANDLE monitor)
{
    zrtmon::entryPoints.cbSize =
        zrtmon::IsVersionFiveZero() ? zrtmon::kTableSizeBeforeBidi : zrtmon::kTableSize;
    if (monitor) {
        *monitor = init;
    }
    return &zrtmon::entryPoints;
}

} // extern "C"
