#include "tests/seeds/simulated_site.h"

#include <algorithm>
#include <utility>

#include "platform/spooler_admin.h"

namespace zrtmon::simulation {

namespace {

constexpr size_t kHeldAtMost = 1024;        // bytes reported as written that wait for the rest of their unit
constexpr uint64_t kNoProgressMs = 600'000; // longer than any trouble lasts
constexpr uint64_t kFlushLimitMs = 5000;    // after which the end of a job gives up its last bytes
constexpr uint64_t kQueryLimitMs =
    150'000; // channel, exchange twice, retries, and a chain with silent replies
constexpr uint64_t kQuietLimitMs = 25'000;
constexpr DWORD kSettleMs = 120'000; // for the printer to print all that it has
constexpr DWORD kShortWaitMs = 10;
constexpr uint32_t kErrorCodes[] = {1, 30, 83, 147, 146, 999};

/// A query that is answered unless something prevents it.
struct Question {
    const wchar_t* text;
    const char* answer; ///< what the answer begins with
};
constexpr Question kServed[] = {{L"CardCount", ""},
                                {L"PrinterError", ""},
                                {L"ConfigInfo", "MagModule=1;FlipperModule=1"},
                                {L"RibbonInfo", "PartNumber=R5210;OEMPartNumber=OEM5210;"},
                                {L"CurrentSettings", "Image Darkness="},
                                {L"DefaultSettings", "Image Darkness=0,"},
                                {L"SerialNumber", "SN24070001"},
                                {L"StationStatus/2", ""},
                                {L"LCDInfo", ""},
                                {L"MagData", "Track1="},
                                {L"VersionInfo", "Firmware=1.4.2"},
                                {L"SecurityInfo", "Validation="}};
/// Queries without an answer: they only have an effect, or are refused.
constexpr const wchar_t* kUnanswered[] = {
    L"MoveTo/2",       L"UtilityCommand/9",    L"SimulateButtonPress/0", L"CancelPrint",
    L"Password/clerk", L"EnablePassword/boss", L"DisablePassword/boss",  L"Password/nobody",
    L"FilmInfo",       L"StationStatus/6"};

constexpr const char* kPasswords[] = {"boss", "clerk", "clerk", "nobody"};

std::string WideBytes(const std::string& text)
{
    const std::wstring wide(text.begin(), text.end());
    return {reinterpret_cast<const char*>(wide.c_str()), (wide.size() + 1) * sizeof(wchar_t)};
}

/// A packet whose only command never ends: the buffer that holds it fills up.
std::vector<uint8_t> EndlessCommand(uint32_t size)
{
    std::vector<uint8_t> job = {0x1B, '_', 0, 0, 0, 0, 0x40, 0, 0x1B, 0, 2, 'C'};
    job.resize(size, 'p');
    return job;
}

std::string DrawOptions(CRandomSource& random, unsigned number)
{
    std::string options = "admin-password=boss,user-password=clerk,seed=" + std::to_string(number);
    options += ",card-ms=" + std::to_string(random.OneIn(2) ? 1 : random.Between(1, 4000));
    options += ",buffer-cards=" + std::to_string(random.Between(0, 2));
    options += random.OneIn(3) ? ",protected=1" : "";
    return options;
}

} // namespace

CSimulatedSite::CSimulatedSite(CSimulation& simulation, unsigned number)
    : m_simulation(simulation), m_number(number), m_printerName(L"Printer " + std::to_wstring(number)),
      m_fixture(simulation.clock, simulation.ports, m_printerName, DrawOptions(simulation.random, number)),
      m_faultyPort(simulation, number, m_fixture.lower)
{
    if (simulation.random.OneIn(3)) {
        spooler::StoreValue(m_printerName, L"ConfigurationFile", REG_SZ, WideBytes(ZRT_POLICY_FILE));
    }
}

bool CSimulatedSite::Expect(bool holds, const char* rule, const std::string& context)
{
    return m_simulation.journal.Expect(holds, rule, context + " (port " + std::to_string(m_number) + ")");
}

void CSimulatedSite::Start()
{
    m_threads.push_back(m_simulation.Spawn([this] { RunJobs(); }));
    m_threads.push_back(m_simulation.Spawn([this] { OperatePrinter(); }));
    for (uint32_t askers = m_simulation.random.Between(0, 3); askers > 0; --askers) {
        m_threads.push_back(m_simulation.Spawn([this] { AskQuestions(); }));
    }
}

// ---------------------------------------------------------------------------------------------
// The port

bool CSimulatedSite::OpenPort()
{
    ++m_simulation.opening;
    const unsigned strikesBefore = m_simulation.Strikes();
    const bool isOpen = CSimulation::Call([this] { return m_fixture.Open(); });
    const bool isUnguarded = m_simulation.Strikes() != strikesBefore;
    --m_simulation.opening;
    m_simulation.journal.Note(isOpen ? "port opened" : "port not opened", m_number, isUnguarded);
    if (!isOpen) {
        Expect(!m_simulation.troubles.IsQuiet(), "a port does not open");
        return false;
    }
    m_faultyPort.NoteOpened(isUnguarded);
    m_printer = &m_fixture.Printer();
    m_isAway = false;
    return true;
}

/// Closes the port when no thread uses it. Repeated while the lower monitor refuses.
void CSimulatedSite::ClosePort()
{
    m_isAway = true;
    while (m_inUse > 0) {
        Sleep(kShortWaitMs);
    }
    if (Port().documentOpen && !m_isStartUndone) {
        ++m_misuses;
        ++m_simulation.blocksLeft;
    }
    while (!CSimulation::Call([this] { return m_fixture.Close(); })) {
        if (!Expect(m_simulation.troubles.documents, "a port does not close")) {
            return;
        }
        Sleep(kShortWaitMs);
    }
    if (m_faultyPort.IsUnguarded() || std::exchange(m_isStartUndone, false)) {
        m_misuses = Port().misuses;
    }
    m_simulation.journal.Note("port closed", m_number);
}

// ---------------------------------------------------------------------------------------------
// Jobs

void CSimulatedSite::RunJobs()
{
    CRandomSource& random = m_simulation.random;
    for (uint32_t jobs = random.Between(1, 4); jobs > 0; --jobs) {
        Sleep(random.Between(0, 500));
        if (!m_fixture.port && !OpenPort()) {
            continue;
        }
        PrintOne(DrawPrint());
        if (m_fixture.port && (m_faultyPort.IsStuck() || random.OneIn(4))) {
            ClosePort();
        }
    }
    m_isDone = true;
}

CSimulatedSite::Print CSimulatedSite::DrawPrint()
{
    CRandomSource& random = m_simulation.random;
    Print print;
    if (!random.OneIn(5)) {
        sim::JobShape shape = sim::RandomShape(random.Word());
        shape.startCommand =
            shape.startCommand || !shape.framed; // with neither the printer does not recognise it as a job
        print.job = sim::BuildJob(shape);
        print.isValid = true;
        // Filling after the end of a job keeps the gate from querying the printer, and then it lets
        // everything through.
        print.mustBeLetOut = shape.endCommand && shape.framed && shape.tailBytes == 0;
    } else {
        print.job.bytes =
            random.OneIn(4) ? EndlessCommand(random.Between(12, 4000)) : sim::RandomGarbage(random.Word());
    }
    const auto size = static_cast<uint32_t>(print.job.bytes.size());
    print.offered = random.OneIn(8) ? random.Between(0, size) : size;
    return print;
}

void CSimulatedSite::PrintOne(Print print)
{
    m_faultyPort.BeginJob(print.job, print.isValid);
    print.securityChanges = m_securityChanges;
    print.before = m_printer->View();
    const bool started = CSimulation::Call([this] { return m_fixture.StartDocument(); });
    const DWORD error = GetLastError();
    m_simulation.journal.Note(started ? "document" : "document refused", m_number, started ? 0 : error);
    if (!started) {
        Expect(error == ERROR_BUSY || !m_simulation.troubles.IsQuiet(), "a document does not begin,",
               "error " + std::to_string(error));
        m_isStartUndone = m_isStartUndone || m_faultyPort.IsJobStuck();
        m_fixture.RemoveJob();
        return m_faultyPort.EndJob(false);
    }
    OfferAll(print);
    if (!print.staysOpen && m_simulation.random.OneIn(40)) {
        CloseUnderDocument();
    } else {
        End(print);
    }
    m_faultyPort.EndJob(!Port().documentOpen);
}

void CSimulatedSite::OfferAll(Print& print)
{
    CRandomSource& random = m_simulation.random;
    while (!print.isGivenUp && print.reported < print.offered) {
        const size_t sizes[] = {random.Between(1, 16), random.Between(1, 600), random.Between(1, 5000),
                                65536};
        print.isGivenUp = !OfferPiece(print, std::min(random.Pick(sizes), print.offered - print.reported));
        Expect(!print.isValid || m_faultyPort.Below() + kHeldAtMost >= print.reported,
               "bytes are reported written that are neither below nor held");
    }
}

/// Offers a piece repeatedly, sometimes from another buffer, until it is accepted. False if the spooler has
/// given the job up.
bool CSimulatedSite::OfferPiece(Print& print, size_t piece)
{
    CRandomSource& random = m_simulation.random;
    const auto first = print.job.bytes.begin() + std::ptrdiff_t(print.reported);
    const uint64_t start = m_simulation.clock.Elapsed();
    std::vector<uint8_t> buffer(first, first + std::ptrdiff_t(piece));
    DWORD written = 0;
    for (unsigned round = 1; written == 0; ++round) {
        const BOOL ok = CSimulation::Call([&] {
            return m_fixture.table->pfnWritePort(m_fixture.port, buffer.data(), static_cast<DWORD>(piece),
                                                 &written);
        });
        Expect(ok && written <= piece, "WritePort returns an invalid result");
        const bool isDeleted = (m_fixture.JobStatus() & JOB_STATUS_DELETING) != 0;
        if (written == 0 && isDeleted && random.OneIn(3)) {
            m_simulation.journal.Note("job given up", m_number);
            return false;
        }
        if (!Expect(m_simulation.clock.Elapsed() - start < kNoProgressMs, "a job makes no progress")) {
            return false;
        }
        if (random.OneIn(8)) { // the old buffer is no longer valid
            std::vector<uint8_t> moved = buffer;
            std::ranges::fill(buffer, uint8_t{0xEE});
            buffer.swap(moved);
        }
        if (round % 4 == 0) {
            Sleep(1);
        }
    }
    m_simulation.journal.Note("taken", m_number, piece, written);
    print.reported += written;
    return true;
}

/// Its thread may return; it is refused, and its document released.
void CSimulatedSite::CloseUnderDocument()
{
    const HANDLE port = m_fixture.port;
    ClosePort();
    m_simulation.journal.Note("closed under a document", m_number);
    Expect(!m_fixture.table->pfnEndDocPort(port) && GetLastError() == ERROR_INVALID_PARAMETER,
           "a port that was closed under its document still serves it");
    m_fixture.RemoveJob();
}

void CSimulatedSite::End(Print& print)
{
    print.endedAt = m_simulation.clock.Elapsed();
    m_faultyPort.NoteEnding();
    const bool ended = CSimulation::Call([this] { return m_fixture.EndDocument(); });
    m_simulation.journal.Note(ended ? "document ended" : "document not ended", m_number,
                              m_faultyPort.Below());
    if (!ended) {
        Expect(m_simulation.troubles.documents, "a document does not end");
        return;
    }
    if (!print.isValid) {
        DrainReplies(); // garbage may contain a command by chance
    }
    CheckBytes(print);
    CheckPrinter(print);
    CheckPrinterData();
}

/// What is reported written has been passed on, except for a tail that the port did not take for 5000 ms,
/// bytes that were held and then dropped with the piece that completed them when the job was given up, and
/// what follows 1024 bytes without a complete unit.
void CSimulatedSite::CheckBytes(const Print& print)
{
    if (m_faultyPort.Below() >= print.reported) {
        return;
    }
    if (print.isGivenUp && m_faultyPort.Below() + kHeldAtMost >= print.reported) {
        m_simulation.journal.Note("piece dropped", m_number);
        return;
    }
    if (!print.isValid) {
        m_simulation.journal.Note("tail dropped", m_number);
        Expect(m_faultyPort.Below() >= kHeldAtMost, "a tail is dropped that could be held");
        return;
    }
    const uint64_t lastProgress = std::max(m_faultyPort.LastProgress(), print.endedAt);
    m_simulation.journal.Note("tail given up", m_number);
    Expect(m_simulation.clock.Elapsed() - lastProgress >= kFlushLimitMs, "bytes are lost,",
           std::to_string(print.reported - m_faultyPort.Below()));
}

/// A whole job of a kind that the printer understands must have been understood.
void CSimulatedSite::CheckPrinter(const Print& print)
{
    const bool isWhole = print.isValid && m_faultyPort.Below() == print.job.bytes.size();
    if (!isWhole || m_faultyPort.IsConfused() || m_faultyPort.IsUnguarded()) {
        return;
    }
    const sim::PrinterView view = m_printer->View();
    m_simulation.journal.Note("whole job", m_number, print.job.cards);
    Expect(view.violationCount == print.before.violationCount,
           "the printer complains:", view.violations.empty() ? "" : view.violations.back().text);
    if (print.job.packetStarts.empty()) {
        return; // the cards of raw data cannot be counted
    }
    Expect(view.commandsInsideCard == print.before.commandsInsideCard, "a command went into a card");
    Expect(view.cardsReceived - print.before.cardsReceived == print.job.cards, "cards are missing,",
           std::to_string(view.cardsReceived - print.before.cardsReceived) + " of " +
               std::to_string(print.job.cards));
    if (print.mustBeLetOut && print.securityChanges == m_securityChanges && m_simulation.troubles.IsQuiet()) {
        Expect(view.cardsRefused == print.before.cardsRefused, "the gate let a job's end through");
        m_simulation.journal.Note(view.passwordsAccepted > print.before.passwordsAccepted ? "gate opened"
                                                                                          : "no gate");
    }
}

void CSimulatedSite::CheckPrinterData()
{
    if (m_simulation.troubles.Fails(FaultPoint::SpoolerCall) ||
        m_simulation.troubles.Fails(FaultPoint::Allocation)) {
        return;
    }
    Expect(m_fixture.ValueOf(L"PrinterError") == "1", "PrinterError is not 1 after a job");
    Expect((m_fixture.JobStatus() & JOB_STATUS_PRINTED) != 0, "the job is not reported as sent");
    const std::string error = m_fixture.ValueOf(L"DeviceError");
    Expect(error == "-" || error == "0" ||
               std::ranges::find(kErrorCodes, std::stoul(error)) != std::end(kErrorCodes),
           "DeviceError is not one of the printer's errors", error);
}

// ---------------------------------------------------------------------------------------------
// Questions

void CSimulatedSite::AskQuestions()
{
    t_role = Role::Query;
    while (!m_isDone) {
        Sleep(m_simulation.random.Between(1, m_simulation.random.OneIn(3) ? 20 : 2000));
        if (!m_isAway) {
            ++m_inUse;
            AskOne();
            --m_inUse;
        }
    }
}

void CSimulatedSite::AskOne()
{
    CRandomSource& random = m_simulation.random;
    const bool isServed = random.OneIn(2);
    const Question question = isServed ? random.Pick(kServed) : Question{random.Pick(kUnanswered), ""};
    const std::wstring name = question.text;
    const std::string text(name.begin(), name.end());
    const bool isSecurity = text.find("Password/") != std::string::npos;
    m_securityChanges += isSecurity;
    const uint32_t countBefore = m_printer->View().cardCount;
    const uint64_t disorders = m_faultyPort.Disorders();
    const uint64_t start = m_simulation.clock.Elapsed();
    const auto answer = CSimulation::Call([&] { return m_fixture.Ask(name); });
    m_securityChanges += isSecurity; // the query may have begun before a job
    const uint64_t elapsed = m_simulation.clock.Elapsed() - start;
    const bool isBusy = !answer.ok && answer.error == ERROR_BUSY;
    m_simulation.journal.Note(answer.ok ? "answered"
                              : isBusy  ? "busy"
                                        : "not answered",
                              m_number, elapsed, answer.error);
    const std::string context = text + " '" + answer.text + "' error " + std::to_string(answer.error) + ", " +
                                std::to_string(elapsed) + " ms";
    const bool isQuiet = m_simulation.troubles.IsQuiet();
    Expect(elapsed <= (isQuiet ? kQuietLimitMs : kQueryLimitMs), "a query takes too long:", context);
    if (!isQuiet || isBusy || m_faultyPort.IsDisorderly() || m_faultyPort.Disorders() != disorders) {
        return;
    }
    Expect(answer.ok == isServed, "a query is not served as it should be:", context);
    Expect(answer.text.starts_with(question.answer), "a query got the answer of another:", context);
    const unsigned long count = text == "CardCount" ? std::stoul("0" + answer.text) : countBefore;
    Expect(countBefore <= count && count <= m_printer->View().cardCount, "a wrong card count:", context);
}

// ---------------------------------------------------------------------------------------------
// At the printer

void CSimulatedSite::OperatePrinter()
{
    while (!m_isDone) {
        Sleep(m_simulation.random.Between(20, 3000));
        if (m_printer) {
            Soothe();
            MakeTrouble();
        }
    }
}

/// Causes something that passes.
void CSimulatedSite::MakeTrouble()
{
    CRandomSource& random = m_simulation.random;
    const uint32_t clearMs = random.Between(1, 20'000);
    const auto code = static_cast<int32_t>(random.Pick(kErrorCodes));
    const std::function<void()> events[] = {
        [&] { m_printer->SetError(code, clearMs); },
        [&] { m_printer->FailAtCard(m_printer->View().cardsPrinted + random.Between(1, 3), code, clearMs); },
        [&] { m_printer->SetBusy(true); },
        [&] { m_printer->SetPrintState(random.OneIn(2) ? 11 : 0); },
        [&] { m_fixture.DeleteJob(); },
        [&] {
            ++m_securityChanges;
            m_printer->SetProtection(random.OneIn(2));
        },
        [&] { m_printer->ReplyNoise("~#"); },
        [&] { m_printer->SetReplyDelay(random.Between(1, 2500)); },
        // From here on queries may remain unanswered.
        [&] { m_printer->SetReplyDelay(random.Between(3000, 8000)); },
        [&] { m_printer->NeverAnswer(); },
        [&] { m_printer->CutReplies(random.Between(1, 20), random.Between(0, 500)); },
    };
    constexpr uint32_t kLast = std::size(events) - 1;
    const uint32_t what = random.Between(0, m_simulation.troubles.replies ? kLast : kLast - 3);
    m_simulation.journal.Note("printer event", m_number, what);
    events[what]();
}

/// Ends what MakeTrouble caused. A person asked for a password may enter one.
void CSimulatedSite::Soothe()
{
    m_printer->SetBusy(std::nullopt);
    m_printer->SetPrintState(std::nullopt);
    m_printer->ReplyNoise({});
    m_printer->SetReplyDelay(0);
    m_printer->NeverAnswer(false);
    m_printer->CutReplies(0);
    if (m_fixture.ValueOf(L"PrinterError") == "100") {
        m_simulation.journal.Note("password stored", m_number);
        spooler::StoreValue(m_printerName, L"Password", REG_BINARY, m_simulation.random.Pick(kPasswords));
    }
}

void CSimulatedSite::DrainReplies()
{
    uint8_t reply[4096];
    while (m_printer->TakeReply(reply, sizeof reply) > 0) {
    }
}

// ---------------------------------------------------------------------------------------------
// The end

void CSimulatedSite::Finish()
{
    if (!m_printer) {
        return; // the port never opened
    }
    Soothe();
    m_printer->ClearError();
    m_printer->FailAtCard(0, 0);
    m_printer->SetProtection(false);
    m_printer->EndDocument(); // discards what was sent in part
    Sleep(kSettleMs);
    DrainReplies();
    if (m_fixture.port && (m_faultyPort.IsStuck() || m_faultyPort.IsUnguarded())) {
        ClosePort();
    }
    if (!Expect(m_fixture.port || OpenPort(), "the port no longer opens")) {
        return;
    }
    Print print;
    print.job = sim::BuildJob({});
    print.isValid = true;
    print.mustBeLetOut = true;
    print.staysOpen = true;
    print.offered = print.job.bytes.size();
    const uint32_t printed = m_printer->View().cardsPrinted;
    PrintOne(print);
    Expect(m_printer->View().cardsPrinted == printed + 1, "the port no longer prints");
    const auto answer = m_fixture.Ask(L"CardCount");
    Expect(answer.ok && answer.text == std::to_string(m_printer->View().cardCount),
           "the port no longer answers,", answer.text + " error " + std::to_string(answer.error));
    ClosePort();
    const sim::PortView view = Port();
    Expect(!view.open && !view.documentOpen, "a port or document is left open");
    Expect(view.misuses == m_misuses,
           "the lower port was misused:", view.misuseTexts.empty() ? "" : view.misuseTexts.back());
}

} // namespace zrtmon::simulation
