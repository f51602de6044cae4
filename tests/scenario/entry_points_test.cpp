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
    CSpoolerFixture fixture;
    HANDLE port = &fixture;
    const auto open = [&](LPWSTR name, LPWSTR printer, PHANDLE handle, MONITOR2* lower) {
        port = &fixture;
        SetLastError(0);
        const BOOL opened =
            fixture.table->pfnOpenPortEx(nullptr, fixture.lower.Handle(), name, printer, handle, lower);
        EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
        EXPECT_EQ(handle ? nullptr : &fixture, port);
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
    EXPECT_EQ(0u, fixture.lower.CallCount());
}

TEST(EntryPoints, ANameIsOpenOnceWhateverItsCase)
{
    COpenPortFixture fixture;
    std::wstring capitals = fixture.PortName();
    std::ranges::transform(capitals, capitals.begin(), ::towupper);
    HANDLE second = &fixture;
    EXPECT_FALSE(fixture.table->pfnOpenPortEx(nullptr, fixture.lower.Handle(), capitals.data(), printerName,
                                              &second, CLowerPort::Table()));
    EXPECT_EQ(DWORD{ERROR_BUSY}, GetLastError());
    EXPECT_EQ(nullptr, second);
    EXPECT_TRUE(fixture.Close());
    EXPECT_TRUE(fixture.Open());
}

TEST(EntryPoints, APortThatCannotBeOpenedOrClosedBelowMayBeTriedAgain)
{
    CSpoolerFixture fixture;
    fixture.lower.FailCall(0, 4711);
    EXPECT_FALSE(fixture.Open());
    EXPECT_EQ(4711u, GetLastError());
    EXPECT_EQ(nullptr, fixture.port);
    ASSERT_TRUE(fixture.Open());
    fixture.lower.FailCall(0, 4711);
    EXPECT_FALSE(fixture.table->pfnClosePort(fixture.port));
    EXPECT_EQ(4711u, GetLastError());
    // Without a device link nothing but closing is served, and nothing crashes.
    DWORD count = 0;
    BYTE byte = 0;
    EXPECT_FALSE(fixture.Ask(L"CardCount").ok);
    EXPECT_FALSE(fixture.StartDocument());
    EXPECT_FALSE(fixture.table->pfnWritePort(fixture.port, &byte, 1, &count));
    EXPECT_EQ(DWORD{ERROR_NOT_SUPPORTED},
              fixture.table->pfnSendRecvBidiDataFromPort(fixture.port, 0, nullptr, nullptr, nullptr));
    EXPECT_TRUE(fixture.Close());
    EXPECT_TRUE(fixture.Open());
}

TEST(EntryPoints, ADocumentWhosePortWasClosedIsReleasedByItsLateEnd)
{
    COpenPortFixture fixture;
    const uint64_t handles = OpenHandleCount();
    const uint64_t blocks = GlobalBlockCount();
    const size_t printers = spooler::OpenPrinterCount();
    ASSERT_TRUE(fixture.StartDocument());
    const HANDLE closed = fixture.port;
    EXPECT_TRUE(fixture.Close());
    EXPECT_GT(handles, OpenHandleCount());
    EXPECT_TRUE(fixture.Open());
    const uint64_t calls = fixture.lower.CallCount();
    for (int round = 0; round < 2; ++round) {
        EXPECT_FALSE(fixture.table->pfnEndDocPort(closed));
        EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
        EXPECT_EQ(printers, spooler::OpenPrinterCount());
        EXPECT_EQ(blocks + 1, GlobalBlockCount()) << "the closed port's record and the new one";
    }
    EXPECT_EQ(calls, fixture.lower.CallCount());
    EXPECT_EQ(0u, fixture.JobStatus() & JOB_STATUS_PRINTED) << "it was not sent completely";
}

TEST(EntryPoints, AChannelSendsNothingOfAnEarlierDocumentAndForbidsNoQuery)
{
    COpenPortFixture fixture;
    std::string sent;
    fixture.lower.limitWrite = [&](const uint8_t* data, DWORD size) {
        sent.append(reinterpret_cast<const char*>(data), size);
        return size;
    };
    const std::string packet("\x1B_\0\0\0\0\0\4\x1B\0\2Q\n", 13);
    EXPECT_TRUE(fixture.Print({packet.begin(), packet.end()}));
    sent.clear();
    DOC_INFO_2W channel{};
    channel.dwMode = DI_CHANNEL;
    ASSERT_TRUE(
        fixture.table->pfnStartDocPort(fixture.port, nullptr, 0, 2, reinterpret_cast<LPBYTE>(&channel)));
    const std::string text = "text that is sent in part";
    EXPECT_EQ(text.size(), fixture.Offer(reinterpret_cast<const uint8_t*>(text.data()), text.size()));
    EXPECT_EQ(text, sent);
    fixture.lower.limitWrite = [](const uint8_t*, DWORD size) { return std::min<DWORD>(size, 1); };
    DWORD written = 0;
    for (int offer = 0; offer < 2; ++offer) {
        fixture.table->pfnWritePort(fixture.port, reinterpret_cast<LPBYTE>(const_cast<char*>(text.data())), 9,
                                    &written);
    }
    EXPECT_TRUE(fixture.table->pfnEndDocPort(fixture.port));
    fixture.lower.limitWrite = nullptr;
    EXPECT_TRUE(fixture.Ask(L"CardCount").ok);
}

TEST(EntryPoints, DocumentsWaitForChannelsAndTurnsAreTaken)
{
    COpenPortFixture fixture;
    DOC_INFO_2W channel{};
    channel.dwMode = DI_CHANNEL;
    auto* info = reinterpret_cast<LPBYTE>(&channel);
    fixture.lower.FailCall(0, 4711);
    EXPECT_FALSE(fixture.table->pfnStartDocPort(fixture.port, nullptr, 0, 2, info));
    EXPECT_EQ(4711u, GetLastError());
    ASSERT_TRUE(fixture.table->pfnStartDocPort(fixture.port, nullptr, 0, 2, info));
    EXPECT_FALSE(fixture.table->pfnStartDocPort(fixture.port, nullptr, 0, 2, info));
    EXPECT_EQ(DWORD{ERROR_BUSY}, GetLastError());
    EXPECT_EQ(100u, fixture.clock.Elapsed());
    EXPECT_FALSE(fixture.StartDocument());
    EXPECT_EQ(DWORD{ERROR_BUSY}, GetLastError());
    EXPECT_EQ(5100u, fixture.clock.Elapsed());
    CVirtualClock::CClockThread closer([&fixture] {
        Sleep(4000);
        fixture.table->pfnEndDocPort(fixture.port);
    });
    EXPECT_TRUE(fixture.StartDocument());
    EXPECT_EQ(9100u, fixture.clock.Elapsed());
    EXPECT_TRUE(fixture.EndDocument());
}

TEST(EntryPoints, ADocumentThatCannotStartLeavesThePortIdle)
{
    CSpoolerFixture fixture;
    const size_t printers = spooler::OpenPrinterCount();
    ASSERT_TRUE(fixture.Open());
    wchar_t unknown[] = L"No such printer";
    DOC_INFO_1W info{};
    EXPECT_FALSE(
        fixture.table->pfnStartDocPort(fixture.port, unknown, 1, 1, reinterpret_cast<LPBYTE>(&info)));
    EXPECT_EQ(DWORD{ERROR_INVALID_PRINTER_NAME}, GetLastError());
    EXPECT_FALSE(
        fixture.table->pfnStartDocPort(fixture.port, nullptr, 1, 1, reinterpret_cast<LPBYTE>(&info)));
    fixture.lower.FailCall(0, 4711);
    EXPECT_FALSE(fixture.StartDocument());
    EXPECT_EQ(4711u, GetLastError());
    const uint64_t start = fixture.clock.Elapsed();
    EXPECT_TRUE(fixture.StartDocument());
    EXPECT_EQ(start, fixture.clock.Elapsed());
    EXPECT_TRUE(fixture.EndDocument());
    EXPECT_EQ(printers, spooler::OpenPrinterCount());
}

TEST(EntryPoints, APrinterThatMayNotBeAdministeredPrintsAndPublishesNothing)
{
    CSpoolerFixture fixture;
    spooler::CreatePrinter(CSpoolerFixture::kPrinter, PRINTER_ACCESS_USE);
    ASSERT_TRUE(fixture.Open());
    EXPECT_TRUE(fixture.Print({'d', 'a', 't', 'a'}));
    EXPECT_EQ("-", fixture.ValueOf(L"PrinterError"));
}

TEST(EntryPoints, AnEndThatFailsBelowLeavesThePortMarkedOpen)
{
    COpenPortFixture fixture;
    ASSERT_TRUE(fixture.StartDocument());
    const uint64_t callsOfAStatusCheck = 2; // a write and a read
    fixture.lower.FailCall(callsOfAStatusCheck, 4711);
    EXPECT_FALSE(fixture.EndDocument());
    EXPECT_EQ(4711u, GetLastError());
    EXPECT_FALSE(fixture.StartDocument());
    EXPECT_EQ(DWORD{ERROR_BUSY}, GetLastError());
}

TEST(EntryPoints, WithoutAQueryEntryBelowNoNameIsServed)
{
    CSpoolerFixture fixture;
    MONITOR2 lower = *CLowerPort::Table();
    lower.pfnGetPrinterDataFromPort = nullptr;
    lower.pfnSendRecvBidiDataFromPort = nullptr;
    ASSERT_TRUE(fixture.Open(&lower));
    EXPECT_EQ(DWORD{ERROR_NOT_SUPPORTED}, fixture.Ask(L"CardCount").error);
    EXPECT_EQ(1u, fixture.lower.CallCount()) << "only the opening";
}

TEST(EntryPoints, BidiIsAnsweredByTheLowerMonitorOrNotAtAll)
{
    COpenPortFixture fixture;
    for (const auto& [below, above] : {std::pair<DWORD, DWORD>{ERROR_SUCCESS, ERROR_SUCCESS},
                                       {ERROR_INVALID_PARAMETER, ERROR_NOT_SUPPORTED}}) {
        fixture.lower.bidiAnswer = below;
        EXPECT_EQ(above,
                  fixture.table->pfnSendRecvBidiDataFromPort(fixture.port, 0, nullptr, nullptr, nullptr));
    }
}

} // namespace
} // namespace zrtmon
