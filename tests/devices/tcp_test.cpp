// Real connections on loopback: the simulated printer on the network, and the port that leads to it. The
// clock is real here, and each test takes less than a second.
#include <atomic>
#include <random>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "devices/tcp_port.h"
#include "platform/thread.h"
#include "platform/virtual_clock.h"
#include "simulator/job_builder.h"
#include "simulator/printer_server.h"

namespace zrtmon::test {
namespace {

constexpr DWORD kLimitMs = 5000; // of everything that should take milliseconds

struct CRecordedEvents final : sim::CServerEvents {
    void OnConnected() override { ++connections; }
    void OnDisconnected(const std::string& problem) override { ++(problem.empty() ? ends : breaks); }
    void OnCard(uint32_t) override { ++cards; }
    void OnError(int32_t code) override { error = code; }
    void OnViolation(const sim::Violation&) override { ++violations; }

    std::atomic<unsigned> connections{0};
    std::atomic<unsigned> ends{0};
    std::atomic<unsigned> breaks{0};
    std::atomic<unsigned> cards{0};
    std::atomic<int32_t> error{0};
    std::atomic<unsigned> violations{0};
};

/// The server on its thread. Orders are carried out there.
class CServerFixture {
public:
    explicit CServerFixture(const std::string& options = "card-ms=0")
        : m_server("127.0.0.1", 0, *sim::ParsePrinterOptions(options, &m_problem), events),
          m_thread(std::make_unique<CThread>([this] { Run(); }))
    {
    }
    ~CServerFixture()
    {
        m_isEnding = true;
        m_thread.reset();
    }

    std::string Address() const { return m_server.Address(); }
    sim::CCardPrinter& Printer() { return m_server.Printer(); }
    void Order(void (*order)(sim::CPrinterServer&)) { m_order = order; }

    CRecordedEvents events;

private:
    void Run()
    {
        while (!m_isEnding) {
            m_server.Step();
            if (auto* const order = m_order.exchange(nullptr)) {
                order(m_server);
            }
        }
    }

    std::string m_problem;
    sim::CPrinterServer m_server;
    std::atomic<bool> m_isEnding{false};
    std::atomic<void (*)(sim::CPrinterServer&)> m_order{nullptr};
    std::unique_ptr<CThread> m_thread;
};

template <class Condition>
bool Becomes(Condition condition)
{
    const DWORD start = GetTickCount();
    while (!condition()) {
        if (GetTickCount() - start > kLimitMs) {
            return false;
        }
        Sleep(1);
    }
    return true;
}

/// A port at an address.
struct CClient {
    explicit CClient(const std::string& address)
        : port(*devices::ParseDeviceName(L"tcp:" + std::wstring(address.begin(), address.end()), &problem))
    {
    }

    /// Offers the bytes until they are taken, as the spooler does; whether they all were.
    bool WriteAll(const std::string& bytes)
    {
        for (size_t done = 0; done < bytes.size();) {
            DWORD count = 0;
            const auto* data = reinterpret_cast<const BYTE*>(bytes.data() + done);
            if (port.Write(data, static_cast<DWORD>(bytes.size() - done), &count) != ERROR_SUCCESS) {
                return false;
            }
            done += count;
        }
        return true;
    }

    std::string ReadReply()
    {
        std::string reply(2048, '\0');
        DWORD count = 0;
        Becomes([&] {
            return port.Read(reinterpret_cast<BYTE*>(reply.data()), 2048, &count) != ERROR_SUCCESS ||
                   count > 0;
        });
        return reply.substr(0, count);
    }

    bool Print(const std::string& bytes)
    {
        const bool isWritten = port.Start() == ERROR_SUCCESS && WriteAll(bytes);
        port.End(false);
        return isWritten && !port.Failure();
    }

    std::string problem;
    devices::CTcpPort port;
};

std::string JobOf(uint32_t cards)
{
    const sim::Job job = sim::BuildJob({.cards = cards});
    return {job.bytes.begin(), job.bytes.end()};
}

const std::string kStatusCommand("\x1B\0\x02Nr", 5);

TEST(TcpPrinter, PrintsEveryCardAndAnswersOnTheSameConnection)
{
    CServerFixture server;
    CClient client(server.Address());
    ASSERT_EQ(ERROR_SUCCESS, client.port.Start());
    EXPECT_FALSE(client.port.HasReplied());
    ASSERT_TRUE(client.WriteAll(JobOf(30) + kStatusCommand));
    EXPECT_EQ(0u, client.ReadReply().find("ERR:0,0,"));
    EXPECT_TRUE(client.port.HasReplied());
    client.port.End(false);
    EXPECT_FALSE(client.port.Failure());
    EXPECT_TRUE(Becomes([&] { return server.events.ends == 1 && server.events.cards == 30; }));
    EXPECT_EQ(0u, server.events.violations);
    EXPECT_EQ(0u, server.events.breaks);
}

TEST(TcpPrinter, AnswersBetweenAnyTwoOfThreeHundredCards)
{
    constexpr uint32_t kCards = 300;
    CServerFixture server("card-ms=0,cards=1000");
    CClient client(server.Address());
    const sim::Job job = sim::BuildJob({.cards = kCards});
    ASSERT_EQ(ERROR_SUCCESS, client.port.Start());
    size_t sent = 0;
    for (uint32_t card = 1; card <= kCards; ++card) {
        const size_t end = job.cardEnds[card - 1];
        ASSERT_TRUE(client.WriteAll(std::string(job.bytes.begin() + static_cast<ptrdiff_t>(sent),
                                                job.bytes.begin() + static_cast<ptrdiff_t>(end)) +
                                    kStatusCommand));
        sent = end;
        const std::string reply = client.ReadReply();
        ASSERT_TRUE(reply.ends_with("," + std::to_string(1000 + card) + ",")) << reply;
    }
    ASSERT_TRUE(
        client.WriteAll(std::string(job.bytes.begin() + static_cast<ptrdiff_t>(sent), job.bytes.end())));
    client.port.End(false);
    EXPECT_FALSE(client.port.Failure());
    EXPECT_TRUE(Becomes([&] { return server.events.ends == 1 && server.events.cards == kCards; }));
    EXPECT_EQ(0u, server.events.violations);
}

TEST(TcpPrinter, ServesAQueueOfClientsOneAfterTheOther)
{
    constexpr unsigned kClients = 8;
    CServerFixture server;
    std::vector<std::unique_ptr<CClient>> clients;
    for (unsigned i = 0; i < kClients; ++i) {
        clients.push_back(std::make_unique<CClient>(server.Address()));
        ASSERT_EQ(ERROR_SUCCESS, clients.back()->port.Start());
        ASSERT_TRUE(clients.back()->WriteAll(JobOf(1) + kStatusCommand));
    }
    for (unsigned i = 0; i < kClients; ++i) {
        EXPECT_TRUE(clients[i]->ReadReply().ends_with("," + std::to_string(101 + i) + ",")) << i;
        EXPECT_EQ(i + 1, server.events.connections);
        clients[i]->port.End(false);
        EXPECT_FALSE(clients[i]->port.Failure());
    }
    EXPECT_EQ(kClients, server.events.cards);
}

TEST(TcpPrinter, LosesNoByteWhenRepliesAreLeftUnread)
{
    CServerFixture server;
    CClient client(server.Address());
    std::string job = JobOf(20);
    for (int i = 0; i < 50; ++i) {
        job += kStatusCommand;
    }
    EXPECT_TRUE(client.Print(job + JobOf(20)));
    EXPECT_TRUE(Becomes([&] { return server.events.cards == 40; }));
}

TEST(TcpPrinter, ClosesAfterAHalfCloseWhenAllIsPrintedAndReplied)
{
    CServerFixture server("card-ms=50,reply-ms=100");
    CClient client(server.Address());
    ASSERT_EQ(ERROR_SUCCESS, client.port.Start());
    ASSERT_TRUE(client.WriteAll(JobOf(3) + kStatusCommand));
    client.port.End(false);
    EXPECT_EQ(3u, server.Printer().View().cardsPrinted) << "the end of the stream came before the last card";
    EXPECT_TRUE(Becomes([&] { return server.events.ends == 1; }));
}

TEST(TcpPrinter, ServesOneClientAtATimeAndTheNextAfterwards)
{
    CServerFixture server;
    CClient first(server.Address());
    CClient second(server.Address());
    ASSERT_EQ(ERROR_SUCCESS, first.port.Start());
    ASSERT_TRUE(Becomes([&] { return server.events.connections == 1; }));
    ASSERT_EQ(ERROR_SUCCESS, second.port.Start()); // the system accepts it; the printer does not serve it
    ASSERT_TRUE(second.WriteAll(kStatusCommand));
    Sleep(50);
    EXPECT_FALSE(second.port.HasReplied());
    EXPECT_EQ(1u, server.events.connections);
    first.port.End(false);
    EXPECT_EQ(0u, second.ReadReply().find("ERR:"));
    second.port.End(false);
}

TEST(TcpPrinter, ThatDropsTheConnectionFailsTheDocumentAndServesTheNext)
{
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    CServerFixture server;
    CClient client(server.Address());
    const std::string job = JobOf(2);
    for (unsigned round = 1; round <= 10; ++round) {
        ASSERT_EQ(ERROR_SUCCESS, client.port.Start());
        ASSERT_TRUE(client.WriteAll(job.substr(0, random() % job.size())));
        ASSERT_TRUE(Becomes([&] { return server.events.connections == 2 * round - 1; }));
        server.Order([](sim::CPrinterServer& s) { s.Drop(); });
        ASSERT_TRUE(Becomes([&] { return server.events.breaks == round; }));
        EXPECT_FALSE(client.WriteAll(std::string(1 << 20, '\0')));
        client.port.End(false);
        ASSERT_TRUE(client.port.Failure());
        EXPECT_NE(std::string::npos, client.port.Failure()->text.find("check what was printed"));
        const unsigned before = server.events.cards;
        EXPECT_TRUE(client.Print(job));
        EXPECT_TRUE(Becomes([&] { return server.events.cards >= before + 2; }));
    }
}

TEST(TcpPrinter, SurvivesClientsThatVanishAtAnyByte)
{
    CServerFixture server;
    const std::string job = JobOf(1);
    for (size_t size = 0; size <= job.size(); size += job.size() / 8) {
        CClient client(server.Address());
        ASSERT_EQ(ERROR_SUCCESS, client.port.Start());
        ASSERT_TRUE(client.WriteAll(job.substr(0, size)));
        client.port.Abandon(); // closes without a half-close
        client.port.End(false);
    }
    EXPECT_TRUE(CClient(server.Address()).Print(JobOf(1)));
    EXPECT_TRUE(Becomes([&] { return server.events.ends >= 1; }));
}

TEST(TcpPrinter, ThatShutsItsWindowIsWaitedForAndTakesTheRest)
{
    CServerFixture server;
    server.Order([](sim::CPrinterServer& s) { s.Stall(300); });
    CClient client(server.Address());
    const std::string zeros(16 << 20, '\0'); // more than the system buffers
    const DWORD start = GetTickCount();
    EXPECT_TRUE(client.Print(zeros));
    EXPECT_LE(250u, GetTickCount() - start);
    EXPECT_TRUE(Becomes([&] { return server.Printer().View().bytesReceived == zeros.size(); }));
}

TEST(TcpPrinter, ReportsErrorsAndViolations)
{
    CServerFixture server;
    server.Printer().SetError(83);
    EXPECT_TRUE(Becomes([&] { return server.events.error == 83; }));
    server.Printer().ClearError();
    EXPECT_TRUE(Becomes([&] { return server.events.error == 0; }));
    CClient client(server.Address());
    client.Print(std::string("\x1B_\0\0\0\0\0\x10"
                             "a packet cut off",
                             16));
    EXPECT_TRUE(Becomes([&] { return server.events.violations > 0; }));
}

TEST(TcpConnection, IsRefusedWhereNobodyListens)
{
    const std::string address = CListener("127.0.0.1", 0).Address(); // free again
    CClient client(address);
    EXPECT_EQ(ERROR_DEVICE_NOT_AVAILABLE, client.port.Start());
    EXPECT_EQ(ECONNREFUSED, client.port.Failure()->systemError);
}

TEST(TcpConnection, ThatNobodyAnswersIsGivenUpAfterFiveSeconds)
{
    CVirtualClock clock;
    // A listener whose queue is full: the system drops what asks to connect.
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ASSERT_EQ(0, bind(listener, reinterpret_cast<sockaddr*>(&address), size));
    ASSERT_EQ(0, listen(listener, 0));
    ASSERT_EQ(0, getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size));
    std::vector<std::unique_ptr<CClient>> clients;
    DWORD error = ERROR_SUCCESS;
    for (int i = 0; i < 4 && error == ERROR_SUCCESS; ++i) {
        clients.push_back(std::make_unique<CClient>("127.0.0.1:" + std::to_string(ntohs(address.sin_port))));
        error = clients.back()->port.Start();
    }
    EXPECT_EQ(ERROR_DEVICE_NOT_AVAILABLE, error);
    EXPECT_EQ(ETIMEDOUT, clients.back()->port.Failure()->systemError);
    EXPECT_NEAR(5000.0, static_cast<double>(clock.Elapsed()), 10.0);
    close(listener);
}

TEST(Listener, SaysWhereItListensAndRefusesAnAddressInUse)
{
    const CListener ipv4("127.0.0.1", 0);
    EXPECT_EQ(0u, ipv4.Address().find("127.0.0.1:"));
    const auto port = static_cast<uint16_t>(std::stoi(ipv4.Address().substr(10)));
    EXPECT_THROW(CListener("127.0.0.1", port), std::system_error);
    EXPECT_THROW(CListener("no such host", 0), std::system_error);
}

TEST(Descriptor, IsWaitedForOnTheInstalledClock)
{
    int pipe[2] = {};
    ASSERT_EQ(0, ::pipe(pipe));
    {
        CVirtualClock clock(CVirtualClock::kBeforeWrap);
        EXPECT_FALSE(WaitForDescriptor(pipe[0], DescriptorEvent::Readable, 30000));
        EXPECT_EQ(30000u, clock.Elapsed());
        EXPECT_TRUE(WaitForDescriptor(pipe[1], DescriptorEvent::Writable, 30000));
        EXPECT_EQ(30000u, clock.Elapsed());
    }
    const DWORD start = GetTickCount();
    EXPECT_FALSE(WaitForDescriptor(pipe[0], DescriptorEvent::Readable, 50));
    EXPECT_LE(49u, GetTickCount() - start);
    ASSERT_EQ(1, write(pipe[1], "x", 1));
    EXPECT_TRUE(WaitForDescriptor(pipe[0], DescriptorEvent::Readable, kLimitMs));
    close(pipe[0]);
    close(pipe[1]);
}

} // namespace
} // namespace zrtmon::test
