#include "link/monitor.h"

#include <gtest/gtest.h>

#include <atomic>
#include <list>
#include <optional>

#include "link/print_monitor_zrt.h"
#include "platform/spooler_admin.h"
#include "requests/data.h"
#include "tests/support/unit_port.h"

namespace zrtmon {
namespace {

using namespace std::string_literals;
using test::UnitPort;

constexpr wchar_t kPrinter[] = L"Cards";
const std::string kStatusCommand = "\x1B\0\2Nr"s;

/// Sends and answers its parameters, which shows whose a query ran with, or always the same text.
class EchoData : public CData {
public:
    explicit EchoData(const char* constant = "", uint32_t method = kSendToPort)
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
        EXPECT_FALSE(m_isRunning) << "prepared while it runs";
        const std::wstring whole = text;
        const size_t slash = whole.find(L'/');
        if (!m_isConstant && slash != std::wstring::npos) {
            m_parameters.assign(whole.begin() + static_cast<std::ptrdiff_t>(slash) + 1, whole.end());
        }
        return slash != std::wstring::npos;
    }
    uint32_t GetSendMethod() override { return m_method; }
    uint32_t GetSendDelay() override
    {
        m_isRunning = true;
        return 250;
    }
    uint32_t GetReceiveMethod() override
    {
        m_isRunning = false;
        m_text = m_parameters;
        return kReceiveNothing;
    }

private:
    const bool m_isConstant;
    const uint32_t m_method;
    std::string m_parameters;
    bool m_isRunning = false;
};

/// The printer family's, with two names that echo.
class TestModel : public CPrintMonitor {
public:
    CData* GetRequest(RequestCode code) override { return FindOrCreate(code); }
    CPrinterData* GetTransport() override { return &m_transport; }
    BOOL CanInterleave() override { return canInterleave && CPrintMonitor::CanInterleave(); }
    std::unique_ptr<CData> CreateRequest(RequestCode code) const override
    {
        if (code == MoveTo) {
            return std::make_unique<EchoData>();
        }
        if (code != StationStatus) {
            return CPrintMonitorZRT().CreateRequest(code);
        }
        auto head = std::make_unique<EchoData>("first;");
        head->SetNext(std::make_unique<EchoData>("second;", CData::kSendVendorControl));
        head->GetNext()->SetNext(std::make_unique<EchoData>("third;"));
        return head;
    }

    std::atomic<bool> canInterleave = true;

private:
    CPrinterData m_transport;
};

struct MonitorTest : testing::Test {
    MonitorTest()
    {
        auto owned = std::make_unique<TestModel>();
        model = owned.get();
        monitor = std::make_unique<CMonitor>(std::move(owned));
        port.lower.reply = [this] { return port.lower.Written().ends_with(kStatusCommand) ? status : ""s; };
    }
    ~MonitorTest() override
    {
        if (port.record->job) {
            JobRecordPtr(std::exchange(port.record->job, nullptr));
            spooler::RemovePrinter(kPrinter);
        }
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
    Answer Ask(const wchar_t* name)
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

    UnitPort port{0xFFFFFF00u}; // the tick count wraps in the course of each test
    TestModel* model;
    std::unique_ptr<CMonitor> monitor;
    std::string status = "ERR:0,0,0,0,0,7,";
};

TEST_F(MonitorTest, AnEmptyTextAfterABusyStartDoesNotRunTwice)
{
    model->canInterleave = false;
    VirtualClock::Thread later([this] {
        Sleep(100);
        model->canInterleave = true;
    });
    EXPECT_TRUE(Ask(L"MoveTo/").error);
    later.Join();
    EXPECT_NEAR(350.0, static_cast<double>(port.clock.Elapsed()), 1.0); // once: 250 ms behind the release
}

TEST_F(MonitorTest, ALinkInTheChainThatIsNotSupportedEndsItAsASuccess)
{
    port.lower.failError = ERROR_NOT_SUPPORTED;
    EXPECT_EQ("first;", Ask(L"StationStatus/1").text);
    port.lower.control = [](DWORD, const std::string&) { return ""s; };
    EXPECT_EQ("first;second;third;", Ask(L"StationStatus/1").text);
    port.lower.control = nullptr;
    port.lower.failError = ERROR_GEN_FAILURE;
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, Ask(L"StationStatus/1").error);
}

TEST_F(MonitorTest, AChannelThatCannotBeOpenedFailsTheQuery)
{
    port.lower.allow = [this](const char* call) {
        port.lower.failError = GetLastError(); // it sets none of its own
        return call != "StartDocPort"s;
    };
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, Ask(L"MoveTo/x").error);
    port.lower.allow = [](const char* call) {
        SetLastError(call == "StartDocPort"s ? ERROR_NOT_SUPPORTED : GetLastError()); // of a success
        return true;
    };
    EXPECT_FALSE(Ask(L"MoveTo/x").error);
    port.lower.take = [](DWORD) { return 0; };
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, Ask(L"MoveTo/x").error) << "a command that does not leave";
}

TEST_F(MonitorTest, BusyIsRetriedEveryMillisecondForFiveSeconds)
{
    model->canInterleave = false;
    EXPECT_EQ(DWORD{ERROR_BUSY}, Ask(L"MoveTo/x").error);
    EXPECT_EQ(5001u, port.clock.Elapsed());
    EXPECT_EQ(0u, port.lower.CountCalls("WritePort"));
}

TEST_F(MonitorTest, QueriesWithDifferentParametersGetTheirOwnAnswers)
{
    std::list<VirtualClock::Thread> threads;
    for (int number = 0; number < 8; ++number) {
        threads.emplace_back([this, number] {
            const std::wstring name = L"MoveTo/parameter" + std::to_wstring(number);
            for (int round = 0; round < 5; ++round) {
                const Answer answer = Ask(name.c_str());
                EXPECT_EQ(DWORD{ERROR_BUSY}, answer.error.value_or(ERROR_BUSY));
                EXPECT_TRUE(answer.error || answer.text == "parameter" + std::to_string(number))
                    << answer.text;
            }
        });
    }
}

TEST_F(MonitorTest, AStatusWithoutACountLeavesTheOldOne)
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

TEST_F(MonitorTest, BetweenCardsDataIsHeldBackUntilThePrinterIsReady)
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
    EXPECT_EQ(2u, Write("\x1B_")) << "of a buffer that is kept nothing has to be held back";
    EXPECT_EQ(data + kStatusCommand + kStatusCommand + kStatusCommand, port.lower.Written());
}

TEST_F(MonitorTest, WithoutAStatusReplyDataGoesOn)
{
    StartDocument();
    status = "";
    const std::string data = "\x1B_\0\0\0\0\0\4\x1B\0\2j"s;
    EXPECT_EQ(0u, Write(data));
    EXPECT_EQ(0u, Write(data));
    EXPECT_EQ(data.size(), Write(data));
    EXPECT_EQ(250u + 3000, port.clock.Elapsed());
}

TEST_F(MonitorTest, HeldBytesLeaveAtTheEndOfTheDocument)
{
    StartDocument();
    const std::string held = "\x1B_\0"s;
    EXPECT_EQ(0u, Write(held));
    EXPECT_EQ(held.size(), Write(held)) << "only buffered";
    EXPECT_EQ("", port.lower.Written());
    size_t offered = 0;
    port.lower.take = [&](DWORD size) -> std::optional<DWORD> { // of what was held a byte in four seconds
        return size > held.size() ? size : offered++ % 40 == 0 ? std::optional<DWORD>(1) : std::nullopt;
    };
    EXPECT_TRUE(monitor->EndDoc(port.record.get()));
    EXPECT_EQ(held, port.lower.Written()) << "no status is asked inside a header that was cut";
}

TEST_F(MonitorTest, ADeadPortDoesNotHoldTheEndOfADocumentForLong)
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
    EXPECT_EQ(5000u, port.clock.Elapsed());
    EXPECT_EQ("\x1B", port.lower.Written()) << "no status is asked inside what was given up";
}

TEST_F(MonitorTest, TheEndOfADocumentWaitsWhileThePrinterPrints)
{
    StartDocument();
    port.lower.reply = [polls = 0]() mutable {
        return ++polls < 4 ? "ERR:0,83,0,11,0,7,"s : "ERR:0,83,0,0,0,8,"s;
    };
    EXPECT_TRUE(monitor->EndDoc(port.record.get()));
    EXPECT_EQ(4u * 250 + 3 * 100, port.clock.Elapsed());
    EXPECT_EQ("-1 1 83 8", Published()) << "an error of before is none of the next job's";
}

TEST_F(MonitorTest, ACancelRunsBesideQueriesWhichUseTheDocumentsPort)
{
    StartDocument();
    VirtualClock::Thread query([this] {
        for (int round = 0; round < 20; ++round) {
            EXPECT_EQ("parameters", Ask(L"MoveTo/parameters").text);
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

TEST_F(MonitorTest, TheEndOfADocumentLetsARunningQueryFinish)
{
    StartDocument();
    status = "no status";
    port.lower.take = [this](DWORD size) {
        if (size == 4) {
            Sleep(40000);
        }
        return size;
    };
    VirtualClock::Thread query([this] { EXPECT_EQ("slow", Ask(L"MoveTo/slow").text); });
    Sleep(200);
    const uint64_t start = port.clock.Elapsed();
    EXPECT_TRUE(monitor->EndDoc(port.record.get()));
    // The status exchange waits for the query's, 30000 ms at most, and then the end for the query itself.
    EXPECT_EQ(40350u - start, port.clock.Elapsed() - start);
    query.Join();
}

TEST_F(MonitorTest, AnExchangeIsWaitedForThirtySeconds)
{
    port.lower.take = [](DWORD size) {
        Sleep(40000);
        return size;
    };
    StartDocument();
    Write("data");
    VirtualClock::Thread job([this] { Write("data"); });
    Sleep(1);
    EXPECT_EQ(DWORD{ERROR_DEVICE_NOT_AVAILABLE}, Ask(L"MoveTo/x").error);
    EXPECT_EQ(30001u, port.clock.Elapsed());
    job.Join();
}

} // namespace
} // namespace zrtmon
