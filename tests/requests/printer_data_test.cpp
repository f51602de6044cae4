#include "requests/printer_data.h"

#include <gtest/gtest.h>

#include "platform/spooler_admin.h"
#include "requests/data.h"
#include "tests/support/unit_port.h"

namespace zrtmon {
namespace {

using namespace std::string_literals;
using test::CUnitPort;

/// A request with every transport choice open.
class CFreeData : public CData {
public:
    std::string command = "\x1B\0\2Nr"s;
    uint32_t sendMethod = 1;
    uint32_t receiveMethod = 1;
    std::vector<uint32_t> sentLengths;
    unsigned chunks = 0;

    const uint8_t* GetCommand(uint32_t* length) override
    {
        *length = static_cast<uint32_t>(command.size());
        return reinterpret_cast<const uint8_t*>(command.data());
    }
    uint32_t GetSendMethod() override { return sendMethod; }
    uint32_t GetReceiveMethod() override { return receiveMethod; }
    void SetSentLength(uint32_t count) override { sentLengths.push_back(count); }
    BOOL SetReply(const char* data, uint32_t length) override
    {
        ++chunks;
        EXPECT_EQ('\0', data[length]);
        return CData::SetReply(data, length);
    }
};

struct TransportTest : testing::Test {
    CUnitPort port;
    CFreeData request;
    CPrinterData transport;
    uint64_t Elapsed() const { return port.clock.Elapsed(); }
};

TEST_F(TransportTest, FailedSendsAreReportedWithoutADelay)
{
    port.lower.allow = [](const char*) { return false; };
    for (const uint32_t method : {1u, 2u, 7u}) {
        request.sendMethod = method;
        EXPECT_FALSE(transport.Send(port.record.get(), &request));
    }
    EXPECT_EQ((std::vector<uint32_t>{0, 5, 5}), request.sentLengths);
    EXPECT_EQ(0u, Elapsed());
}

TEST_F(TransportTest, ACommandIsWrittenOnceAndThePortsCountReported)
{
    struct Case {
        std::optional<DWORD> taken;
        bool sent;
        uint32_t reported;
    };
    uint64_t writes = 0;
    for (const Case& c : {Case{5, true, 5}, Case{2, true, 2}, Case{0, true, 0}, Case{std::nullopt, false, 0},
                          Case{4000000000, true, 5}}) {
        SCOPED_TRACE(testing::PrintToString(c.taken));
        port.lower.take = [&c](DWORD) { return c.taken; };
        const uint64_t start = Elapsed();
        EXPECT_EQ(c.sent, transport.Send(port.record.get(), &request) != FALSE);
        EXPECT_EQ(c.reported, request.sentLengths.back());
        EXPECT_EQ(c.sent ? 250u : 0u, Elapsed() - start);
        EXPECT_EQ(++writes, port.lower.CountCalls("WritePort"));
    }
}

TEST_F(TransportTest, AReplyIsNeverLongerThanWhatWasRequested)
{
    port.lower.reply = [] { return "Ver:1"s; };
    port.lower.readCount = 4000000000;
    EXPECT_FALSE(transport.Receive(port.record.get(), &request)) << "full chunks without an end";
    EXPECT_EQ(64u, request.chunks);
    request.receiveMethod = 2;
    port.lower.control = [](DWORD, const std::string&) { return std::string(5000, 'v'); };
    EXPECT_FALSE(transport.Receive(port.record.get(), &request));
    EXPECT_EQ(std::string(2048, 'v'), request.GetText());
}

TEST_F(TransportTest, ADeviceThatNeverStopsIsCutOff)
{
    port.lower.reply = [] { return std::string(5000, 'r'); };
    EXPECT_FALSE(transport.Receive(port.record.get(), &request));
    EXPECT_EQ(64u, request.chunks);
}

TEST_F(TransportTest, WhatASendLeavesBehindIsNoReasonForALostReply)
{
    port.lower.allow = [](const char* call) {
        SetLastError(call == "WritePort"s ? ERROR_NOT_SUPPORTED : GetLastError());
        return true;
    };
    EXPECT_FALSE(transport.Exchange(port.record.get(), &request));
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, GetLastError());
}

TEST_F(TransportTest, VendorCommandsFollowThreeZeroBytes)
{
    port.lower.control = [this](DWORD code, const std::string& input) {
        EXPECT_EQ(0x220038u, code);
        EXPECT_EQ("\0\0\0"s + request.command, input);
        return ""s;
    };
    request.sendMethod = 2;
    EXPECT_TRUE(transport.Send(port.record.get(), &request));
    EXPECT_EQ(1u, port.lower.CountCalls("GetPrinterDataFromPort"));
}

TEST_F(TransportTest, VendorRepliesAreTriedTenTimes)
{
    request.receiveMethod = 2;
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
    request.receiveMethod = 3;
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

TEST(PrinterValues, EndInANulWrittenAndRead)
{
    spooler::CreatePrinter(L"Cards");
    wchar_t name[] = L"Cards";
    HANDLE opened = nullptr;
    PRINTER_DEFAULTSW defaults{nullptr, nullptr, PRINTER_ACCESS_ADMINISTER};
    ASSERT_TRUE(OpenPrinterW(name, &opened, &defaults));
    const CPrinterHandle printer(opened);
    EXPECT_TRUE(WriteNumberValue(printer.Get(), L"CardCount", -2147483647 - 1));
    EXPECT_EQ("-2147483648\0"s, spooler::LoadValue(L"Cards", L"CardCount"));
    CPrinterData reader;
    spooler::StoreValue(L"Cards", L"Short", REG_BINARY, "-2");
    EXPECT_STREQ("-2147483648", reader.ReadValue(L"Cards", L"CardCount"));
    EXPECT_STREQ("-2", reader.ReadValue(L"Cards", L"Short")) << "no byte of the longer one follows it";
    spooler::RemovePrinter(L"Cards");
}

} // namespace
} // namespace zrtmon
