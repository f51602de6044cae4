// One job of CUPS at a scripted service; time is a number.
#include <gtest/gtest.h>

#include <vector>

#include "service/backend/print_session.h"

using namespace zrtmon;
using namespace zrtmon::backend;

namespace {

constexpr int64_t kHoldAfterMs = 900000;

class CScriptedService final : public IPrintService {
public:
    void Print(const CPrintOrder&) override { calls.emplace_back("Print"); }
    void Query(const std::string&, const std::string& valueName) override
    {
        calls.push_back("Query " + valueName);
    }
    bool Cancel() override { return Call("Cancel"); }
    bool Acknowledge() override { return Call("Acknowledge"); }
    bool SupplyPassword(std::string_view password) override
    {
        return Call("Password " + std::string(password));
    }

    bool Call(const std::string& call)
    {
        calls.push_back(call);
        return takes;
    }
    size_t Count(const std::string& call) const
    {
        return static_cast<size_t>(std::count(calls.begin(), calls.end(), call));
    }

    std::vector<std::string> calls;
    bool takes = true;
};

CJobStatus Job(const char* state, int cards = 0)
{
    CJobStatus job;
    job.state = state;
    job.cards = cards;
    job.bytes = 1024;
    return job;
}

CJobStatus Held(int category, const char* reason)
{
    CJobStatus job = Job("held");
    job.category = category;
    job.reason = reason;
    return job;
}

CJobStatus AtTheGate()
{
    CJobStatus job = Held(100, "password required");
    job.wantsPassword = true;
    return job;
}

class PrintSession : public testing::Test {
public:
    void SetUp() override { password.Clear(); }

    void Begin(const std::string& secret = {}, const std::string& uuid = "u1")
    {
        for (const char c : secret) {
            password.Append(c);
        }
        session.emplace(CPrintSession::CSettings{{"desk", "Badge", "ann", uuid, 5},
                                                 kHoldAfterMs,
                                                 [this] { return isHeard; }},
                        password, service, lines, [this] { return now; });
        session->Start();
    }
    void BeginAccepted(const std::string& secret = {}, const std::string& uuid = "u1")
    {
        Begin(secret, uuid);
        session->OnAccepted();
    }
    void Pass(int64_t ms)
    {
        now += ms;
        session->OnTime();
    }
    bool Wrote(const std::string& line) const
    {
        return std::find(written.begin(), written.end(), line) != written.end();
    }
    std::string LastLine(const std::string& kind) const
    {
        const auto last = std::find_if(written.rbegin(), written.rend(),
                                       [&](const std::string& line) { return line.starts_with(kind); });
        return last == written.rend() ? "" : *last;
    }
    /// Each keyword was cleared as often as it was set.
    void ExpectNoStateLeft() const
    {
        int set = 0;
        for (const std::string& line : written) {
            set += line.starts_with("STATE: +") - line.starts_with("STATE: -");
        }
        EXPECT_EQ(0, set);
    }
    void ExpectHeld(const std::string& error) const
    {
        EXPECT_EQ(kHeld, session->ExitStatus());
        EXPECT_EQ("ERROR: held: " + error, LastLine("ERROR"));
        EXPECT_EQ(std::nullopt, session->Deadline());
        EXPECT_EQ("", password.Text());
        ExpectNoStateLeft();
    }

    int64_t now = 5000;
    bool isHeard = true;
    CScriptedService service;
    CSecret password;
    std::vector<std::string> written;
    CStatusLines lines{[this](const std::string& line) { written.push_back(line); }};
    std::optional<CPrintSession> session;
};

TEST_F(PrintSession, PrintsAJob)
{
    BeginAccepted();
    session->OnAnswer("RibbonInfo", "Type=YMCKO;PercentRemaining=70");
    session->OnJobChanged(Job("waiting"));
    session->OnJobChanged(Job("printing"));
    session->OnJobChanged(Job("printing", 2));
    session->OnJobChanged(Job("finishing", 2));
    session->OnJobChanged(Job("completed", 3));
    EXPECT_EQ((std::vector<std::string>{"Print", "Query RibbonInfo"}), service.calls);
    EXPECT_EQ((std::vector<std::string>{
                  "STATE: +connecting-to-device", "STATE: -connecting-to-device",
                  "ATTR: marker-types=ribbon marker-colors=none marker-names='Ribbon YMCKO' marker-levels=70",
                  "INFO: waiting for its turn", "INFO: printing, 0 cards, 1 KiB", "PAGE: 1 1", "PAGE: 2 1",
                  "INFO: printing, 2 cards, 1 KiB", "INFO: all data sent, waiting for the printer",
                  "PAGE: 3 1", "INFO: printed, 3 cards, 1 KiB"}),
              written);
    EXPECT_EQ(kPrinted, session->ExitStatus());
}

TEST_F(PrintSession, WaitsInPlaceUntilTheServiceTakesTheJob)
{
    Begin();
    int64_t waited = 0;
    for (size_t attempt = 1; attempt <= 50; ++attempt) {
        ASSERT_EQ(attempt, service.Count("Print"));
        session->OnRefused(Refusal::NotNow, "no printer of that name");
        ASSERT_TRUE(session->Deadline());
        const int64_t wait = *session->Deadline() - now;
        EXPECT_EQ(std::min<int64_t>(1000LL << std::min<size_t>(attempt - 1, 10), 30000), wait) << attempt;
        Pass(wait - 1);
        ASSERT_EQ(attempt, service.Count("Print")) << "offered before its time";
        Pass(1);
        waited += wait;
    }
    EXPECT_GT(waited, 20 * 60 * 1000);
    EXPECT_EQ(std::nullopt, session->ExitStatus());
    EXPECT_EQ("INFO: waiting: no printer of that name", LastLine("INFO"));
    session->OnAccepted();
    EXPECT_EQ("STATE: -connecting-to-device", LastLine("STATE"));
}

TEST_F(PrintSession, HoldsWhatTheServiceKnowsOrWillNeverTake)
{
    for (const Refusal refusal : {Refusal::Known, Refusal::NotValid}) {
        Begin("clerk-pw");
        session->OnRefused(refusal, "it was printed: 3 cards");
        ExpectHeld("it was printed: 3 cards");
    }
}

struct CEndCase {
    const char* state;
    const char* reason;
    const char* error;
};

TEST_F(PrintSession, HoldsAJobThatEndsOtherwiseThanPrinted)
{
    const CEndCase cases[] = {
        {"cancelled", "", "cancelled after 2 cards, 1 KiB"},
        {"failed", "the port does not open", "failed after 2 cards, 1 KiB: the port does not open"},
        {"interrupted", "stopping", "interrupted after 2 cards, 1 KiB: stopping"}};
    for (const CEndCase& row : cases) {
        service.calls.clear();
        BeginAccepted();
        session->OnJobChanged(Held(21, "ribbon"));
        CJobStatus end = Job(row.state, 2);
        end.reason = row.reason;
        session->OnJobChanged(end);
        ExpectHeld(row.error);
        EXPECT_EQ(1u, service.Count("Acknowledge")) << "the message says how far it got";
    }
}

TEST_F(PrintSession, ShowsErrorsThatComeAndGo)
{
    BeginAccepted();
    session->OnJobChanged(Held(21, "ribbon (printer error 83, category 21)"));
    EXPECT_EQ("STATE: +marker-supply-empty-error", LastLine("STATE"));
    EXPECT_EQ("INFO: held: ribbon (printer error 83, category 21)", LastLine("INFO"));
    EXPECT_EQ(0u, service.Count("Query LCDInfo"));

    session->OnJobChanged(Held(12, "error (printer error 12, category 12)"));
    EXPECT_TRUE(Wrote("STATE: -marker-supply-empty-error"));
    EXPECT_EQ("STATE: +other-error", LastLine("STATE"));
    session->OnJobChanged(Held(12, "error (printer error 12, category 12)"));
    EXPECT_EQ(1u, service.Count("Query LCDInfo"));
    session->OnAnswer("LCDInfo", "CARD JAM\nOPEN COVER");
    EXPECT_EQ("INFO: held: error (printer error 12, category 12), display: CARD JAM OPEN COVER",
              LastLine("INFO"));

    session->OnJobChanged(Held(1, "cannot reach the printer"));
    EXPECT_EQ("STATE: +connecting-to-device", LastLine("STATE"));
    session->OnJobChanged(Held(6, "waiting for the printer"));
    EXPECT_TRUE(Wrote("STATE: -other-error"));
    EXPECT_EQ("STATE: -connecting-to-device", LastLine("STATE"));
    session->OnAnswer("LCDInfo", "CARD JAM");
    EXPECT_EQ("INFO: held: waiting for the printer", LastLine("INFO")) << "a late answer is about the past";
    session->OnJobChanged(Job("printing"));
    session->OnJobChanged(Job("completed"));
    ExpectNoStateLeft();
}

TEST_F(PrintSession, SuppliesThePasswordOnceAtTheGate)
{
    BeginAccepted("caf\xC3\xA9");
    session->OnJobChanged(Job("printing"));
    session->OnJobChanged(Held(100, "password required")); // the policy may still present one
    EXPECT_EQ("caf\xC3\xA9", password.Text());
    session->OnJobChanged(AtTheGate());
    session->OnJobChanged(AtTheGate());
    session->OnJobChanged(Job("printing"));
    session->OnJobChanged(AtTheGate());
    EXPECT_EQ(1u, service.Count("Password caf\xE9")) << "the printer's text has one byte for a character";
    EXPECT_EQ("", password.Text());
    EXPECT_EQ("STATE: +org.zrtmon.password-needed-report", LastLine("STATE"));
    session->OnJobChanged(Job("completed"));
    EXPECT_EQ(kPrinted, session->ExitStatus());
    ExpectNoStateLeft();
}

TEST_F(PrintSession, SaysThatThePasswordCannotBeUsed)
{
    const char* const said =
        "INFO: held: the password that came with the job cannot be used; another is needed";
    BeginAccepted("\xE2\x82\xAC"); // a character beyond the printer's text
    session->OnJobChanged(AtTheGate());
    EXPECT_EQ((std::vector<std::string>{"Print", "Query RibbonInfo"}), service.calls);
    EXPECT_EQ(said, LastLine("INFO"));

    service.takes = false;
    BeginAccepted("clerk-pw");
    session->OnJobChanged(AtTheGate());
    EXPECT_EQ(1u, service.Count("Password clerk-pw"));
    EXPECT_EQ(said, LastLine("INFO"));
}

TEST_F(PrintSession, CancelsAndHoldsWhatWaitsTooLongForAPassword)
{
    BeginAccepted();
    session->OnJobChanged(AtTheGate());
    Pass(kHoldAfterMs - 1);
    session->OnJobChanged(Job("printing")); // a password came
    EXPECT_EQ(std::nullopt, session->Deadline());
    session->OnJobChanged(AtTheGate());
    Pass(kHoldAfterMs - 1);
    session->OnJobChanged(AtTheGate());
    EXPECT_EQ(0u, service.Count("Cancel"));
    Pass(1);
    EXPECT_EQ(1u, service.Count("Cancel"));
    EXPECT_EQ(std::nullopt, session->ExitStatus()) << "the printer may still be at it";
    session->OnJobChanged(Job("cancelled"));
    ExpectHeld("no password within 15 min: cancelled after 0 cards, 1 KiB");
    EXPECT_EQ(1u, service.Count("Acknowledge"));
}

TEST_F(PrintSession, HoldsAJobWhoseCancelIsNotConfirmed)
{
    BeginAccepted();
    session->OnJobChanged(AtTheGate());
    Pass(kHoldAfterMs);
    Pass(CPrintSession::kCancelMs);
    ExpectHeld("cancelled because no password was given; the printer has not confirmed it");
    EXPECT_EQ(0u, service.Count("Acknowledge")) << "the next start is to be told how far it got";
}

TEST_F(PrintSession, StopsAtOnce)
{
    Begin(); // waiting
    session->OnRefused(Refusal::NotNow, "no service");
    session->Stop();
    EXPECT_EQ(kHeld, session->ExitStatus());
    EXPECT_EQ(0u, service.Count("Cancel"));

    BeginAccepted(); // printing
    session->OnJobChanged(Job("printing", 2));
    session->Stop();
    EXPECT_EQ(1u, service.Count("Cancel"));
    ExpectHeld("stopped after 2 cards, 1 KiB");

    service.takes = false;
    BeginAccepted();
    session->Stop();
    ExpectHeld("stopped, and the print service does not confirm the cancel: it may print this job");
}

TEST_F(PrintSession, StoppedWhileOfferedCancelsWhatIsAcceptedStill)
{
    Begin();
    session->Stop();
    EXPECT_EQ(std::nullopt, session->ExitStatus());
    session->OnAccepted();
    EXPECT_EQ(1u, service.Count("Cancel"));
    EXPECT_EQ(kHeld, session->ExitStatus());

    Begin();
    session->Stop();
    session->OnRefused(Refusal::NotNow, "busy");
    ExpectHeld("busy");

    Begin();
    session->Stop();
    Pass(CPrintSession::kOfferMs);
    ExpectHeld("stopped, and the print service does not reply: it may print this job");
}

TEST_F(PrintSession, OffersTheJobAgainAfterTheServiceEnded)
{
    BeginAccepted();
    session->OnJobChanged(Job("printing", 1));
    session->OnServiceLost();
    EXPECT_EQ("STATE: +connecting-to-device", LastLine("STATE"));
    session->OnServiceLost(); // the bus says so, and then the call that was under way
    session->OnRefused(Refusal::NotNow, "no reply");
    Pass(CPrintSession::kFirstRetryMs);
    EXPECT_EQ(2u, service.Count("Print"));
    session->OnRefused(Refusal::Known, "interrupted after 1 card");
    ExpectHeld("interrupted after 1 card");
}

TEST_F(PrintSession, OffersAgainAJobThatWasTakenAwayBeforeItsFirstByte)
{
    CJobStatus unprinted = Job("interrupted");
    unprinted.bytes = 0;
    unprinted.reason = "the service was stopped";
    BeginAccepted();
    session->OnJobChanged(unprinted);
    EXPECT_EQ(0u, service.Count("Acknowledge"));
    EXPECT_EQ("INFO: waiting: the service was stopped", LastLine("INFO"));
    Pass(CPrintSession::kFirstRetryMs);
    EXPECT_EQ(2u, service.Count("Print"));

    BeginAccepted("", ""); // nobody could say whether it was printed
    session->OnJobChanged(unprinted);
    ExpectHeld("interrupted after 0 cards, 0 bytes: the service was stopped");
}

TEST_F(PrintSession, BeginsTheWaitForAPasswordAgainAfterTheServiceEnded)
{
    BeginAccepted();
    session->OnJobChanged(AtTheGate());
    session->OnServiceLost();
    Pass(CPrintSession::kFirstRetryMs);
    session->OnAccepted();
    session->OnJobChanged(AtTheGate());
    EXPECT_EQ(now + kHoldAfterMs, session->Deadline());
}

TEST_F(PrintSession, LeavesTheReportToTheNextCupsdWhenItsOwnHasEnded)
{
    BeginAccepted();
    isHeard = false;
    session->OnServiceLost();
    Pass(CPrintSession::kFirstRetryMs);
    EXPECT_EQ(1u, service.Count("Print"))
        << "the service would report how far it got, and nobody would hear it";
    EXPECT_EQ(kHeld, session->ExitStatus());

    isHeard = true;
    BeginAccepted();
    isHeard = false;
    session->OnJobChanged(Job("failed", 1));
    EXPECT_EQ(0u, service.Count("Acknowledge"));
    EXPECT_EQ(kHeld, session->ExitStatus());
}

TEST_F(PrintSession, WithoutAUuidHoldsWhatMayHaveBeenPrinted)
{
    BeginAccepted("", "");
    session->OnJobChanged(Job("printing", 1));
    session->OnServiceLost();
    ExpectHeld("the print service ended when the job was at 1 card, 1 KiB");
    EXPECT_EQ(1u, service.Count("Print"));
}

} // namespace
