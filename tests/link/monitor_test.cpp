#include "link/monitor.h"

#include <gtest/gtest.h>

#include <atomic>
#include <optional>

#include "link/print_monitor_zrt.h"
#include "platform/spooler_admin.h"
#include "requests/data.h"
#include "tests/support/unit_port.h"

namespace zrtmon {
namespace {

using namespace std::string_literals;
using test::CUnitPort;

constexpr wchar_t kPrinter[] = L"Cards";
const std::string kStatusCommand = "\x1B\0\2Nr"s;

/// Sends its parameters and returns them as its text, which shows whose parameters a query ran with; or
/// always the same text.
class CEchoData : public CData {
public:
    explicit CEchoData(const char* constant = "", uint32_t method = kSendToPort)
        : m_isConstant(*constant != '\0'), m_method(method), m_parameters(constant)
    {
    }
    const uint8_t* GetCommand(uint32_t* length) override
    {
        *length = static_cast<uint32_t>(m_parameters.size());
        return reinterpret_cast<const uint8_t*>(m_parameters.data());
    }
    BOOL Prepare(const wchar_t* text) override
    {
        const std::wstring whole = text;
        const size_t slash = whole.find(L'/');
        if (!m_isConstant && slash != std::wstring::npos) {
            m_parameters.assign(whole.begin() + static_cast<std::ptrdiff_t>(slash) + 1, whole.end());
        }
        return slash != std::wstring::npos;
    }
    uint32_t GetSendMethod() override { return m_method; }
    uint32_t GetSendDelay() override { return 250; }
    uint32_t GetReceiveMethod() override
    {
        m_text = m_parameters;
        return kReceiveNothing;
    }

private:
    const bool m_isConstant;
    const uint32_t m_method;
    std::string m_parameters;
};

/// The printer family's model, with two names that echo.
class CTestModel : public CPrintMonitor {
public:
    CData* GetRequest(RequestCode code) override { return FindOrCreate(code); }
    CPrinterData* GetTransport() override { return &m_transport; }
    BOOL CanInterleave() override { return canInterleave && CPrintMonitor::CanInterleave(); }
    std::unique_ptr<CData> CreateRequest(RequestCode code) const override
    {
        if (code == MoveTo) {
            return std::make_unique<CEchoData>();
        }
        if (code != StationStatus) {
            return CPrintMonitorZRT().CreateRequest(code);
        }
        auto head = std::make_unique<CEchoData>("first;");
        head->SetNext(std::make_unique<CEchoData>("second;", CData::kSendVendorControl));
        head->GetNext()->SetNext(std::make_unique<CEchoData>("third;"));
        return head;
    }

    std::atomic<bool> canInterleave = true;

private:
    CPrinterData m_transport;
};

struct CMonitorTest : testing::Test {
    CMonitorTest()
    {
        auto owned = std::make_unique<CTestModel>();
        model = owned.get();
        monitor = std::make_unique<CMonitor>(std::move(owned));
        port.lower.reply = [this] { return port.lower.Written().ends_with(kStatusCommand) ? status : ""s; };
    }
    ~CMonitorTest() override
    {
        if (port.record->job) {
            JobRecordPtr(std::exchange(port.record->job, nullptr));
            spooler::RemovePrinter(kPrinter);
        }
    }

    /// StartDocument after the end of the previous one, if there is one.
    void StartNextDocument()
    {
        if (port.record->job) {
            JobRecordPtr(std::exchange(port.record->job, nullptr));
            ReleaseDocument(port.record.get());
            spooler::RemovePrinter(kPrinter);
        }
        StartDocument();
    }

    /// A document with its printer, and a job at the head of the printer's queue.
    void StartDocument()
    {
        spooler::CreatePrinter(kPrinter);
        const DWORD jobId = spooler::SubmitJob(kPrinter, L"cards");
        ASSERT_TRUE(ClaimDocument(port.record.get(), 5000));
        port.record->job = MakeJobRecord(kPrinter, jobId).release();
        ASSERT_TRUE(monitor->StartDoc(port.record.get()));
    }

    struct Answer {
        std::optional<DWORD> error; ///< of a query that failed
        std::string text;
    };
    Answer Query(const wchar_t* name)
    {
        char output[200] = "untouched";
        DWORD returned = 4711;
        SetLastError(ERROR_BUSY); // left over
        const BOOL ok =
            monitor->GetPrinterData(port.record.get(), name, nullptr, 0, output, sizeof output, &returned);
        return {ok ? std::nullopt : std::optional(GetLastError()), output};
    }
    DWORD Write(const std::string& data)
    {
        DWORD written = 4711;
        monitor->Write(port.record.get(), reinterpret_cast<const uint8_t*>(data.data()),
                       static_cast<DWORD>(data.size()), &written);
        return written;
    }
    /// "PrinterStatus", "PrinterError", "DeviceError" and "CardCount".
    static std::string Published()
    {
        std::string values;
        for (const wchar_t* name : {L"PrinterStatus", L"PrinterError", L"DeviceError", L"CardCount"}) {
            values += (values.empty() ? "" : " ") + std::string(spooler::LoadValue(kPrinter, name)->c_str());
        }
        return values;
    }

    CUnitPort port{0xFFFFFF00u}; // the tick count wraps in the course of each test
    CTestModel* model;
    std::unique_ptr<CMonitor> monitor;
    std::string status = "ERR:0,0,0,0,0,7,";
};

TEST_F(CMonitorTest, AnEmptyTextAfterABusyStartDoesNotRunTwice)
{
    model->canInterleave = false;
    CVirtualClock::CClockThread later([this] {
        Sleep(100);
        model->canInterleave = true;
    });
    EXPECT_TRUE(Query(L"MoveTo/").error);
    later.Join();
    EXPECT_NEAR(350.0, static_cast<double>(port.clock.Elapsed()), 1.0); // once: 250 ms after the release
}

TEST_F(CMonitorTest, ALinkInTheChainThatIsNotSupportedEndsItAsASuccess)
{
    port.lower.failError = ERROR_NOT_SUPPORTED;
    EXPECT_EQ("first;", Query(L"StationStatus/1").text);
    port.lower.control = [](DWORD, const std::string&) { return ""s; };
    EXPECT_EQ("first;second;third;", Query(L"StationStatus/1").text);
    port.lower.control = nullptr;
    port.lower.failError = ERROR_GEN_FAILURE;
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, Query(L"StationStatus/1").error);
}

TEST_F(CMonitorTest, AChannelThatCannotBeOpenedFailsTheQuery)
{
    port.lower.allow = [this](const char* call) {
        port.lower.failError = GetLastError(); // the failing call does not set an error
        return call != "StartDocPort"s;
    };
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, Query(L"MoveTo/x").error);
    port.lower.allow = [](const char* call) {
        SetLastError(call == "StartDocPort"s ? ERROR_NOT_SUPPORTED : GetLastError()); // of a success
        return true;
    };
    EXPECT_FALSE(Query(L"MoveTo/x").error);
    port.lower.take = [](DWORD) { return std::nullopt; };
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, Query(L"MoveTo/x").error) << "a command that is not sent";
}

TEST_F(CMonitorTest, TheLastErrorSurvivesTheEndOfTheChannel)
{
    port.lower.allow = [](const char* call) {
        SetLastError(call == "EndDocPort"s ? 4711 : GetLastError());
        return call != "WritePort"s;
    };
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, Query(L"MoveTo/x").error);
}

TEST_F(CMonitorTest, AShorterOfferOfABufferThatWasSentIsTheMostThatIsReported)
{
    StartDocument();
    EXPECT_EQ(0u, Write("whole buffer"));
    EXPECT_EQ(0u, Write("whole buffer"));
    EXPECT_EQ(5u, Write("whole"));
    EXPECT_EQ("whole buffer", port.lower.Written());
}

TEST_F(CMonitorTest, ABufferThatWasGivenUpIsForgottenAtTheEndOfTheDocument)
{
    StartDocument();
    EXPECT_EQ(0u, Write("given up"));
    EXPECT_TRUE(monitor->EndDoc(port.record.get()));
    EXPECT_EQ(kStatusCommand, port.lower.Written());
    EXPECT_EQ(0u, Write("next")) << "taken over as a new buffer";
    EXPECT_EQ(0u, Write("next"));
    EXPECT_EQ(4u, Write("next"));
}

TEST_F(CMonitorTest, BusyIsRetriedEveryMillisecondForFiveSeconds)
{
    model->canInterleave = false;
    EXPECT_EQ(DWORD{ERROR_BUSY}, Query(L"MoveTo/x").error);
    EXPECT_EQ(5001u, port.clock.Elapsed());
    EXPECT_EQ(0u, port.lower.CountCalls("WritePort"));
}

TEST_F(CMonitorTest, AStatusWithoutACountLeavesTheOldOne)
{
    struct Case {
        const char* reply;
        bool answered;
        bool ready;
        const char* published;
    };
    StartDocument();
    for (const Case& c : {Case{"ERR:0,83,0,11,0,41,", true, false, "-1 21 83 41"},
                          Case{"ERR:0,92,0,0,0,42", true, true, "2 1 92 41"},
                          Case{"0,1,0,0,0,43,", false, true, "2 1 92 41"}}) {
        SCOPED_TRACE(c.reply);
        status = c.reply;
        BOOL ready = 4711;
        EXPECT_EQ(c.answered, monitor->RefreshStatus(port.record.get(), &ready) != nullptr);
        EXPECT_EQ(c.ready, ready != FALSE);
        EXPECT_EQ(c.published, Published());
    }
}

TEST_F(CMonitorTest, BetweenCardsDataIsHeldBackUntilThePrinterIsReady)
{
    StartDocument();
    const std::string data = "\x1B_\0\0\0\0\x01\xE4\x1B\0\2C\x8F\1"s + std::string(474, 'r') + "\x1B\0\2j"s;
    status = "ERR:1,0,0,11,0,7,";
    for (const DWORD elapsed : {0u, 0u, 250u + 100, 250u + 100}) {
        const uint64_t start = port.clock.Elapsed();
        EXPECT_EQ(0u, Write(data));
        EXPECT_EQ(elapsed, port.clock.Elapsed() - start);
    }
    status = "ERR:0,0,0,11,0,7,";
    EXPECT_EQ(data.size(), Write(data));
    EXPECT_EQ(0u, Write("\x1B_"));
    EXPECT_EQ(2u, Write("\x1B_")) << "a buffer that is only kept is not held back";
    EXPECT_EQ(data + kStatusCommand + kStatusCommand + kStatusCommand, port.lower.Written());
}

TEST_F(CMonitorTest, WithoutAStatusReplyDataGoesOn)
{
    StartDocument();
    status = "";
    const std::string data = "\x1B_\0\0\0\0\0\4\x1B\0\2j"s;
    EXPECT_EQ(0u, Write(data));
    EXPECT_EQ(0u, Write(data));
    EXPECT_EQ(data.size(), Write(data));
    EXPECT_EQ(250u + 3000, port.clock.Elapsed());
}

TEST_F(CMonitorTest, RefusedNamesAndParametersDoNotWait)
{
    StartDocument();
    port.lower.take = [](DWORD size) {
        Sleep(40000);
        return size;
    };
    Write("data");
    CVirtualClock::CClockThread job([this] { Write("data"); });
    CVirtualClock::CClockThread query([this] { Query(L"MoveTo/x"); });
    Sleep(1);
    for (const wchar_t* name : {L"MoveTo", L"UtilityCommand", L"Nonsense/1", L"FilmInfo"}) {
        EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, Query(name).error);
    }
    EXPECT_EQ(1u, port.clock.Elapsed());
}

TEST_F(CMonitorTest, AnAttemptWaitsForTheExchangeBeforeItChecksForABoundary)
{
    StartDocument();
    model->canInterleave = false;
    port.lower.take = [this](DWORD size) {
        if (size == 9) {
            Sleep(6000);
            model->canInterleave = true; // the last piece of the card has been sent
        }
        return size;
    };
    CVirtualClock::CClockThread query([this] { EXPECT_EQ("x", Query(L"MoveTo/x").text); });
    Sleep(100);
    EXPECT_EQ(0u, Write("last data"));
    EXPECT_EQ(0u, Write("last data"));
    query.Join();
    EXPECT_EQ(100u + 6000 + 250, port.clock.Elapsed());
}

TEST_F(CMonitorTest, AQueryThatArrivesDuringTheLastStatusIsWaitedFor)
{
    StartDocument();
    CVirtualClock::CClockThread query([this] {
        Sleep(100);
        EXPECT_EQ("x", Query(L"MoveTo/x").text);
    });
    EXPECT_TRUE(monitor->EndDoc(port.record.get()));
    EXPECT_TRUE(port.lower.Written().ends_with("x"));
    EXPECT_EQ(250u + 250, port.clock.Elapsed());
}

TEST_F(CMonitorTest, BytesAfterTheLastPacketForbidNothing)
{
    const std::string packet = "\x1B_\0\0\0\0\0\4\x1B\0\2j"s;
    for (const std::string& rest : {"\n"s, "\x1B_\0"s}) {
        SCOPED_TRACE(testing::PrintToString(rest));
        StartNextDocument();
        size_t polls = 0;
        port.lower.reply = [&] { return "ERR:0,0,0,"s + (++polls < 5 ? "11" : "0") + ",0,7,"; };
        port.lower.take = [&, calls = 0](DWORD size) mutable -> std::optional<DWORD> {
            // Of what was held, one byte in four seconds.
            return size > rest.size() ? size : calls++ % 40 == 0 ? std::optional<DWORD>(1) : std::nullopt;
        };
        for (const std::string& data : {packet, rest}) {
            for (unsigned offers = 0; Write(data) == 0; ++offers) {
                ASSERT_LT(offers, 100u);
            }
        }
        EXPECT_EQ(0u, port.lower.Written().find(packet));
        EXPECT_TRUE(monitor->EndDoc(port.record.get()));
        EXPECT_EQ(5u, polls) << "the end waits for the printer";
        const std::string written = port.lower.Written();
        EXPECT_NE(std::string::npos, written.find(packet + kStatusCommand + rest + kStatusCommand));
        port.lower.take = nullptr;
        EXPECT_EQ("x", Query(L"MoveTo/x").text);
    }
}

TEST_F(CMonitorTest, ADeadPortDoesNotHoldTheEndOfADocumentForLong)
{
    StartDocument();
    Write("\x1B_");
    Write("\x1B_");
    port.lower.take = [this](DWORD size) -> std::optional<DWORD> {
        if (port.lower.Written().empty()) {
            return 1;
        }
        return port.clock.Elapsed() < 5000 ? std::nullopt : std::optional(size);
    };
    EXPECT_TRUE(monitor->EndDoc(port.record.get()));
    EXPECT_EQ(5000u + 250, port.clock.Elapsed());
    EXPECT_EQ("\x1B" + kStatusCommand, port.lower.Written());
}

TEST_F(CMonitorTest, TheEndOfADocumentWaitsWhileThePrinterPrints)
{
    StartDocument();
    port.lower.reply = [polls = 0]() mutable {
        return ++polls < 4 ? "ERR:0,83,0,11,0,7,"s : "ERR:0,83,0,0,0,8,"s;
    };
    EXPECT_TRUE(monitor->EndDoc(port.record.get()));
    EXPECT_EQ(4u * 250 + 3 * 100, port.clock.Elapsed());
    EXPECT_EQ("-1 1 83 8", Published()) << "the previous error does not apply to the next job";
}

TEST_F(CMonitorTest, ACancelRunsConcurrentlyWithQueriesOnTheDocumentsPort)
{
    StartDocument();
    CVirtualClock::CClockThread query([this] {
        for (int round = 0; round < 20; ++round) {
            EXPECT_EQ("parameters", Query(L"MoveTo/parameters").text);
        }
    });
    for (int round = 0; round < 20; ++round) {
        EXPECT_TRUE(monitor->CancelJob(port.record.get()));
    }
    query.Join();
    EXPECT_EQ(20u * (100 + 250), port.clock.Elapsed());
    EXPECT_EQ(0u, port.lower.CountCalls("StartDocPort"));
    EXPECT_EQ(DWORD{PORT_DOC_OPEN}, port.record->flags);
}

TEST_F(CMonitorTest, TheEndOfADocumentLetsARunningQueryFinish)
{
    StartDocument();
    status = "no status";
    port.lower.take = [this](DWORD size) {
        if (size == 4) {
            Sleep(40000);
        }
        return size;
    };
    CVirtualClock::CClockThread query([this] { EXPECT_EQ("slow", Query(L"MoveTo/slow").text); });
    Sleep(200);
    const uint64_t start = port.clock.Elapsed();
    EXPECT_TRUE(monitor->EndDoc(port.record.get()));
    // The status exchange waits for the query's, 30000 ms at most, and then the end for the query itself.
    EXPECT_EQ(40350u - start, port.clock.Elapsed() - start);
    query.Join();
}

TEST_F(CMonitorTest, AnExchangeIsWaitedForThirtySeconds)
{
    port.lower.take = [](DWORD size) {
        Sleep(40000);
        return size;
    };
    StartDocument();
    Write("data");
    CVirtualClock::CClockThread job([this] { Write("data"); });
    Sleep(1);
    EXPECT_EQ(DWORD{ERROR_DEVICE_NOT_AVAILABLE}, Query(L"MoveTo/x").error);
    EXPECT_EQ(1u + 100 + 30000, port.clock.Elapsed()); // 100: for the document to end
    job.Join();
}

} // namespace
} // namespace zrtmon
