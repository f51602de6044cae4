#include "link/print_monitor_zrt.h"

#include <gtest/gtest.h>

#include <atomic>
#include <list>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/virtual_clock.h"
#include "requests/data_print_job_zrt.h"

namespace zrtmon {
namespace {

using namespace std::string_literals;

TEST(PrintMonitor, ThreadsThatNeedACodeConcurrentlyGetOneObject)
{
    CVirtualClock clock;
    CPrintMonitorZRT model;
    std::atomic<bool> isStarted = false;
    std::vector<std::map<uint32_t, CData*>> seen(4);
    {
        std::list<CVirtualClock::CClockThread> threads;
        for (auto& requests : seen) {
            threads.emplace_back([&] {
                while (!isStarted) {
                }
                for (uint32_t code = 1; code <= 36; ++code) {
                    requests[code] = model.GetRequest(static_cast<RequestCode>(code));
                }
            });
        }
        isStarted = true;
    }
    for (const auto& requests : seen) {
        EXPECT_EQ(seen.front(), requests);
    }
    EXPECT_EQ(model.GetRequestByName(L"printerERROR/ignored"), seen.front()[PrinterError]);
    EXPECT_NE(nullptr, seen.front()[PrinterError]);
}

TEST(RequestNames, HaveTheirCodesInTheirOrder)
{
    const std::vector<std::pair<uint32_t, std::wstring>> expected = {{1, L"CancelPrint"},
                                                                     {2, L"CardCount"},
                                                                     {3, L"ConfigInfo"},
                                                                     {4, L"DeviceError"},
                                                                     {5, L"FilmInfo"},
                                                                     {6, L"LaminateInfo_0"},
                                                                     {7, L"LaminateInfo_1"},
                                                                     {8, L"RibbonInfo"},
                                                                     {20, L"CurrentSettings"},
                                                                     {21, L"DefaultSettings"},
                                                                     {22, L"InitializeSettings"},
                                                                     {17, L"SecurityInfo"},
                                                                     {18, L"EnableOemSupplies"},
                                                                     {19, L"SerialNumber"},
                                                                     {9, L"PassthroughOut"},
                                                                     {10, L"Password"},
                                                                     {12, L"EnablePassword"},
                                                                     {13, L"SetAdminPassword"},
                                                                     {14, L"SetUserPassword"},
                                                                     {11, L"DisablePassword"},
                                                                     {15, L"CurrentActivity"},
                                                                     {16, L"PrinterError"},
                                                                     {24, L"HopperSelect"},
                                                                     {25, L"MoveTo"},
                                                                     {26, L"StationStatus"},
                                                                     {27, L"LCDInfo"},
                                                                     {28, L"SimulateButtonPress"},
                                                                     {29, L"ReadMagStrip"},
                                                                     {30, L"ReadMagStripEx"},
                                                                     {31, L"MagData"},
                                                                     {33, L"UtilityCommand"},
                                                                     {34, L"VersionInfo"},
                                                                     {35, L"SensorStatus"},
                                                                     {36, L"MoveToEx"}};
    std::vector<std::pair<uint32_t, std::wstring>> names;
    for (const RequestName& row : RequestNameTable) {
        names.emplace_back(row.code, row.valueName);
    }
    EXPECT_EQ(expected, names);
    EXPECT_EQ(23u, Status);
    EXPECT_EQ(32u, PrintJob);
}

TEST(PrintMonitor, FollowsTheScannerBetweenCardsAndAtTheEnd)
{
    CPrintMonitorZRT model;
    const auto feed = [&model](const std::string& data) {
        CDataPrintJob* job =
            model.FeedJobData(reinterpret_cast<const uint8_t*>(data.data()), static_cast<DWORD>(data.size()));
        const bool checkpoint = model.IsJobAtCheckpoint();
        job->SetSentLength(static_cast<uint32_t>(data.size()));
        job->TakeAcceptedCount();
        return checkpoint;
    };
    EXPECT_FALSE(feed("\x1B_\0\0\0\0\1\xE0\x1B\0\2C\x8F\1"s + std::string(474, 'r')));
    EXPECT_FALSE(model.CanInterleave()) << "in the middle of a card";
    EXPECT_FALSE(feed("\x1B_\0\0\0\0\0\4\x1B\0\2j"s));
    EXPECT_TRUE(model.CanInterleave());
    EXPECT_FALSE(feed("\x1B_\0\0\0\0\0\4"s));
    EXPECT_FALSE(model.CanInterleave()) << "in the middle of a packet";
    EXPECT_FALSE(feed("\x1B\0\2Q"s));
    EXPECT_TRUE(model.CanInterleave());
    EXPECT_TRUE(feed("\x1B_\0\0\0\0\0\5\x1B\0\2XZ"s));
    EXPECT_FALSE(model.IsJobAtCheckpoint()) << "nothing is pending any more";
}

} // namespace
} // namespace zrtmon
