#include <algorithm>
#include <atomic>
#include <charconv>
#include <deque>
#include <memory>
#include <system_error>

#include "host/commands/commands.h"
#include "host/printer/status_words.h"
#include "host/text/json.h"
#include "host/text/text.h"
#include "platform/sync.h"
#include "simulator/printer_options.h"
#include "simulator/printer_server.h"
#include "simulator/server_orders.h"

namespace zrtmon::host {
namespace {

struct CSimulateArguments {
    std::string options;
    std::string listen = "127.0.0.1:9100";
    bool json = false;
};

struct CListenAddress {
    std::string host;
    uint16_t port = 0;
};

/// "ADDRESS:PORT", an IPv6 address in brackets.
CListenAddress ParseListen(const std::string& text)
{
    const size_t colon = std::min(text.rfind(':'), text.size());
    const std::string host = text.substr(0, colon);
    const char* const end = text.data() + text.size();
    uint16_t port = 0;
    const auto [read, error] = std::from_chars(std::min(text.data() + colon + 1, end), end, port);
    if (host.empty() || error != std::errc() || read != end) {
        throw CHostError(ExitStatus::Usage,
                         "--listen: '" + Printable(text) +
                             "' is not an address; write it like 127.0.0.1:9100 or [::1]:0");
    }
    const bool hasBrackets = host.front() == '[' && host.back() == ']';
    return {hasBrackets ? host.substr(1, host.size() - 2) : host, port};
}

sim::PrinterOptions ParseOptions(const std::string& text)
{
    std::string problem;
    const std::optional<sim::PrinterOptions> options = sim::ParsePrinterOptions(text, &problem);
    if (!options) {
        throw CHostError(ExitStatus::Usage, PrintableInput(problem));
    }
    return *options;
}

/// Writes what happens: lines for people on the messages' stream, or lines of JSON on the answers'.
class CServerLog final : public sim::CServerEvents {
public:
    CServerLog(CConsole& console, bool json) : m_console(console), m_json(json), m_startTick(GetTickCount())
    {
    }

    void OnListening(const std::string& address)
    {
        if (m_json) {
            Write("listening", {{"address", address}});
        } else {
            m_console.Answer("listening on " + address);
        }
    }
    void OnConnected() override { Event("connected", "a client is connected", {}); }
    void OnDisconnected(const std::string& problem) override
    {
        const bool isBroken = !problem.empty();
        Event("disconnected", isBroken ? "the connection broke: " + problem : "the client is done",
              {{"broken", isBroken ? 1 : 0}, {"text", PrintableUtf8(problem)}});
    }
    void OnCard(uint32_t number) override
    {
        Event("card", "card " + std::to_string(number) + " printed", {{"number", number}});
    }
    void OnError(int32_t code) override
    {
        Event("error", code == 0 ? "the error has cleared" : "printer error: " + DeviceErrorWords(code),
              {{"code", code}}, code == 0 ? Tone::Good : Tone::Warning);
    }
    void OnViolation(const sim::Violation& violation) override
    {
        Event("violation", "violation at byte " + std::to_string(violation.offset) + ": " + violation.text,
              {{"offset", violation.offset}, {"text", violation.text}}, Tone::Bad);
    }
    void OnBadOrder(const std::string& problem)
    {
        Event("refused", problem, {{"text", PrintableUtf8(problem)}}, Tone::Warning);
    }
    ExitStatus OnEnd(const sim::PrinterView& view)
    {
        Event("end",
              CardsText(view.cardsPrinted) + " printed, " + ByteCount(view.bytesReceived) + " received, " +
                  std::to_string(view.violationCount) + " violations",
              {{"cards", view.cardsPrinted},
               {"bytes", view.bytesReceived},
               {"jobs", view.jobsEnded},
               {"violations", view.violationCount}},
              view.violationCount == 0 ? Tone::Good : Tone::Bad);
        return view.violationCount == 0 ? ExitStatus::Done : ExitStatus::PrinterError;
    }

private:
    static std::string CardsText(uint32_t cards)
    {
        return std::to_string(cards) + (cards == 1 ? " card" : " cards");
    }

    void Event(const char* name, const std::string& line, CJson::Object members, Tone tone = Tone::Plain)
    {
        if (m_json) {
            Write(name, std::move(members));
        } else {
            m_console.Message(Printable(line), tone);
        }
    }

    void Write(const char* name, CJson::Object members)
    {
        members.insert(members.begin(), {{"ms", GetTickCount() - m_startTick}, {"event", name}});
        m_console.Answer(JsonLine(members));
    }

    CConsole& m_console;
    bool m_json;
    DWORD m_startTick;
};

/// Lines that one thread reads and another takes.
class COrderQueue {
public:
    void Add(std::string line)
    {
        CSectionHold hold(m_lock);
        m_lines.push_back(std::move(line));
    }
    std::optional<std::string> Take()
    {
        CSectionHold hold(m_lock);
        if (m_lines.empty()) {
            return std::nullopt;
        }
        std::string line = std::move(m_lines.front());
        m_lines.pop_front();
        return line;
    }

private:
    CCriticalSection m_lock;
    std::deque<std::string> m_lines;
};

/// Serves until the interrupt key is pressed or "quit" is read. The end of standard input ends nothing: a
/// service has none.
void Serve(sim::CPrinterServer& server, CServerLog& log, CHostEnvironment& environment)
{
    COrderQueue orders;
    std::atomic<bool> quits{false};
    const auto reader = environment.startThread([&] {
        const auto stop = [&] { return quits.load(); };
        while (std::optional<std::string> line = environment.readLine(stop)) {
            orders.Add(std::move(*line));
        }
    });
    while (!quits) {
        server.Step();
        bool isQuit = environment.wasInterrupted();
        while (const std::optional<std::string> line = orders.Take()) {
            const std::string problem = sim::CarryOutOrder(server, *line, &isQuit);
            if (!problem.empty()) {
                log.OnBadOrder(problem);
            }
        }
        quits = isQuit;
    }
}

ExitStatus Simulate(const CSimulateArguments& arguments, CHostEnvironment& environment, CConsole& console)
{
    const sim::PrinterOptions options = ParseOptions(arguments.options);
    const CListenAddress address = ParseListen(arguments.listen);
    CServerLog log(console, arguments.json);
    std::unique_ptr<sim::CPrinterServer> server;
    try {
        server = std::make_unique<sim::CPrinterServer>(address.host, address.port, options, log);
    } catch (const std::system_error& error) {
        throw CHostError(ExitStatus::NoDevice,
                         "listening on " + Printable(arguments.listen) + ": " +
                             Printable(error.code().message()) +
                             "; give another --listen ADDRESS:PORT, port 0 for any free one");
    }
    log.OnListening(server->Address());
    Serve(*server, log, environment);
    return log.OnEnd(server->Printer().View());
}

} // namespace

CCommand SimulateCommand()
{
    const auto arguments = std::make_shared<CSimulateArguments>();
    return {
        .name = "simulate",
        .help = "Be a card printer on the network, until interrupted or told to quit",
        .options = {{.name = "OPTIONS", .target = &arguments->options, .help = "As of the port sim:OPTIONS"},
                    {.name = "--listen",
                     .target = &arguments->listen,
                     .help = "Where clients connect; port 0 takes a free one",
                     .form = "ADDRESS:PORT"},
                    {.name = "--json",
                     .target = &arguments->json,
                     .help = "Write what happens as lines of JSON on standard output"}},
        .run = [arguments](CHostEnvironment& environment, CConsole& console) {
            return Simulate(*arguments, environment, console);
        }};
}

} // namespace zrtmon::host
