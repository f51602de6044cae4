// What the entry points pass to the lower monitor, the port list with several threads, and the guard of the
// entries.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <list>
#include <new>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>

#include "monitor/entry_guard.h"
#include "monitor/entry_points.h"
#include "monitor/port_record.h"
#include "platform/spooler_admin.h"
#include "platform/virtual_clock.h"

namespace zrtmon {
namespace {

using Control = std::tuple<HANDLE, DWORD, LPWSTR, LPWSTR, DWORD, LPWSTR, DWORD, LPDWORD>;
using Bidi = std::tuple<HANDLE, DWORD, LPCWSTR, BIDI_REQUEST_CONTAINER*, BIDI_RESPONSE_CONTAINER**>;
using Start = std::tuple<HANDLE, LPWSTR, DWORD, DWORD, LPBYTE>;
using Read = std::tuple<HANDLE, LPBYTE, DWORD, LPDWORD>;
using Open = std::tuple<HANDLE, std::wstring>;

struct CLastCalls {
    Open open;
    Control control;
    Bidi bidi;
    Start start;
    Read read;
};
CLastCalls lastCalls;

wchar_t lowerPort[] = L"the lower port";

/// A lower monitor that records the arguments of its calls. All of them succeed.
MONITOR2* RecordingMonitor()
{
    static MONITOR2 table = [] {
        MONITOR2 entries{};
        entries.cbSize = sizeof entries;
        entries.pfnOpenPort = [](HANDLE monitor, LPWSTR name, PHANDLE port) WINAPI -> BOOL {
            lastCalls.open = {monitor, name};
            *port = lowerPort;
            return TRUE;
        };
        entries.pfnClosePort = [](HANDLE) WINAPI -> BOOL { return TRUE; };
        entries.pfnStartDocPort = [](HANDLE port, LPWSTR printer, DWORD job, DWORD level, LPBYTE info)
                                      WINAPI -> BOOL {
            lastCalls.start = {port, printer, job, level, info};
            return TRUE;
        };
        entries.pfnWritePort = [](HANDLE, LPBYTE, DWORD size, LPDWORD written) WINAPI -> BOOL {
            *written = size;
            return TRUE;
        };
        entries.pfnReadPort = [](HANDLE port, LPBYTE buffer, DWORD size, LPDWORD read) WINAPI -> BOOL {
            lastCalls.read = {port, buffer, size, read};
            return TRUE;
        };
        entries.pfnEndDocPort = [](HANDLE) WINAPI -> BOOL { return TRUE; };
        entries.pfnGetPrinterDataFromPort = [](HANDLE port, DWORD code, LPWSTR name, LPWSTR input,
                                               DWORD inputSize, LPWSTR output, DWORD outputSize,
                                               LPDWORD returned) WINAPI -> BOOL {
            lastCalls.control = {port, code, name, input, inputSize, output, outputSize, returned};
            return TRUE;
        };
        entries.pfnSendRecvBidiDataFromPort = [](HANDLE port, DWORD access, LPCWSTR action,
                                                 BIDI_REQUEST_CONTAINER* request,
                                                 BIDI_RESPONSE_CONTAINER** response) WINAPI -> DWORD {
            lastCalls.bidi = {port, access, action, request, response};
            return ERROR_SUCCESS;
        };
        return entries;
    }();
    return &table;
}

wchar_t printerName[] = L"Cards";

TEST(PassThrough, EveryArgumentReachesTheLowerMonitor)
{
    CVirtualClock clock;
    spooler::CreatePrinter(printerName);
    DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr);
    int monitor = 0;
    wchar_t portName[] = L"Port 7:";
    HANDLE port = nullptr;
    ASSERT_TRUE(OpenPortEx(nullptr, &monitor, portName, printerName, &port, RecordingMonitor()));
    EXPECT_EQ(Open(&monitor, portName), lastCalls.open);

    wchar_t valueName[] = L"CardCount";
    wchar_t buffers[2][8] = {};
    DWORD count = 0;
    for (const auto& [code, name] : {std::pair<DWORD, LPWSTR>{77, valueName}, {77, nullptr}, {0, nullptr}}) {
        EXPECT_TRUE(GetPrinterDataFromPort(port, code, name, buffers[0], 11, buffers[1], 12, &count));
        EXPECT_EQ(Control(lowerPort, code, name, buffers[0], 11, buffers[1], 12, &count), lastCalls.control);
    }
    wchar_t action[] = L"Get";
    auto* request = reinterpret_cast<BIDI_REQUEST_CONTAINER*>(buffers[0]);
    auto* response = reinterpret_cast<BIDI_RESPONSE_CONTAINER*>(buffers[1]);
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, SendRecvBidiDataFromPort(port, 3, action, request, &response));
    EXPECT_EQ(Bidi(lowerPort, 3, action, request, &response), lastCalls.bidi);
    BYTE bytes[4] = {};
    EXPECT_TRUE(ReadPort(port, bytes, 4, &count));
    EXPECT_EQ(Read(lowerPort, bytes, 4, &count), lastCalls.read);

    DOC_INFO_1W document{};
    DOC_INFO_2W channel{};
    channel.dwMode = DI_CHANNEL;
    for (const auto& [level, info] : {std::pair<DWORD, void*>{1, &document}, {2, &channel}}) {
        auto* docInfo = static_cast<LPBYTE>(info);
        EXPECT_TRUE(StartDocPort(port, printerName, 4242, level, docInfo));
        EXPECT_EQ(Start(lowerPort, printerName, 4242, level, docInfo), lastCalls.start);
        EXPECT_TRUE(EndDocPort(port));
    }
    count = 4711;
    EXPECT_TRUE(WritePort(port, nullptr, 4, &count));
    EXPECT_EQ(0u, count) << "there is no data to take";
    EXPECT_TRUE(ClosePort(port));
    spooler::RemovePrinter(printerName);
}

TEST(PortList, ThreadsOpenAndClosePortsConcurrently)
{
    CVirtualClock clock;
    DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr);
    std::atomic<bool> isStarted = false;
    std::list<CVirtualClock::CClockThread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&isStarted, number] {
            std::wstring name = L"Port " + std::to_wstring(number);
            while (!isStarted) {
            }
            for (int round = 0; round < 20; ++round) {
                HANDLE port = nullptr;
                ASSERT_TRUE(
                    OpenPortEx(nullptr, nullptr, name.data(), printerName, &port, RecordingMonitor()));
                HANDLE second = nullptr;
                EXPECT_FALSE(
                    OpenPortEx(nullptr, nullptr, name.data(), printerName, &second, RecordingMonitor()));
                EXPECT_EQ(DWORD{ERROR_BUSY}, GetLastError());
                EXPECT_TRUE(ClosePort(port));
            }
        });
    }
    isStarted = true;
}

TEST(EntryGuard, CatchesWhateverIsThrown)
{
    const struct {
        std::function<BOOL()> body;
        DWORD error;
    } rows[] = {{[]() -> BOOL { throw std::bad_alloc(); }, ERROR_NOT_ENOUGH_MEMORY},
                {[]() -> BOOL { throw std::logic_error(""); }, ERROR_GEN_FAILURE},
                {[]() -> BOOL { throw 5; }, ERROR_GEN_FAILURE}};
    for (const auto& row : rows) {
        SetLastError(0);
        EXPECT_FALSE(GuardEntry(FALSE, row.body));
        EXPECT_EQ(row.error, GetLastError());
    }
}

} // namespace
} // namespace zrtmon
