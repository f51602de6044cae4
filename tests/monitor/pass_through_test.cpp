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
#include "tests/support/lower_port.h"

namespace zrtmon {
namespace {

using Control = std::tuple<DWORD, LPWSTR, LPWSTR, DWORD, LPWSTR, DWORD, LPDWORD>;
using Bidi = std::tuple<DWORD, LPCWSTR, BIDI_REQUEST_CONTAINER*, BIDI_RESPONSE_CONTAINER**>;
using Start = std::tuple<LPWSTR, DWORD, DWORD, LPBYTE>;
using Read = std::tuple<LPBYTE, DWORD, LPDWORD>;

/// Records the arguments of the last call of each kind. All calls succeed.
class CRecordingPort final : public test::CScriptedPort {
public:
    std::wstring name;
    Control control;
    Bidi bidi;
    Start start;
    Read read;

    BOOL OpenPort(LPWSTR portName, PHANDLE port) override
    {
        name = portName;
        return CScriptedPort::OpenPort(portName, port);
    }
    BOOL StartDocPort(LPWSTR printer, DWORD job, DWORD level, LPBYTE info) override
    {
        start = {printer, job, level, info};
        return TRUE;
    }
    BOOL ReadPort(LPBYTE buffer, DWORD size, LPDWORD count) override
    {
        read = {buffer, size, count};
        return TRUE;
    }
    BOOL GetPrinterData(DWORD code, LPWSTR valueName, LPWSTR input, DWORD inputSize, LPWSTR output,
                        DWORD outputSize, LPDWORD returned) override
    {
        control = {code, valueName, input, inputSize, output, outputSize, returned};
        return TRUE;
    }
    DWORD SendRecvBidi(DWORD access, LPCWSTR action, BIDI_REQUEST_CONTAINER* request,
                       BIDI_RESPONSE_CONTAINER** response) override
    {
        bidi = {access, action, request, response};
        return ERROR_SUCCESS;
    }
};

wchar_t printerName[] = L"Cards";

TEST(PassThrough, EveryArgumentReachesTheLowerMonitor)
{
    CVirtualClock clock;
    spooler::CreatePrinter(printerName);
    DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr);
    CRecordingPort lower;
    wchar_t portName[] = L"Port 7:";
    HANDLE port = nullptr;
    ASSERT_TRUE(OpenPortEx(nullptr, lower.Handle(), portName, printerName, &port, CRecordingPort::Table()));
    EXPECT_EQ(portName, lower.name);

    wchar_t valueName[] = L"CardCount";
    wchar_t buffers[2][8] = {};
    DWORD count = 0;
    for (const auto& [code, name] : {std::pair<DWORD, LPWSTR>{77, valueName}, {77, nullptr}, {0, nullptr}}) {
        EXPECT_TRUE(GetPrinterDataFromPort(port, code, name, buffers[0], 11, buffers[1], 12, &count));
        EXPECT_EQ(Control(code, name, buffers[0], 11, buffers[1], 12, &count), lower.control);
    }
    wchar_t action[] = L"Get";
    auto* request = reinterpret_cast<BIDI_REQUEST_CONTAINER*>(buffers[0]);
    auto* response = reinterpret_cast<BIDI_RESPONSE_CONTAINER*>(buffers[1]);
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, SendRecvBidiDataFromPort(port, 3, action, request, &response));
    EXPECT_EQ(Bidi(3, action, request, &response), lower.bidi);
    BYTE bytes[4] = {};
    EXPECT_TRUE(ReadPort(port, bytes, 4, &count));
    EXPECT_EQ(Read(bytes, 4, &count), lower.read);

    DOC_INFO_1W document{};
    DOC_INFO_2W channel{};
    channel.dwMode = DI_CHANNEL;
    for (const auto& [level, info] : {std::pair<DWORD, void*>{1, &document}, {2, &channel}}) {
        auto* docInfo = static_cast<LPBYTE>(info);
        EXPECT_TRUE(StartDocPort(port, printerName, 4242, level, docInfo));
        EXPECT_EQ(Start(printerName, 4242, level, docInfo), lower.start);
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
            CRecordingPort lower;
            std::wstring name = L"Port " + std::to_wstring(number);
            while (!isStarted) {
            }
            for (int round = 0; round < 20; ++round) {
                HANDLE port = nullptr;
                ASSERT_TRUE(OpenPortEx(nullptr, lower.Handle(), name.data(), printerName, &port,
                                       CRecordingPort::Table()));
                HANDLE second = nullptr;
                EXPECT_FALSE(OpenPortEx(nullptr, lower.Handle(), name.data(), printerName, &second,
                                        CRecordingPort::Table()));
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
