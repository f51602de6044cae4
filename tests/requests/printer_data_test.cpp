#include "requests/printer_data.h"

#include <gtest/gtest.h>

#include <map>

#include "platform/spooler_admin.h"
#include "requests/data.h"
#include "tests/support/unit_port.h"

namespace zrtmon {
namespace {

using namespace std::string_literals;
using test::UnitPort;

/// A request with every transport choice open.
class FreeData : public CData {
public:
    std::string command = "\x1B\0\2Nr"s;
    uint32_t sendMethod = kSendToPort;
    uint32_t receiveMethod = kReceiveFromPort;
    uint32_t delayMs = kDefaultSendDelayMs;
    bool accept = true;
    bool inParts = false;
    std::vector<uint32_t> sentLengths;
    std::vector<size_t> chunks;

    const uint8_t* GetCommand(uint32_t* length) override
    {
        *length = static_cast<uint32_t>(command.size());
        return command.empty() ? nullptr : reinterpret_cast<const uint8_t*>(command.data());
    }
    uint32_t GetSendMethod() override { return sendMethod; }
    uint32_t GetReceiveMethod() override { return receiveMethod; }
    uint32_t GetSendDelay() override { return delayMs; }
    void SetSentLength(uint32_t count) override { sentLengths.push_back(count); }
    bool MaySendInParts() const override { return inParts; }
    BOOL SetReply(const char* data, uint32_t length) override
    {
        chunks.push_back(length);
        EXPECT_EQ('\0', data[length]);
        return accept && CData::SetReply(data, length);
    }
};

struct TransportTest : testing::Test {
    UnitPort port;
    FreeData request;
    CPrinterData transport;
    uint64_t Elapsed() const { return port.clock.Elapsed(); }
};

TEST_F(TransportTest, SendsWaitsAndReads)
{
    port.lower.reply = [] { return "ERR:0"s; };
    EXPECT_TRUE(transport.Exchange(port.record.get(), &request));
    EXPECT_EQ(request.command, port.lower.Written());
    EXPECT_EQ(250u, Elapsed());
    EXPECT_EQ(std::vector<uint32_t>{5}, request.sentLengths);
    EXPECT_STREQ("ERR:0", request.GetText());
}

TEST_F(TransportTest, WithoutACommandStillWaitsAndReads)
{
    request.command.clear();
    port.lower.reply = [] { return "x"s; };
    EXPECT_TRUE(transport.Exchange(port.record.get(), &request));
    EXPECT_EQ(0u, port.lower.CountCalls("WritePort"));
    EXPECT_TRUE(request.sentLengths.empty());
    EXPECT_EQ(250u, Elapsed());
    EXPECT_STREQ("x", request.GetText());
}

TEST_F(TransportTest, FailedSendsAreToldAndNotWaitedFor)
{
    struct Case {
        const char* name;
        uint32_t method;
        uint32_t sentLength;
    };
    const Case cases[] = {
        {"port", CData::kSendToPort, 0}, {"vendor", CData::kSendVendorControl, 5}, {"unknown", 7, 5}};
    port.lower.allow = [](const char*) { return false; };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        request.sendMethod = c.method;
        request.sentLengths.clear();
        EXPECT_FALSE(transport.Send(port.record.get(), &request));
        EXPECT_EQ(std::vector<uint32_t>{c.sentLength}, request.sentLengths);
    }
    EXPECT_EQ(0u, Elapsed());
}

TEST_F(TransportTest, CompletesACommandOfWhichThePortTookAPart)
{
    port.lower.take = [](DWORD size) { return std::min<DWORD>(size, 2); };
    EXPECT_TRUE(transport.Send(port.record.get(), &request));
    EXPECT_EQ(request.command, port.lower.Written());
    EXPECT_EQ(std::vector<uint32_t>{5}, request.sentLengths);
}

TEST_F(TransportTest, GivesUpTheRestOfACommandAfterThreeSeconds)
{
    port.lower.take = [this](DWORD) { return port.lower.CountCalls("WritePort") == 1 ? DWORD{2} : DWORD{0}; };
    EXPECT_FALSE(transport.Send(port.record.get(), &request));
    EXPECT_EQ(std::vector<uint32_t>{2}, request.sentLengths);
    EXPECT_EQ(3000u, Elapsed());
}

TEST_F(TransportTest, LeavesARequestThatIsSentInPartsWithWhatWent)
{
    request.inParts = true;
    port.lower.take = [](DWORD) { return DWORD{2}; };
    EXPECT_TRUE(transport.Send(port.record.get(), &request));
    EXPECT_EQ(1u, port.lower.CountCalls("WritePort"));
    EXPECT_EQ(std::vector<uint32_t>{2}, request.sentLengths);
}

TEST_F(TransportTest, ALowerPortThatReportsTooMuchIsNotBelieved)
{
    port.lower.take = [](DWORD) { return DWORD{4000000000}; };
    EXPECT_TRUE(transport.Send(port.record.get(), &request));
    EXPECT_EQ(std::vector<uint32_t>{5}, request.sentLengths);
}

TEST_F(TransportTest, ReadsGiveUpAfterThreeSecondsAndTakeOnlyTheFirstBytes)
{
    EXPECT_FALSE(transport.Receive(port.record.get(), &request));
    EXPECT_EQ(3000u, Elapsed());
    EXPECT_EQ(300u, port.lower.CountCalls("ReadPort"));

    port.lower.reply = [] { return "1"s; };
    EXPECT_TRUE(transport.Receive(port.record.get(), &request));
    EXPECT_EQ(3000u, Elapsed());
    EXPECT_EQ(std::vector<size_t>{1}, request.chunks);
}

TEST_F(TransportTest, AFullChunkIsFollowedByAnother)
{
    struct Case {
        std::vector<size_t> replies;
        bool ok;
        std::vector<size_t> chunks;
    };
    const Case cases[] = {{{2047}, true, {2047}},
                          {{2048, 10}, true, {2048, 10}},
                          {{2048}, false, {2048}},
                          {{2048, 2048, 1}, true, {2048, 2048, 1}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.replies.size());
        size_t next = 0;
        port.lower.reply = [&] {
            return next < c.replies.size() ? std::string(c.replies[next++], 'r') : ""s;
        };
        request.chunks.clear();
        EXPECT_EQ(c.ok, transport.Receive(port.record.get(), &request) != FALSE);
        EXPECT_EQ(c.chunks, request.chunks);
    }
}

TEST_F(TransportTest, ADeviceThatNeverStopsIsCutOff)
{
    port.lower.reply = [] { return std::string(5000, 'r'); };
    EXPECT_FALSE(transport.Receive(port.record.get(), &request));
    EXPECT_EQ(64u, request.chunks.size());
}

TEST_F(TransportTest, ARefusedChunkFailsTheReceive)
{
    request.accept = false;
    port.lower.reply = [] { return "x"s; };
    EXPECT_FALSE(transport.Receive(port.record.get(), &request));
}

TEST_F(TransportTest, WithoutAReplyTheTextOfBeforeStays)
{
    ASSERT_TRUE(request.ProcessReply("before", 6));
    request.receiveMethod = CData::kReceiveNothing;
    EXPECT_TRUE(transport.Receive(port.record.get(), &request));
    EXPECT_STREQ("before", request.GetText());
    request.receiveMethod = 9;
    EXPECT_FALSE(transport.Receive(port.record.get(), &request));
}

TEST_F(TransportTest, VendorCommandsGoBehindThreeZeroBytes)
{
    std::string input;
    DWORD code = 0;
    port.lower.control = [&](DWORD c, const std::string& i) {
        code = c;
        input = i;
        return ""s;
    };
    request.sendMethod = CData::kSendVendorControl;
    EXPECT_TRUE(transport.Send(port.record.get(), &request));
    EXPECT_EQ(0x220038u, code);
    EXPECT_EQ("\0\0\0"s + request.command, input);
}

TEST_F(TransportTest, VendorRepliesAreTriedTenTimes)
{
    request.receiveMethod = CData::kReceiveVendorControl;
    EXPECT_FALSE(transport.Receive(port.record.get(), &request));
    EXPECT_EQ(1000u, Elapsed());
    EXPECT_EQ(10u, port.lower.CountCalls("GetPrinterDataFromPort"));

    port.lower.control = [&](DWORD code, const std::string& input) -> std::optional<std::string> {
        EXPECT_EQ(0x22003Cu, code);
        EXPECT_EQ("\0\0\0"s, input);
        return port.lower.CountCalls("GetPrinterDataFromPort") < 13 ? std::nullopt : std::optional("Ver:1"s);
    };
    EXPECT_TRUE(transport.Receive(port.record.get(), &request));
    EXPECT_STREQ("Ver:1", request.GetText());
    EXPECT_EQ(1200u, Elapsed());
}

TEST_F(TransportTest, DeviceIdIsReadToItsFirstNul)
{
    request.receiveMethod = CData::kReceiveDeviceId;
    const std::pair<std::optional<std::string>, std::pair<bool, std::string>> cases[] = {
        {"SN:A1;\0junk"s, {true, "SN:A1;"}},
        {std::string(4000, 'i'), {true, std::string(2047, 'i')}},
        {""s, {false, "kept"}},
        {std::nullopt, {false, "kept"}},
        {"\0x"s, {true, "kept"}}};
    for (const auto& [answer, expected] : cases) {
        port.lower.control = [a = answer](DWORD, const std::string&) { return a; };
        ASSERT_TRUE(request.ProcessReply("kept", 4));
        EXPECT_EQ(expected.first, transport.Receive(port.record.get(), &request) != FALSE);
        EXPECT_EQ(expected.second, request.GetText());
    }
}

TEST(PrinterValues, AreReadWrittenAsDecimalTextAndDeleted)
{
    spooler::CreatePrinter(L"Cards");
    PRINTER_DEFAULTSW defaults{};
    defaults.DesiredAccess = PRINTER_ACCESS_ADMINISTER;
    wchar_t name[] = L"Cards";
    HANDLE opened = nullptr;
    ASSERT_TRUE(OpenPrinterW(name, &opened, &defaults));
    const CPrinterHandle printer(opened);
    const std::map<int, std::string> numbers = {
        {0, "0\0"s}, {-1, "-1\0"s}, {2147483647, "2147483647\0"s}, {-2147483647 - 1, "-2147483648\0"s}};
    CPrinterData reader;
    for (const auto& [number, stored] : numbers) {
        EXPECT_TRUE(WriteNumberValue(printer.Get(), L"CardCount", number));
        EXPECT_EQ(stored, spooler::LoadValue(L"Cards", L"cardcount"));
        EXPECT_STREQ(stored.c_str(), reader.ReadValue(L"cards", L"CARDCOUNT"));
        EXPECT_EQ(stored.size(), reader.GetValueSize());
    }
    EXPECT_TRUE(DeleteValue(printer.Get(), L"CardCount"));
    EXPECT_FALSE(DeleteValue(printer.Get(), L"CardCount"));
    EXPECT_EQ(nullptr, reader.ReadValue(L"Cards", L"CardCount"));
    EXPECT_EQ(nullptr, reader.ReadValue(L"No such printer", L"CardCount"));
    spooler::StoreValue(L"Cards", L"Empty", REG_BINARY, "");
    EXPECT_STREQ("", reader.ReadValue(L"Cards", L"Empty"));
    EXPECT_FALSE(WriteNumberValue(nullptr, L"CardCount", 1));
    EXPECT_EQ(1u, spooler::OpenPrinterCount());
    spooler::RemovePrinter(L"Cards");
}

} // namespace
} // namespace zrtmon
