#include "link/print_monitor_zrt.h"

#include <gtest/gtest.h>

#include <list>
#include <set>
#include <string>
#include <vector>

#include "platform/virtual_clock.h"
#include "queries/data_status.h"
#include "requests/data_print_job_zrt.h"
#include "tests/support/case_name.h"

namespace zrtmon {
namespace {

struct NameCase {
    const char* name;
    std::wstring text;
    RequestCode code;
};
class ValueName : public testing::TestWithParam<NameCase> {};

TEST_P(ValueName, GivesItsCode)
{
    CPrintMonitorZRT model;
    EXPECT_EQ(GetParam().code, model.GetRequestCode(GetParam().text.c_str()));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ValueName,
    testing::Values(
        NameCase{"AsWritten", L"CardCount", CardCount}, NameCase{"LowerCase", L"cardcount", CardCount},
        NameCase{"UpperCase", L"CARDCOUNT", CardCount}, NameCase{"Parameter", L"MoveTo/3", MoveTo},
        NameCase{"SeparatorOnly", L"/CardCount", UnknownRequest}, NameCase{"Empty", L"", UnknownRequest},
        NameCase{"LongerName", L"CardCounter", UnknownRequest},
        NameCase{"LongParameter", L"Password/" + std::wstring(5000, L'p'), Password},
        NameCase{"TooLong", L"CardCount" + std::wstring(5000, L'x'), UnknownRequest},
        NameCase{"Unserved", L"SensorStatus", SensorStatus}, NameCase{"Status", L"Status", UnknownRequest},
        NameCase{"PrintJob", L"PrintJob", UnknownRequest}),
    test::CaseName{});

TEST(RequestNames, CoverEveryCodeButTheTwoInnerOnesOnce)
{
    std::set<uint32_t> codes;
    for (const RequestName& row : RequestNameTable()) {
        EXPECT_TRUE(codes.insert(row.code).second) << row.code;
    }
    std::set<uint32_t> expected;
    for (uint32_t code = 1; code <= 36; ++code) {
        if (code != 23 && code != 32) {
            expected.insert(code);
        }
    }
    EXPECT_EQ(expected, codes);
}

TEST(PrintMonitor, KeepsOneRequestForEachCode)
{
    CPrintMonitorZRT model;
    CData* first = model.GetRequest(CardCount);
    ASSERT_NE(nullptr, first);
    EXPECT_EQ(first, model.GetRequestByName(L"cardCOUNT/ignored"));
    EXPECT_EQ(model.GetRequest(Status), model.GetStatusRequest());
    for (const RequestCode none :
         {UnknownRequest, DeviceError, FilmInfo, PassthroughOut, SensorStatus, MoveToEx,
          static_cast<RequestCode>(37), static_cast<RequestCode>(0xFFFFFFFF)}) {
        EXPECT_EQ(nullptr, model.GetRequest(none)) << none;
    }
}

TEST(PrintMonitor, ThreadsThatAskAtOnceGetOneObject)
{
    VirtualClock clock;
    CPrintMonitorZRT model;
    std::vector<CData*> seen(8);
    {
        std::list<VirtualClock::Thread> threads;
        for (CData*& slot : seen) {
            threads.emplace_back([&model, &slot] { slot = model.GetRequest(PrinterError); });
        }
    }
    EXPECT_EQ(1u, std::set<CData*>(seen.begin(), seen.end()).size());
    EXPECT_NE(nullptr, seen.front());
}

TEST(PrintMonitor, WithoutModelRequestsEverythingIsAllowed)
{
    CPrintMonitor model;
    EXPECT_TRUE(model.CanInterleave());
    EXPECT_FALSE(model.IsJobAtCheckpoint());
    EXPECT_TRUE(model.ResetJob());
    EXPECT_EQ(nullptr, model.FeedJobData(nullptr, 0));
    EXPECT_EQ(nullptr, model.GetStatusRequest());
    EXPECT_EQ(nullptr, model.GetTransport());
}

TEST(PrintMonitor, AsksTheScannerBetweenCardsAndAtTheEnd)
{
    CPrintMonitorZRT model;
    const auto feed = [&model](const std::string& payload) {
        std::string packet("\x1B_\0\0\0\0", 6);
        packet += static_cast<char>(payload.size() >> 8);
        packet += static_cast<char>(payload.size() & 0xFF);
        packet += payload;
        CDataPrintJob* job = model.FeedJobData(reinterpret_cast<const uint8_t*>(packet.data()),
                                               static_cast<DWORD>(packet.size()));
        const bool checkpoint = model.IsJobAtCheckpoint();
        uint32_t length = 0;
        job->GetCommand(&length);
        job->SetSentLength(length);
        job->TakeAcceptedCount();
        return checkpoint;
    };
    const std::string prefix("\x1B\0\2", 3);
    EXPECT_TRUE(model.CanInterleave());
    EXPECT_FALSE(feed(prefix + "C\x8F\1" + std::string(474, 'r')));
    EXPECT_FALSE(model.CanInterleave()) << "in the middle of a card";
    EXPECT_FALSE(feed(prefix + "j"));
    EXPECT_TRUE(model.CanInterleave());
    EXPECT_TRUE(feed(prefix + "XZ"));
    EXPECT_FALSE(model.IsJobAtCheckpoint()) << "nothing is pending any more";
    EXPECT_TRUE(model.ResetJob());
    EXPECT_FALSE(feed(prefix + "QQQQ"));
}

} // namespace
} // namespace zrtmon
