#include "bench/copying_monitor.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <string_view>

#include <benchmark/benchmark.h>

namespace zrtmon::bench {

namespace {

thread_local uint8_t sink[64 << 10];
constexpr std::string_view kReadyReply = "ERR:0,0,0,0,0,250,";

BOOL WINAPI Open(HANDLE lowerMonitor, LPWSTR /*name*/, PHANDLE port)
{
    *port = lowerMonitor;
    return TRUE;
}
BOOL WINAPI Close(HANDLE) { return TRUE; }
BOOL WINAPI StartDoc(HANDLE, LPWSTR, DWORD, DWORD, LPBYTE) { return TRUE; }
BOOL WINAPI EndDoc(HANDLE) { return TRUE; }
BOOL WINAPI Read(HANDLE, LPBYTE buffer, DWORD size, LPDWORD read)
{
    *read = std::min(size, static_cast<DWORD>(kReadyReply.size()));
    std::memcpy(buffer, kReadyReply.data(), *read);
    return TRUE;
}
BOOL WINAPI Control(HANDLE, DWORD, LPWSTR, LPWSTR, DWORD, LPWSTR, DWORD, LPDWORD)
{
    SetLastError(ERROR_NOT_SUPPORTED);
    return FALSE;
}

} // namespace

BOOL WINAPI WriteCopying(HANDLE handle, LPBYTE data, DWORD size, LPDWORD written)
{
    auto* port = static_cast<CopyingPort*>(handle);
    if (std::less<>{}(data, port->jobBegin) || std::less<>{}(port->jobEnd, data + size)) {
        port->bytesElsewhere += size;
    }
    for (DWORD done = 0; done < size; done += DWORD{sizeof sink}) {
        std::memcpy(sink, data + done, std::min<size_t>(size - done, sizeof sink));
        benchmark::ClobberMemory();
    }
    *written = size;
    return TRUE;
}

MONITOR2 CopyingMonitor()
{
    MONITOR2 table{};
    table.cbSize = sizeof table;
    table.pfnOpenPort = Open;
    table.pfnClosePort = Close;
    table.pfnStartDocPort = StartDoc;
    table.pfnEndDocPort = EndDoc;
    table.pfnReadPort = Read;
    table.pfnWritePort = WriteCopying;
    table.pfnGetPrinterDataFromPort = Control;
    return table;
}

} // namespace zrtmon::bench
