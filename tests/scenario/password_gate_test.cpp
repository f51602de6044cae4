// The password gate of print jobs, and the password requests, through the entry-point table.
#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <string>

#include "platform/spooler_admin.h"
#include "simulator/job_builder.h"
#include "tests/support/policy_file.h"
#include "tests/support/spooler_fixture.h"

namespace zrtmon {
namespace {

using test::CSpoolerFixture;

constexpr const char* kLocked = "protected=1,admin-password=boss,user-password=clerk,card-ms=100";
constexpr uint64_t kSeveralChecksMs = 5000; ///< long enough for the gate to ask some times
constexpr uint64_t kOneCheckMs = 100;

struct CGateFixture : test::COpenPortFixture {
    explicit CGateFixture(const std::string& options = kLocked) : COpenPortFixture(options) {}

    void StorePassword(const std::string& password)
    {
        spooler::StoreValue(kPrinter, L"Password", REG_BINARY, password);
    }
    bool IsPasswordWanted() const { return ValueOf(L"PrinterError") == "100"; }
    /// Begins a document and offers the job until it is taken or the gate has held its end for a while.
    bool IsReleased()
    {
        EXPECT_TRUE(StartDocument());
        m_taken = 0;
        return IsReleasedNow();
    }
    /// A whole document that is not held.
    bool Prints() { return IsReleased() && EndDocument(); }
    bool Finishes() { return IsReleasedNow() && EndDocument(); }
    void ExpectPrinted(uint32_t cards)
    {
        EXPECT_EQ(cards, Printer().View().cardsPrinted);
        EXPECT_EQ(0u, Printer().View().violationCount);
    }
    bool IsReleasedNow(uint64_t lookMs = kSeveralChecksMs)
    {
        m_taken += Offer(job.data() + m_taken, job.size() - m_taken, {}, lookMs);
        return m_taken == job.size();
    }
    uint64_t Asked() { return Printer().View().commands["NP"]; }

    std::vector<uint8_t> job = sim::BuildJob({}).bytes;

private:
    size_t m_taken = 0;
};

constexpr const char* kAfterAnHour =
    "<PassWordAfterDelay Enabled='True'><DelayHours DelayTime='1 hour'/></PassWordAfterDelay>";

constexpr const char* kOnFirstCard = "<PassWordOnfirstCard Enabled='True'/>";

/// With a policy, whose file is named in printer data.
struct CPolicyFixture : CGateFixture {
    /// suffix: bytes of the value after the path
    explicit CPolicyFixture(const std::string& suffix = {}) : policy(test::PolicyText(kAfterAnHour))
    {
        const std::wstring path = policy.Path();
        const std::string bytes(reinterpret_cast<const char*>(path.data()), path.size() * sizeof(wchar_t));
        spooler::StoreValue(kPrinter, L"ConfigurationFile", REG_SZ, bytes + suffix);
    }

    const test::CPolicyFile policy;
};

TEST(PasswordGate, HoldsUntilTheRightPasswordIsStored)
{
    const std::string boss = "b\xFC\xFF"
                             "4567890ABCDE"; // of the greatest length
    for (const std::string& password : {boss, boss + "0", boss + "0" + std::string(300, 'x'),
                                        std::string("clerk"), std::string("clerk/other")}) {
        SCOPED_TRACE(password);
        CGateFixture fixture;
        fixture.Printer().SetPasswords(boss, "clerk");
        EXPECT_FALSE(fixture.IsReleased());
        EXPECT_TRUE(fixture.IsPasswordWanted());
        fixture.StorePassword("wrong");
        EXPECT_FALSE(fixture.IsReleasedNow(kOneCheckMs));
        EXPECT_EQ("1", fixture.ValueOf(L"PrinterError")) << "presented, whether or not it was right";
        EXPECT_EQ("-", fixture.ValueOf(L"Password"));
        EXPECT_FALSE(fixture.IsReleasedNow());
        EXPECT_TRUE(fixture.IsPasswordWanted());
        fixture.StorePassword(password);
        EXPECT_FALSE(fixture.IsReleasedNow(kOneCheckMs));
        EXPECT_EQ("1", fixture.ValueOf(L"PrinterError"));
        EXPECT_EQ("-", fixture.ValueOf(L"Password"));
        EXPECT_TRUE(fixture.Finishes());
        const sim::PrinterView view = fixture.Printer().View();
        EXPECT_EQ(1u, view.cardsPrinted);
        EXPECT_EQ(1u, view.passwordsAccepted);
        EXPECT_EQ(1u, view.passwordsRefused);
        EXPECT_EQ(0u, view.violationCount);
    }
}

TEST(PasswordGate, LetsOneJobThroughForAValidation)
{
    CGateFixture fixture;
    fixture.Printer().SetValidated(true);
    EXPECT_TRUE(fixture.Prints());
    fixture.Printer().SetValidated(true); // as if it had not been dropped
    const uint64_t asked = fixture.Asked();
    EXPECT_FALSE(fixture.IsReleased());
    EXPECT_GE(fixture.Asked() - asked, 3u);
    EXPECT_LE(fixture.Asked() - asked, 6u) << "once a second";
    EXPECT_FALSE(fixture.IsPasswordWanted());
    fixture.Printer().SetValidated(false);
    EXPECT_FALSE(fixture.IsReleasedNow(kOneCheckMs));
    fixture.Printer().SetValidated(true);
    EXPECT_TRUE(fixture.Finishes());
    fixture.ExpectPrinted(2);
}

TEST(PasswordGate, AJobWithoutProtectionIsNotHeldAndUsesUpNoValidation)
{
    CGateFixture fixture;
    fixture.StorePassword("boss");
    for (const bool on : {true, false, false, true}) {
        fixture.Printer().SetProtection(on);
        fixture.Printer().SetValidated(on);
        const uint64_t start = fixture.clock.Elapsed();
        EXPECT_TRUE(fixture.IsReleased());
        EXPECT_LT(fixture.clock.Elapsed() - start, 1000u);
        EXPECT_FALSE(fixture.IsPasswordWanted());
        EXPECT_TRUE(fixture.EndDocument());
    }
    EXPECT_EQ("boss", fixture.ValueOf(L"Password")) << "it was nobody's to take";
    fixture.ExpectPrinted(4);
}

TEST(PasswordGate, EachJobOfADocumentNeedsAPasswordOfItsOwn)
{
    CGateFixture fixture;
    fixture.Printer().SetValidated(true);
    const std::vector<uint8_t> first = fixture.job;
    fixture.job.insert(fixture.job.end(), first.begin(), first.end());
    EXPECT_FALSE(fixture.IsReleased());
    EXPECT_EQ(1u, fixture.Printer().View().jobsEnded);
    EXPECT_TRUE(fixture.IsPasswordWanted());
}

TEST(PasswordGate, ProtectionSwitchedOffReleasesTheJob)
{
    CGateFixture fixture;
    EXPECT_FALSE(fixture.IsReleased());
    fixture.Printer().SetProtection(false);
    EXPECT_TRUE(fixture.Finishes());
    fixture.ExpectPrinted(1);
}

TEST(PasswordGate, TheFirstCardOfADayWantsAFreshPassword)
{
    struct Day {
        SYSTEMTIME time;
        const char* stored; ///< by the person at the printer; empty: nobody is there
        bool goes;
    };
    const auto at = [](WORD month, WORD day, WORD hour) {
        return SYSTEMTIME{2026, month, 0, day, hour, 0, 0, 0};
    };
    CPolicyFixture fixture;
    fixture.policy.Write(test::PolicyText(kOnFirstCard));
    for (const Day& day :
         {Day{at(3, 5, 9), "", false}, Day{at(3, 5, 9), "clerk", true}, Day{at(3, 5, 23), "", true},
          Day{at(3, 6, 0), "", false}, Day{at(3, 6, 8), "boss", true}, Day{at(4, 6, 8), "", true}}) {
        SCOPED_TRACE(testing::Message() << day.time.wMonth << '/' << day.time.wDay << ' ' << day.time.wHour);
        fixture.clock.SetLocalTime(day.time);
        if (*day.stored) {
            fixture.StorePassword(day.stored);
        }
        EXPECT_EQ(day.goes, fixture.IsReleased());
        EXPECT_TRUE(fixture.EndDocument());
    }
}

TEST(PasswordGate, AChangedPolicyWantsAFreshPassword)
{
    CPolicyFixture fixture;
    fixture.StorePassword("clerk");
    EXPECT_TRUE(fixture.Prints());
    fixture.policy.Write(test::PolicyText(std::string(kAfterAnHour) + kOnFirstCard));
    EXPECT_FALSE(fixture.IsReleased());
    EXPECT_TRUE(fixture.IsPasswordWanted());
}

TEST(PasswordGate, ThePolicyPresentsTheLastPasswordAgain)
{
    const std::string end(sizeof(wchar_t), '\0');
    for (const std::string& suffix : {end, std::string(), std::string("x"), end + "x", end + "more"}) {
        SCOPED_TRACE(testing::PrintToString(suffix));
        CPolicyFixture fixture(suffix);
        fixture.StorePassword("clerk");
        EXPECT_TRUE(fixture.Prints());
        EXPECT_TRUE(fixture.IsReleased()) << "within the hour";
        EXPECT_FALSE(fixture.IsPasswordWanted());
        EXPECT_TRUE(fixture.EndDocument());
        EXPECT_EQ(2u, fixture.Printer().View().passwordsAccepted);
        Sleep(3600 * 1000);
        EXPECT_FALSE(fixture.IsReleased());
        EXPECT_TRUE(fixture.IsPasswordWanted());
        EXPECT_EQ(2u, fixture.Printer().View().passwordsAccepted);
        EXPECT_TRUE(fixture.EndDocument());
    }
}

TEST(PasswordGate, WithoutItsFileOrItsNameThePolicyIsGone)
{
    for (const bool isFileThere : {false, true}) {
        SCOPED_TRACE(isFileThere);
        CPolicyFixture fixture;
        fixture.StorePassword("clerk");
        EXPECT_TRUE(fixture.Prints());
        if (isFileThere) { // a new printer has no values
            spooler::RemovePrinter(CSpoolerFixture::kPrinter);
            spooler::CreatePrinter(CSpoolerFixture::kPrinter);
        } else {
            fixture.policy.Remove();
        }
        EXPECT_FALSE(fixture.IsReleased());
        EXPECT_TRUE(fixture.IsPasswordWanted());
        EXPECT_TRUE(fixture.EndDocument());
    }
}

TEST(PasswordGate, AWrongPasswordIsPresentedAgainOnceAndThenAskedFor)
{
    CPolicyFixture fixture;
    fixture.StorePassword("wrong");
    EXPECT_FALSE(fixture.IsReleased());
    EXPECT_TRUE(fixture.IsPasswordWanted());
    EXPECT_GE(fixture.Printer().View().passwordsRefused, 2u);
    fixture.StorePassword("clerk");
    EXPECT_TRUE(fixture.Finishes());
    EXPECT_EQ(1u, fixture.Printer().View().cardsPrinted);
}

TEST(PasswordGate, ProtectionSwitchedOnDuringAJobHoldsItsEnd)
{
    CGateFixture fixture("admin-password=boss,card-ms=100");
    fixture.job = sim::BuildJob({.cards = 3}).bytes;
    int writes = 0;
    fixture.lower.limitWrite = [&](const uint8_t*, DWORD size) {
        if (size > 100 && ++writes == 2) {
            fixture.Printer().SetProtection(true);
        }
        return size;
    };
    EXPECT_FALSE(fixture.IsReleased());
    EXPECT_TRUE(fixture.IsPasswordWanted());
    EXPECT_EQ(0u, fixture.Printer().View().jobsEnded);
    fixture.StorePassword("boss");
    EXPECT_TRUE(fixture.Finishes());
    fixture.ExpectPrinted(3);
}

TEST(PasswordGate, ABusyPrinterIsWaitedForAfterTheGate)
{
    CGateFixture fixture;
    EXPECT_FALSE(fixture.IsReleased());
    fixture.Printer().SetBusy(true);
    fixture.StorePassword("clerk");
    EXPECT_FALSE(fixture.IsReleasedNow());
    EXPECT_EQ(1u, fixture.Printer().View().passwordsAccepted);
    fixture.Printer().SetBusy({});
    EXPECT_TRUE(fixture.Finishes());
    fixture.ExpectPrinted(1);
}

/// A job in one packet and one in several, with their end command alone in its packet or after others.
std::vector<uint8_t> JobOfLayout(bool inOnePacket)
{
    std::vector<uint8_t> job =
        sim::BuildJob({.recordsPerSide = 2, .magPerCard = 0, .otherPerCard = 0, .payloadBytes = 1100}).bytes;
    if (!inOnePacket) {
        return job;
    }
    const sim::Job bare =
        sim::BuildJob({.recordsPerSide = 2, .magPerCard = 0, .otherPerCard = 0, .framed = false});
    const size_t size = bare.bytes.size();
    job = {0x1B, '_', 0, 0, 0, 0, static_cast<uint8_t>(size >> 8), static_cast<uint8_t>(size)};
    job.insert(job.end(), bare.bytes.begin(), bare.bytes.end());
    return job;
}

/// Gives the job up at its end, and checks that the end command was never sent.
void ExpectHeldToTheEnd(CGateFixture& fixture)
{
    EXPECT_TRUE(fixture.IsPasswordWanted());
    EXPECT_EQ(0u, fixture.Printer().View().violationCount);
    fixture.lower.limitWrite = [&](const uint8_t* data, DWORD size) {
        EXPECT_TRUE(size < 2 || data[size - 2] != 'X') << "the end command of a job that was given up";
        return size;
    };
    EXPECT_TRUE(fixture.EndDocument());
    EXPECT_EQ(0u, fixture.Printer().View().jobsEnded);
}

TEST(PasswordGate, HoldsTheEndOfAJobOfAnyLayoutCutAnywhereAndInBuffersOfAnySize)
{
    for (const bool inOnePacket : {true, false}) {
        const std::vector<uint8_t> job = JobOfLayout(inOnePacket);
        for (size_t size = 1; size < job.size(); ++size) {
            for (const bool isCutOnce : {true, false}) {
                SCOPED_TRACE(testing::Message() << inOnePacket << ' ' << size << ' ' << isCutOnce);
                CGateFixture fixture("protected=1,admin-password=boss,card-ms=1");
                ASSERT_TRUE(fixture.StartDocument());
                const size_t first = isCutOnce ? fixture.Offer(job.data(), size) : 0;
                const auto piece = [&] { return isCutOnce ? job.size() : size; };
                const size_t rest = fixture.Offer(job.data() + first, job.size() - first, piece, kOneCheckMs);
                EXPECT_LT(first + rest, job.size());
                ExpectHeldToTheEnd(fixture);
            }
        }
    }
}

TEST(PasswordGate, SendsOnlyTheRestOfARecordBeforeItsQuery)
{
    const std::vector<uint8_t> job = JobOfLayout(true);
    const size_t end = job.size() - 4 - 5; // of the second record: before "j" and "X" "Z"
    for (const auto& [cut, sentBefore] :
         {std::pair<size_t, size_t>{end - 476 - 1, end - 476}, // in the first one
          {end - 476, end - 476},
          {end - 100, end},
          {end - 2 * 476 + 1, end - 476}, // after the marker that ends "C"
          {end, end}}) {
        SCOPED_TRACE(cut);
        CGateFixture fixture;
        size_t sent = 0;
        size_t sentBeforeQuery = 0;
        fixture.lower.limitWrite = [&](const uint8_t* data, DWORD size) -> DWORD {
            if (size == 5 && data[4] == 'P') {
                sentBeforeQuery = sentBeforeQuery == 0 ? sent : sentBeforeQuery;
                return size;
            }
            const DWORD taken = std::min<DWORD>(size, 200); // a port that takes the data in parts
            sent += taken;
            return taken;
        };
        ASSERT_TRUE(fixture.StartDocument());
        fixture.Offer(job.data(), cut);
        fixture.Offer(job.data() + cut, job.size() - cut, {}, kOneCheckMs);
        EXPECT_EQ(sentBefore, sentBeforeQuery);
    }
}

TEST(PasswordGate, PresentsAPasswordInsideAPacket)
{
    CGateFixture fixture;
    fixture.job = JobOfLayout(true);
    EXPECT_FALSE(fixture.IsReleased());
    fixture.StorePassword("clerk");
    EXPECT_TRUE(fixture.Finishes());
    fixture.ExpectPrinted(1);
}

TEST(PasswordGate, ReleasesAValidatedJobOfAnyLayoutUnchanged)
{
    for (const bool inOnePacket : {true, false}) {
        for (const size_t piece : {size_t{1}, size_t{3}, size_t{64}, size_t{65536}}) {
            SCOPED_TRACE(testing::Message() << "one packet " << inOnePacket << ", pieces of " << piece);
            CGateFixture fixture;
            fixture.Printer().SetValidated(true);
            fixture.Printer().KeepJob();
            fixture.job = JobOfLayout(inOnePacket);
            EXPECT_TRUE(fixture.Print(fixture.job, [piece] { return piece; }));
            fixture.ExpectPrinted(1);
            EXPECT_EQ(fixture.job, fixture.Printer().JobBytes());
        }
    }
}

TEST(PasswordGate, APasswordThatCannotBePresentedStays)
{
    CGateFixture fixture;
    fixture.Printer().SetReply("NT", "none today");
    fixture.StorePassword("clerk");
    EXPECT_FALSE(fixture.IsReleased());
    EXPECT_TRUE(fixture.IsPasswordWanted());
    EXPECT_EQ("clerk", fixture.ValueOf(L"Password"));
    fixture.Printer().ClearReply("NT");
    EXPECT_TRUE(fixture.IsReleasedNow());
}

TEST(PasswordGate, AJobIsNotHeldIfThePrintersStateCannotBeRead)
{
    for (const char* reply : {"", "Plinth:VALID;", "Plinth:INVALID,ENABLED,nonsense;", "noise"}) {
        SCOPED_TRACE(reply);
        CGateFixture fixture;
        fixture.Printer().SetReply("NP", reply);
        EXPECT_TRUE(fixture.IsReleased());
        EXPECT_FALSE(fixture.IsPasswordWanted());
    }
}

TEST(PasswordGate, AQueryThatPresentsAPasswordGetsItsTurn)
{
    CGateFixture fixture;
    bool ok = true;
    CVirtualClock::CClockThread person([&] {
        while (!fixture.IsPasswordWanted()) {
            Sleep(100);
        }
        ok = fixture.Ask(L"Password/clerk").ok; // leaves no text
    });
    std::atomic<bool> done = false;
    std::deque<CVirtualClock::CClockThread> others; // whose questions use the gate's own request objects
    for (const wchar_t* name : {L"SecurityInfo", L"SetUserPassword/boss/clerk", L"EnablePassword/boss"}) {
        others.emplace_back([&fixture, &done, name] {
            for (; !done; Sleep(30)) {
                fixture.Ask(name);
            }
        });
    }
    EXPECT_TRUE(fixture.Print(fixture.job));
    done = true;
    person.Join();
    others.clear();
    EXPECT_FALSE(ok);
    fixture.ExpectPrinted(1);
    EXPECT_LT(fixture.clock.Elapsed(), 20000u);
}

TEST(PasswordGate, DecidesOnceForAPieceThatThePortTakesInParts)
{
    constexpr DWORD kAll = 0xFFFFFFFF;
    uint64_t whole = 0;
    for (const DWORD limit : {kAll, DWORD{0}, DWORD{1}, DWORD{5}, DWORD{12}}) {
        SCOPED_TRACE(limit);
        CGateFixture fixture;
        fixture.Printer().SetValidated(true);
        const size_t tail = fixture.job.size() - sim::BuildJob({}).cardEnds[0];
        int ends = 0;
        fixture.lower.limitWrite = [&](const uint8_t*, DWORD size) {
            return size == tail && ends++ == 0 ? limit : kAll;
        };
        EXPECT_TRUE(fixture.Prints());
        EXPECT_EQ(limit == 0 ? 2 : 1, ends);
        whole = whole ? whole : fixture.Asked();
        EXPECT_EQ(whole, fixture.Asked());
        fixture.ExpectPrinted(1);
    }
}

TEST(PasswordGate, QueriesThePrinterEverySecond)
{
    CGateFixture fixture;
    std::vector<uint64_t> queries;
    fixture.lower.limitWrite = [&](const uint8_t* data, DWORD size) {
        if (size == 5 && data[4] == 'P') {
            queries.push_back(fixture.clock.Elapsed());
        }
        return size;
    };
    EXPECT_FALSE(fixture.IsReleased());
    ASSERT_GE(queries.size(), 3u);
    EXPECT_EQ(1000u + 250, queries[2] - queries[1]) << "a pause and the exchange";
}

TEST(PasswordGate, AStateThatCannotBeReadKeepsWhatIsKnownOfTheValidation)
{
    CGateFixture fixture;
    fixture.Printer().SetValidated(true);
    EXPECT_TRUE(fixture.Prints());
    fixture.Printer().SetValidated(true); // as if it had not been dropped
    fixture.Printer().SetReply("NP", "noise");
    EXPECT_TRUE(fixture.Prints());
    fixture.Printer().ClearReply("NP");
    fixture.Printer().SetValidated(true);
    EXPECT_FALSE(fixture.IsReleased()) << "the validation was used by the first job";
}

TEST(PasswordRequests, ChangeWhatSecurityInfoReports)
{
    struct Step {
        const wchar_t* name;
        DWORD error; ///< 0: carried out, which leaves no text
        const char* state;
    };
    constexpr const char* kOff = "Validation=1;OemSupplies=0;Password=0;";
    constexpr const char* kOn = "Validation=0;OemSupplies=1;Password=1;";
    const Step kSteps[] = {
        {L"EnablePassword/wrong", 0, kOff},
        {L"EnableOemSupplies", 0, "Validation=1;OemSupplies=1;Password=0;"},
        {L"enablepassword/boss", 0, kOn},
        {L"Password/wrong", 0, kOn},
        {L"Password", ERROR_INVALID_PARAMETER, kOn},
        {L"SetUserPassword/boss/sixteen letters!", ERROR_INVALID_PARAMETER, kOn},
        {L"SetAdminPassword/boss/chief", 0, kOn},
        {L"SetUserPassword/chief/fifteen letters", 0, kOn},
        {L"DisablePassword/boss", 0, kOn},
        {L"Password/fifteen letters", 0, "Validation=1;OemSupplies=1;Password=1;"},
        {L"DisablePassword/chief", 0, "Validation=1;OemSupplies=1;Password=0;"},
    };
    CGateFixture fixture("admin-password=boss,user-password=clerk,serial=AB123456789");
    for (const Step& step : kSteps) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(step.name)));
        const uint64_t changes = fixture.Printer().View().commands["NT"];
        const CSpoolerFixture::Answer answer = fixture.Ask(step.name);
        EXPECT_FALSE(answer.ok);
        EXPECT_EQ("", answer.text);
        if (step.error) {
            EXPECT_EQ(step.error, answer.error);
            EXPECT_EQ(changes, fixture.Printer().View().commands["NT"]) << "nothing is sent";
        }
        EXPECT_EQ(step.state, fixture.Ask(L"SecurityInfo").text);
    }
    EXPECT_EQ(0u, fixture.Printer().View().violationCount);
}

} // namespace
} // namespace zrtmon
