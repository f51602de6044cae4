#include "monitor/port_record.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <vector>

#include "monitor/entry_points.h"
#include "tests/support/unit_port.h"

namespace zrtmon {
namespace {

using test::CLowerPort;
using test::CUnitPort;
using namespace std::string_literals;

TEST(PortRecord, ADamagedRecordIsRefusedEverywhere)
{
    CUnitPort port;
    port.lower.allow = [](const char* call) {
        ADD_FAILURE() << call;
        return true;
    };
    PortRecord* record = port.record.get();
    uint8_t bytes[4] = {};
    DWORD count = 4711;
    for (char* const signature : {record->signature, record->signatureEnd}) {
        ++signature[3];
        EXPECT_FALSE(IsValidPort(record));
        EXPECT_EQ(nullptr, GetDeviceLink(record));
        EXPECT_EQ(nullptr, GetJobPrinter(record));
        EXPECT_EQ(nullptr, GetJobPrinterName(record));
        EXPECT_FALSE(WriteLowerPort(record, bytes, 4, &count));
        EXPECT_FALSE(ReadLowerPort(record, bytes, 4, &count, 3000));
        EXPECT_EQ(0u, count);
        const std::function<BOOL()> calls[] = {
            [&] { return OpenChannel(record); },
            [&] { return PortControl(record, 1, nullptr, 0, bytes, 4, &count); },
            [&] { return QueryDeviceId(record, bytes, 4); },
            [&] { return StartDocPort(record, nullptr, 0, 1, nullptr); },
            [&] { return WritePort(record, bytes, 4, &count); },
            [&] { return ReadPort(record, bytes, 4, &count); },
            [&] { return EndDocPort(record); },
            [&] { return ClosePort(record); },
            [&] { return GetPrinterDataFromPort(record, 1, nullptr, nullptr, 0, nullptr, 0, &count); }};
        for (const auto& call : calls) {
            SetLastError(0);
            EXPECT_FALSE(call()) << "call " << &call - calls;
            EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError()) << "call " << &call - calls;
        }
        EXPECT_EQ(DWORD{ERROR_NOT_SUPPORTED}, SendRecvBidiDataFromPort(record, 0, nullptr, nullptr, nullptr));
        --signature[3];
        EXPECT_TRUE(IsValidPort(record));
    }
    EXPECT_FALSE(IsValidPort(nullptr));
    EXPECT_EQ(0u, port.clock.Elapsed());
}

TEST(PortRecord, ReadsPollUntilTheFirstByteOrTheLimit)
{
    CUnitPort port(0xFFFFFF00u); // the tick count wraps during the wait
    uint8_t buffer[8];
    DWORD read = 0;
    EXPECT_FALSE(ReadLowerPort(port.record.get(), buffer, 8, &read, 0));
    EXPECT_EQ(0u, port.lower.CountCalls("ReadPort"));
    EXPECT_FALSE(ReadLowerPort(port.record.get(), buffer, 8, &read, 3000));
    EXPECT_EQ(3000u, port.clock.Elapsed());
    port.lower.reply = [&port] { return port.lower.CountCalls("ReadPort") < 304 ? ""s : "ab"s; };
    EXPECT_TRUE(ReadLowerPort(port.record.get(), buffer, 1, &read, 3000));
    EXPECT_EQ(1u, read);
    EXPECT_EQ(3030u, port.clock.Elapsed());
}

TEST(PortRecord, AWakeUpThatFindsTheFlagSetWaitsOn)
{
    CUnitPort port;
    ASSERT_TRUE(ClaimDocument(port.record.get(), 0));
    CVirtualClock::CClockThread late([&port] {
        Sleep(1000);
        SetEvent(port.record->docEvent); // left over from a claim that had timed out when its turn came
    });
    EXPECT_FALSE(ClaimDocument(port.record.get(), 5000));
    EXPECT_EQ(5000u, port.clock.Elapsed());
}

TEST(PortRecord, OnlyWholeEntriesThatTheLowerTableHasAreTaken)
{
    const MONITOR2& full = *CLowerPort::Table();
    constexpr size_t kEntries = offsetof(MONITOR2, pfnEnumPorts);
    constexpr size_t kBidi = offsetof(MONITOR2, pfnSendRecvBidiDataFromPort);
    constexpr size_t kQuery = offsetof(MONITOR2, pfnGetPrinterDataFromPort);
    const std::pair<size_t, size_t> cases[] = {{sizeof full, sizeof full},
                                               {sizeof full + 24, sizeof full},
                                               {sizeof full - 1, kBidi},
                                               {kBidi, kBidi},
                                               {kQuery, kQuery},
                                               {sizeof(DWORD), kEntries},
                                               {0, kEntries}};
    for (const auto& [size, taken] : cases) {
        SCOPED_TRACE(size);
        // After the table's own size there is memory that must not be read: the sanitizer watches it.
        std::vector<char> block(std::max(size, sizeof(DWORD)));
        std::memcpy(block.data(), &full, std::min(block.size(), sizeof full));
        auto* lower = reinterpret_cast<MONITOR2*>(block.data());
        lower->cbSize = static_cast<DWORD>(size);
        const MONITOR2 copy = CopyMonitorTable(*lower);
        EXPECT_EQ(std::min(size, sizeof copy), copy.cbSize);
        std::vector<char> expected(sizeof full);
        std::memcpy(expected.data(), &full, taken);
        EXPECT_EQ(0, std::memcmp(expected.data() + kEntries, reinterpret_cast<const char*>(&copy) + kEntries,
                                 sizeof copy - kEntries));
    }
}

} // namespace
} // namespace zrtmon
