#include "link/print_monitor_zrt.h"

#include <gtest/gtest.h>

#include <atomic>
#include <list>
#include <map>
#include <string>
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

/// The value names with their codes, in the order of the table.
constexpr const char* kNames = "1 CancelPrint 2 CardCount 3 ConfigInfo 4 DeviceError 5 FilmInfo 6 "
                               "LaminateInfo_0 7 LaminateInfo_1 8 RibbonInfo "
                               "20 CurrentSettings 21 DefaultSettings 22 InitializeSettings 17 SecurityInfo "
                               "18 EnableOemSupplies 19 SerialNumber "
                               "9 PassthroughOut 10 Password 12 EnablePassword 13 SetAdminPassword 14 "
                               "SetUserPassword 11 DisablePassword "
                               "15 CurrentActivity 16 PrinterError 24 HopperSelect 25 MoveTo 26 "
                               "StationStatus 27 LCDInfo 28 SimulateButtonPress "
                               "29 ReadMagStrip 30 ReadMagStripEx 31 MagData 33 UtilityCommand 34 "
                               "VersionInfo 35 SensorStatus 36 MoveToEx ";

TEST(RequestNames, HaveTheirCodesInTheirOrder)
{
    std::string names;
    for (const RequestName& row : RequestNameTable) {
        names += std::to_string(row.code) + ' ';
        for (const wchar_t* letter = row.valueName; *letter; ++letter) {
            names += static_cast<char>(*letter);
        }
        names += ' ';
    }
    EXPECT_EQ(kNames, names);
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
