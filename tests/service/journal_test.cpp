#include "service/journal.h"

#include <gtest/gtest.h>
#include <optional>

#include "service/value_table.h"
#include "tests/service/temporary_folder.h"
#include "tests/support/case_name.h"

namespace zrtmon::service {
namespace {

constexpr int64_t kNow = 1'800'000'000;

class Journal : public testing::Test {
protected:
    CAdmission Admit(const std::string& uuid, const std::string& printer = "Cards")
    {
        return m_journal.Admit({printer, "Title", "owner", "lp", uuid, 1000}, m_now);
    }
    uint64_t AdmitNew(const std::string& uuid) { return std::get<uint64_t>(Admit(uuid)); }
    /// The kind of the refusal; nothing if the job was taken.
    std::optional<CRefusal::Kind> Refused(const std::string& uuid)
    {
        const CAdmission admission = Admit(uuid);
        const CRefusal* const refusal = std::get_if<CRefusal>(&admission);
        return refusal ? std::optional(refusal->kind) : std::nullopt;
    }

    int64_t m_now = kNow;
    CTemporaryFolder m_folder;
    CDatabase m_database{m_folder.Path() / "test.db"};
    CJournal m_journal{m_database};
};

constexpr std::nullopt_t kTaken = std::nullopt;
using Kind = CRefusal::Kind;

/// What has become of a job, and what becomes of the next ones of its uuid.
struct History {
    const char* name;
    bool hasStarted;
    std::optional<JobOutcome> outcome;
    std::optional<Kind> next;
    std::optional<Kind> afterNext;
};

class UuidRule : public Journal, public testing::WithParamInterface<History> {};

TEST_P(UuidRule, PrintsNoCardTwiceUnlessAPersonReleasesTheJob)
{
    const History& history = GetParam();
    const uint64_t id = AdmitNew("u");
    if (history.hasStarted) {
        m_journal.Start(id, kNow, 5);
        m_journal.Progress(id, 700, 2);
    }
    if (history.outcome) {
        m_journal.End(id, *history.outcome, "why", kNow + 9);
    }
    EXPECT_EQ(history.next, Refused("u"));
    if (history.next) {
        m_now += CJournal::kOwnStartS - 1;
        EXPECT_EQ(history.next, Refused("u")) << "the print system's own start";
        m_now += 1;
        EXPECT_EQ(history.afterNext, Refused("u"));
    }
    EXPECT_EQ(kTaken, Refused("other"));
    EXPECT_EQ(kTaken, Refused(""));
    EXPECT_EQ(kTaken, Refused("")) << "jobs without a uuid do not know each other";
}

INSTANTIATE_TEST_SUITE_P(
    Histories, UuidRule,
    testing::Values(History{"Waits", false, std::nullopt, Kind::Running, Kind::Running},
                    History{"Prints", true, std::nullopt, Kind::Running, Kind::Running},
                    History{"Completed", true, JobOutcome::Completed, Kind::Printed, kTaken},
                    History{"CancelledBeforeItsFirstByte", false, JobOutcome::Cancelled, kTaken, kTaken},
                    History{"Cancelled", true, JobOutcome::Cancelled, Kind::Interrupted, kTaken},
                    History{"Failed", true, JobOutcome::Failed, Kind::Interrupted, kTaken},
                    History{"FailedBeforeItsFirstByte", false, JobOutcome::Failed, kTaken, kTaken},
                    History{"Interrupted", true, JobOutcome::Interrupted, Kind::Interrupted, kTaken}),
    test::CaseName());

TEST_F(Journal, ToldOfARunningJobIsNotToldOfItsEnd)
{
    const uint64_t id = AdmitNew("u");
    m_journal.Start(id, kNow, -1);
    EXPECT_EQ(Kind::Running, Refused("u"));
    m_journal.End(id, JobOutcome::Completed, "", kNow);
    EXPECT_EQ(Kind::Printed, Refused("u")) << "nobody knew that it was printed to its end";
    m_now += CJournal::kOwnStartS;
    const uint64_t released = AdmitNew("u");
    EXPECT_EQ(Kind::Running, Refused("u"));
    m_journal.Start(released, kNow, -1);
    m_journal.End(released, JobOutcome::Completed, "", kNow);
    EXPECT_EQ(Kind::Printed, Refused("u")) << "a release is good for one print";
}

TEST_F(Journal, ARefusalSaysHowFarTheJobGot)
{
    const uint64_t id = AdmitNew("u");
    m_journal.Start(id, kNow, 5);
    m_journal.Progress(id, 2048, 3);
    m_journal.End(id, JobOutcome::Cancelled, "", kNow);
    const std::string text = std::get<CRefusal>(Admit("u")).text;
    EXPECT_NE(std::string::npos, text.find("3 cards, 2 KiB")) << text;
    EXPECT_NE(std::string::npos, text.find("cancelled")) << text;
}

TEST_F(Journal, AnAcknowledgedEndIsNotToldAgain)
{
    const uint64_t id = AdmitNew("u");
    m_journal.Start(id, kNow, -1);
    m_journal.Acknowledge(id);
    EXPECT_EQ(Kind::Running, Refused("u")) << "there is no end yet of which somebody knows";
    m_journal.End(id, JobOutcome::Cancelled, "", kNow);
    m_journal.Acknowledge(id);
    EXPECT_EQ(kTaken, Refused("u"));
}

TEST_F(Journal, RemembersAcrossRunsWhatWasLeftAtThePrinter)
{
    const uint64_t waiting = AdmitNew("a");
    const uint64_t printing = AdmitNew("b");
    m_journal.Start(printing, kNow, 40);
    m_journal.Progress(printing, 123, 1);
    {
        CDatabase again(m_folder.Path() / "test.db");
        CJournal journal(again);
        const std::vector<CJobEntry> unfinished = journal.Unfinished();
        ASSERT_EQ(2u, unfinished.size());
        EXPECT_EQ(waiting, unfinished[0].id);
        EXPECT_EQ(0, unfinished[0].started);
        EXPECT_EQ(40, unfinished[1].baseCount);
        EXPECT_EQ(123u, unfinished[1].bytes);
        journal.End(printing, JobOutcome::Interrupted, "x", kNow, true);
    }
    EXPECT_TRUE(m_journal.IsCancelDue("Cards"));
    EXPECT_FALSE(m_journal.IsCancelDue("Other"));
    ASSERT_EQ(1u, m_journal.CancelDone("Cards").size());
    EXPECT_FALSE(m_journal.IsCancelDue("Cards"));
    EXPECT_GT(AdmitNew(""), printing);
}

TEST_F(Journal, ListsAndForgets)
{
    const uint64_t old = AdmitNew("");
    m_journal.End(old, JobOutcome::Completed, "", kNow - 100);
    const uint64_t kept = AdmitNew("");
    m_journal.Hold(kept, "held: ribbon");
    m_journal.End(kept, JobOutcome::Completed, "", kNow);
    const uint64_t running = AdmitNew("");
    EXPECT_EQ(3u, m_journal.Jobs(0, "").size());
    EXPECT_EQ(3u, m_journal.Jobs(0, "owner").size());
    EXPECT_EQ(3u, m_journal.Jobs(0, "lp").size()) << "the submitter";
    EXPECT_EQ(0u, m_journal.Jobs(0, "somebody").size());
    EXPECT_EQ(2u, m_journal.Jobs(kNow, "").size());
    m_journal.Forget(kNow);
    const std::vector<CJobEntry> jobs = m_journal.Jobs(0, "");
    ASSERT_EQ(2u, jobs.size());
    EXPECT_EQ("held: ribbon", jobs[0].reason) << "a good end keeps why it was held";
    EXPECT_EQ(running, jobs[1].id);
    m_journal.End(running, JobOutcome::Interrupted, "", kNow, true);
    m_journal.Forget(kNow + 1);
    EXPECT_TRUE(m_journal.IsCancelDue("Cards")) << "the printer has not been reached since";
    m_journal.CancelDone("Cards");
    m_journal.Forget(kNow + 1);
    EXPECT_EQ(0u, m_journal.Jobs(0, "").size());
}

TEST_F(Journal, AnothersJobOfTheSameUuidIsAnotherJob)
{
    const uint64_t id = AdmitNew("u");
    m_journal.Start(id, kNow, -1);
    m_journal.End(id, JobOutcome::Completed, "", kNow);
    const CNewJob anothers{"Cards", "Title", "somebody", "somebody", "u", 1000};
    EXPECT_TRUE(std::holds_alternative<uint64_t>(m_journal.Admit(anothers, kNow)));
    EXPECT_EQ(CRefusal::Kind::Printed, Refused("u")) << "its owner has not been told";
    m_now += CJournal::kOwnStartS;
    EXPECT_EQ(kTaken, Refused("u"));
}

TEST(Database, IsOnDiskAtEachCommitAndWhole)
{
    const CTemporaryFolder folder;
    CDatabase database(folder.Path() / "test.db");
    const struct {
        const char* pragma;
        const char* value;
    } settings[] = {
        {"PRAGMA synchronous", "2"}, {"PRAGMA journal_mode", "wal"}, {"PRAGMA user_version", "1"}};
    for (const auto& setting : settings) {
        CStatement statement(database, setting.pragma);
        ASSERT_TRUE(statement.Step());
        EXPECT_EQ(setting.value, statement.Text(0)) << setting.pragma;
    }
}

TEST(Database, RefusesWhatIsNotItsOwnAndLeavesIt)
{
    const CTemporaryFolder folder;
    const std::string text(4096, 'x');
    const std::filesystem::path rubbish = folder.Write("a.db", text);
    EXPECT_THROW(CDatabase{rubbish}, CDatabaseError);
    EXPECT_EQ(text, ReadFile(rubbish));
    CDatabase(folder.Path() / "b.db").Execute("PRAGMA user_version = 2");
    EXPECT_THROW(CDatabase{folder.Path() / "b.db"}, CDatabaseError) << "of a newer version";
    EXPECT_THROW(CDatabase{folder.Path() / "missing" / "c.db"}, CDatabaseError);
}

TEST(ValueTable, KeepsValuesByNameAndNeverAPassword)
{
    const CTemporaryFolder folder;
    const std::string marker = "geheimes-Kennwort";
    {
        CDatabase database(folder.Path() / "test.db");
        CValueTable table(database);
        table.Save("Cards",
                   {{"A", false, 3, std::string("\0x", 2)}, {"b", false, 4, ""}, {"c", false, 1, "1"}});
        table.Save("cards", {{"a", false, 1, "new"}, {"C", true, 0, ""}, {"pASSWORD", false, 3, marker}});
        table.Save("Other", {{"A", false, 1, "other"}});
        const std::vector<CStoredValue> values = table.Load("CARDS");
        ASSERT_EQ(2u, values.size());
        EXPECT_EQ("new", values[0].bytes);
        EXPECT_EQ(1u, values[0].type);
        EXPECT_EQ("", values[1].bytes);
    }
    EXPECT_EQ(std::string::npos, ReadFile(folder.Path() / "test.db").find(marker));
}

} // namespace
} // namespace zrtmon::service
