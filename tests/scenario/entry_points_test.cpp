// The library's face towards the spooler, through the entry-point table.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <cwctype>
#include <utility>

#include "monitor/entry_points.h"
#include "platform/faults.h"
#include "platform/spooler_admin.h"
#include "platform/system_version.h"
#include "tests/support/spooler_fixture.h"

namespace zrtmon {
namespace {

using test::CLowerPort;
using test::COpenPortFixture;
using test::CSpoolerFixture;

wchar_t portName[] = L"sim:";
wchar_t printerName[] = L"Cards";
wchar_t empty[] = L"";

TEST(EntryPoints, OnlyVersionFiveZeroGetsTheShorterTable)
{
    constexpr DWORD kShort = offsetof(MONITOR2, pfnSendRecvBidiDataFromPort);
    MONITORINIT init{};
    for (const auto& [major, minor] : {std::pair<DWORD, DWORD>{5, 0}, {5, 1}, {6, 0}, {10, 0}}) {
        const CSystemVersion version(major, minor);
        const DWORD size = major == 5 && minor == 0 ? kShort : sizeof(MONITOR2);
        HANDLE monitor = nullptr;
        EXPECT_EQ(size, InitializePrintMonitor2(&init, &monitor)->cbSize) << major << "." << minor;
        EXPECT_EQ(&init, monitor);
    }
    HANDLE monitor = nullptr;
    EXPECT_EQ(sizeof(MONITOR2), InitializePrintMonitor2(&init, &monitor)->cbSize);
    Shutdown(monitor);
}

TEST(EntryPoints, OpeningRefusesWhatIsMissing)
{
    CSpoolerFixture bench;
    HANDLE port = &bench;
    const auto open = [&](LPWSTR name, LPWSTR printer, PHANDLE handle, MONITOR2* lower) {
        port = &bench;
        SetLastError(0);
        const BOOL opened =
            bench.table->pfnOpenPortEx(nullptr, bench.lower.Handle(), name, printer, handle, lower);
        EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
        EXPECT_EQ(handle ? nullptr : &bench, port);
        return opened;
    };
    MONITOR2* lower = CLowerPort::Table();
    EXPECT_FALSE(open(nullptr, printerName, &port, lower));
    EXPECT_FALSE(open(empty, printerName, &port, lower));
    EXPECT_FALSE(open(portName, nullptr, &port, lower));
    EXPECT_FALSE(open(portName, empty, &port, lower));
    EXPECT_FALSE(open(portName, printerName, nullptr, lower));
    EXPECT_FALSE(open(portName, printerName, &port, nullptr));
    for (const size_t entry : {offsetof(MONITOR2, pfnOpenPort), offsetof(MONITOR2, pfnClosePort),
                               offsetof(MONITOR2, pfnStartDocPort), offsetof(MONITOR2, pfnEndDocPort),
                               offsetof(MONITOR2, pfnReadPort), offsetof(MONITOR2, pfnWritePort)}) {
        MONITOR2 table = *lower;
        std::memset(reinterpret_cast<char*>(&table) + entry, 0, sizeof(void*));
        EXPECT_FALSE(open(portName, printerName, &port, &table)) << entry;
    }
    EXPECT_EQ(0u, bench.lower.CallCount());
}

TEST(EntryPoints, ANameIsOpenOnceWhateverItsCase)
{
    COpenPortFixture bench;
    std::wstring capitals = bench.PortName();
    std::ranges::transform(capitals, capitals.begin(), ::towupper);
    HANDLE second = &bench;
    EXPECT_FALSE(bench.table->pfnOpenPortEx(nullptr, bench.lower.Handle(), capitals.data(), printerName,
                                            &second, CLowerPort::Table()));
    EXPECT_EQ(DWORD{ERROR_BUSY}, GetLastError());
    EXPECT_EQ(nullptr, second);
    EXPECT_TRUE(bench.Close());
    EXPECT_TRUE(bench.Open());
}

TEST(EntryPoints, APortThatCannotBeOpenedOrClosedBelowMayBeTriedAgain)
{
    CSpoolerFixture bench;
    bench.lower.FailCall(0, 4711);
    EXPECT_FALSE(bench.Open());
    EXPECT_EQ(4711u, GetLastError());
    EXPECT_EQ(nullptr, bench.port);
    ASSERT_TRUE(bench.Open());
    bench.lower.FailCall(0, 4711);
    EXPECT_FALSE(bench.table->pfnClosePort(bench.port));
    EXPECT_EQ(4711u, GetLastError());
    // Without a device link nothing but closing is served, and nothing crashes.
    DWORD count = 0;
    BYTE byte = 0;
    EXPECT_FALSE(bench.Ask(L"CardCount").ok);
    EXPECT_FALSE(bench.StartDocument());
    EXPECT_FALSE(bench.table->pfnWritePort(bench.port, &byte, 1, &count));
    EXPECT_EQ(DWORD{ERROR_NOT_SUPPORTED},
              bench.table->pfnSendRecvBidiDataFromPort(bench.port, 0, nullptr, nullptr, nullptr));
    EXPECT_TRUE(bench.Close());
    EXPECT_TRUE(bench.Open());
}

TEST(EntryPoints, ADocumentWhosePortWasClosedIsReleasedByItsLateEnd)
{
    COpenPortFixture bench;
    const uint64_t handles = OpenHandleCount();
    const uint64_t blocks = GlobalBlockCount();
    const size_t printers = spooler::OpenPrinterCount();
    ASSERT_TRUE(bench.StartDocument());
    const HANDLE closed = bench.port;
    EXPECT_TRUE(bench.Close());
    EXPECT_GT(handles, OpenHandleCount());
    EXPECT_TRUE(bench.Open());
    const uint64_t calls = bench.lower.CallCount();
    for (int round = 0; round < 2; ++round) {
        EXPECT_FALSE(bench.table->pfnEndDocPort(closed));
        EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
        EXPECT_EQ(printers, spooler::OpenPrinterCount());
        EXPECT_EQ(blocks + 1, GlobalBlockCount()) << "the closed port's record and the new one";
    }
    EXPECT_EQ(calls, bench.lower.CallCount());
    EXPECT_EQ(0u, bench.JobStatus() & JOB_STATUS_PRINTED) << "it was not sent completely";
}

TEST(EntryPoints, DocumentsWaitForChannelsAndTurnsAreTaken)
{
    COpenPortFixture bench;
    DOC_INFO_2W channel{};
    channel.dwMode = DI_CHANNEL;
    auto* info = reinterpret_cast<LPBYTE>(&channel);
    bench.lower.FailCall(0, 4711);
    EXPECT_FALSE(bench.table->pfnStartDocPort(bench.port, nullptr, 0, 2, info));
    EXPECT_EQ(4711u, GetLastError());
    ASSERT_TRUE(bench.table->pfnStartDocPort(bench.port, nullptr, 0, 2, info));
    EXPECT_FALSE(bench.table->pfnStartDocPort(bench.port, nullptr, 0, 2, info));
    EXPECT_EQ(DWORD{ERROR_BUSY}, GetLastError());
    EXPECT_EQ(100u, bench.clock.Elapsed());
    EXPECT_FALSE(bench.StartDocument());
    EXPECT_EQ(DWORD{ERROR_BUSY}, GetLastError());
    EXPECT_EQ(5100u, bench.clock.Elapsed());
    CVirtualClock::CClockThread closer([&bench] {
        Sleep(4000);
        bench.table->pfnEndDocPort(bench.port);
    });
    EXPECT_TRUE(bench.StartDocument());
    EXPECT_EQ(9100u, bench.clock.Elapsed());
    EXPECT_TRUE(bench.EndDocument());
}

TEST(EntryPoints, ADocumentThatCannotStartLeavesThePortIdle)
{
    CSpoolerFixture bench;
    const size_t printers = spooler::OpenPrinterCount();
    ASSERT_TRUE(bench.Open());
    wchar_t unknown[] = L"No such printer";
    DOC_INFO_1W info{};
    EXPECT_FALSE(bench.table->pfnStartDocPort(bench.port, unknown, 1, 1, reinterpret_cast<LPBYTE>(&info)));
    EXPECT_EQ(DWORD{ERROR_INVALID_PRINTER_NAME}, GetLastError());
    EXPECT_FALSE(bench.table->pfnStartDocPort(bench.port, nullptr, 1, 1, reinterpret_cast<LPBYTE>(&info)));
    bench.lower.FailCall(0, 4711);
    EXPECT_FALSE(bench.StartDocument());
    EXPECT_EQ(4711u, GetLastError());
    const uint64_t start = bench.clock.Elapsed();
    EXPECT_TRUE(bench.StartDocument());
    EXPECT_EQ(start, bench.clock.Elapsed());
    EXPECT_TRUE(bench.EndDocument());
    EXPECT_EQ(printers, spooler::OpenPrinterCount());
}

TEST(EntryPoints, APrinterThatMayNotBeAdministeredPrintsAndPublishesNothing)
{
    CSpoolerFixture bench;
    spooler::CreatePrinter(CSpoolerFixture::kPrinter, PRINTER_ACCESS_USE);
    ASSERT_TRUE(bench.Open());
    EXPECT_TRUE(bench.Print({'d', 'a', 't', 'a'}));
    EXPECT_EQ("-", bench.ValueOf(L"PrinterError"));
}

TEST(EntryPoints, AnEndThatFailsBelowLeavesThePortMarkedOpen)
{
    COpenPortFixture bench;
    ASSERT_TRUE(bench.StartDocument());
    const uint64_t callsOfAStatusCheck = 2; // a write and a read
    bench.lower.FailCall(callsOfAStatusCheck, 4711);
    EXPECT_FALSE(bench.EndDocument());
    EXPECT_EQ(4711u, GetLastError());
    EXPECT_FALSE(bench.StartDocument());
    EXPECT_EQ(DWORD{ERROR_BUSY}, GetLastError());
}

TEST(EntryPoints, ControlCodesGoToTheLowerMonitorUnchanged)
{
    COpenPortFixture bench("serial=SN77");
    char id[300] = "";
    DWORD returned = 0;
    EXPECT_TRUE(bench.table->pfnGetPrinterDataFromPort(bench.port, IOCTL_PAR_QUERY_DEVICE_ID, nullptr, nullptr,
                                                       0, reinterpret_cast<LPWSTR>(id), sizeof id,
                                                       &returned));
    EXPECT_NE(nullptr, std::strstr(id, "SN77"));
    EXPECT_FALSE(
        bench.table->pfnGetPrinterDataFromPort(bench.port, 0, nullptr, nullptr, 0, nullptr, 0, &returned));
    EXPECT_EQ(DWORD{ERROR_NOT_SUPPORTED}, GetLastError());
}

TEST(EntryPoints, WithoutAQueryEntryBelowNoNameIsServed)
{
    CSpoolerFixture bench;
    MONITOR2 lower = *CLowerPort::Table();
    lower.pfnGetPrinterDataFromPort = nullptr;
    lower.pfnSendRecvBidiDataFromPort = nullptr;
    ASSERT_TRUE(bench.Open(&lower));
    EXPECT_EQ(DWORD{ERROR_NOT_SUPPORTED}, bench.Ask(L"CardCount").error);
    EXPECT_EQ(1u, bench.lower.CallCount()) << "only the opening";
}

TEST(EntryPoints, BidiIsAnsweredByTheLowerMonitorOrNotAtAll)
{
    COpenPortFixture bench;
    for (const auto& [below, above] : {std::pair<DWORD, DWORD>{ERROR_SUCCESS, ERROR_SUCCESS},
                                       {ERROR_INVALID_PARAMETER, ERROR_NOT_SUPPORTED}}) {
        bench.lower.bidiAnswer = below;
        EXPECT_EQ(above, bench.table->pfnSendRecvBidiDataFromPort(bench.port, 0, nullptr, nullptr, nullptr));
    }
}

} // namespace
} // namespace zrtmon
