#include "service/journal.h"

#include <cstdlib>
#include <ctime>

#include "host/printing/progress.h"
#include "host/text/text.h"

namespace zrtmon::service {
namespace {

constexpr char kColumns[] =
    "id, printer, title, owner, submitter, uuid, total, bytes, cards, submitted, started, ended,"
    " base_count, outcome, reason";

CJobEntry Entry(const CStatement& row)
{
    CJobEntry entry;
    entry.id = static_cast<uint64_t>(row.Number(0));
    entry.job = {row.Text(1), row.Text(2), row.Text(3),
                 row.Text(4), row.Text(5), static_cast<uint64_t>(row.Number(6))};
    entry.bytes = static_cast<uint64_t>(row.Number(7));
    entry.cards = static_cast<int>(row.Number(8));
    entry.submitted = row.Number(9);
    entry.started = row.Number(10);
    entry.ended = row.Number(11);
    entry.baseCount = static_cast<int>(row.Number(12));
    entry.outcome = row.Text(13);
    entry.reason = row.Text(14);
    return entry;
}

std::string TimeText(int64_t seconds)
{
    const std::time_t time = seconds;
    std::tm fields{};
    localtime_r(&time, &fields);
    char text[32] = {};
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &fields);
    return text;
}

/// Why another job of the same uuid may not print now.
CRefusal RefusalFor(const CJobEntry& entry)
{
    const std::string job = "job " + std::to_string(entry.id);
    const std::string amount = AmountText(entry.bytes, entry.cards);
    if (entry.ended == 0) {
        return {CRefusal::Kind::Running,
                "this is " + job + ", which " +
                    (entry.started == 0 ? "waits for its turn" : "is printing: " + amount + " so far")};
    }
    const std::string release = "; release it to print it from the beginning";
    if (entry.outcome == OutcomeText(JobOutcome::Completed)) {
        return {CRefusal::Kind::Printed,
                "already printed as " + job + " at " + TimeText(entry.ended) + ": " + amount + release};
    }
    return {CRefusal::Kind::Interrupted,
            job + " was " + entry.outcome + " at " + TimeText(entry.ended) + " after " + amount + release};
}

constexpr int64_t kLongAgo = 1;

/// Whether a new job of the same uuid is a person's release. told: when the end was told; 0: not yet. A clock
/// that was set back does not bar a release for ever.
bool IsRelease(int64_t told, int64_t now)
{
    return told != 0 && std::abs(now - told) >= CJournal::kOwnStartS;
}

} // namespace

const char* OutcomeText(JobOutcome outcome)
{
    constexpr const char* kTexts[] = {"completed", "cancelled", "failed", "interrupted"};
    return kTexts[static_cast<size_t>(outcome)];
}

std::string AmountText(uint64_t bytes, int cards)
{
    return host::CardCountText(cards) + ", " + host::ByteCount(bytes);
}

CAdmission CJournal::Admit(const CNewJob& job, int64_t now)
{
    CTransaction transaction(m_database);
    if (!job.uuid.empty()) {
        CStatement last(m_database, "SELECT id, told FROM job WHERE uuid = ?1 AND owner = ?2"
                                    " AND (started > 0 OR ended = 0) ORDER BY id DESC LIMIT 1");
        if (last.Bind(1, job.uuid).Bind(2, job.owner).Step() && !IsRelease(last.Number(1), now)) {
            const CJobEntry entry = Select("id = ?2", {}, last.Number(0)).front();
            Tell(entry.id, now);
            transaction.Commit();
            return RefusalFor(entry);
        }
    }
    CStatement insert(m_database, "INSERT INTO job (printer, title, owner, submitter, uuid, total, submitted)"
                                  " VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7) RETURNING id");
    insert.Bind(1, job.printer)
        .Bind(2, job.title)
        .Bind(3, job.owner)
        .Bind(4, job.submitter)
        .Bind(5, job.uuid);
    insert.Bind(6, static_cast<int64_t>(job.totalBytes)).Bind(7, now);
    insert.Step();
    const auto id = static_cast<uint64_t>(insert.Number(0));
    insert.Step(); // to its end, or the commit would fail
    transaction.Commit();
    return id;
}

void CJournal::Start(uint64_t id, int64_t now, int baseCount)
{
    CStatement(m_database, "UPDATE job SET started = ?2, base_count = ?3 WHERE id = ?1")
        .Bind(1, static_cast<int64_t>(id))
        .Bind(2, now)
        .Bind(3, baseCount)
        .Run();
}

void CJournal::Progress(uint64_t id, uint64_t bytes, int cards)
{
    CStatement(m_database, "UPDATE job SET bytes = ?2, cards = ?3 WHERE id = ?1")
        .Bind(1, static_cast<int64_t>(id))
        .Bind(2, static_cast<int64_t>(bytes))
        .Bind(3, cards)
        .Run();
}

void CJournal::Hold(uint64_t id, std::string_view reason)
{
    CStatement(m_database, "UPDATE job SET reason = ?2 WHERE id = ?1")
        .Bind(1, static_cast<int64_t>(id))
        .Bind(2, reason)
        .Run();
}

void CJournal::End(uint64_t id, JobOutcome outcome, std::string_view reason, int64_t now, bool isCancelDue)
{
    CStatement(m_database, "UPDATE job SET outcome = ?2, ended = ?4, cancel_due = ?5,"
                           " reason = CASE ?3 WHEN '' THEN reason ELSE ?3 END WHERE id = ?1")
        .Bind(1, static_cast<int64_t>(id))
        .Bind(2, OutcomeText(outcome))
        .Bind(3, reason)
        .Bind(4, now)
        .Bind(5, isCancelDue ? 1 : 0)
        .Run();
}

std::vector<CJobEntry> CJournal::CancelDone(std::string_view printer)
{
    std::vector<CJobEntry> entries = Select("cancel_due = 1 AND printer = ?1", printer, 0);
    CStatement(m_database, "UPDATE job SET cancel_due = 0 WHERE printer = ?1").Bind(1, printer).Run();
    return entries;
}

void CJournal::Acknowledge(uint64_t id) { Tell(id, kLongAgo); }

void CJournal::Tell(uint64_t id, int64_t when)
{
    CStatement(m_database, "UPDATE job SET told = ?2 WHERE id = ?1 AND ended > 0 AND (told = 0 OR told > ?2)")
        .Bind(1, static_cast<int64_t>(id))
        .Bind(2, when)
        .Run();
}

std::vector<CJobEntry> CJournal::Jobs(int64_t since, std::string_view user)
{
    return Select("(ended >= ?2 OR ended = 0) AND (?1 = '' OR owner = ?1 OR submitter = ?1)", user, since);
}

std::vector<CJobEntry> CJournal::Unfinished() { return Select("ended = 0", {}, 0); }

bool CJournal::IsCancelDue(std::string_view printer)
{
    return !Select("cancel_due = 1 AND printer = ?1", printer, 0).empty();
}

void CJournal::Forget(int64_t before)
{
    CStatement(m_database, "DELETE FROM job WHERE ended > 0 AND ended < ?1 AND cancel_due = 0")
        .Bind(1, before)
        .Run();
}

/// The condition is one of this file's, with ?1 the text and ?2 the number.
std::vector<CJobEntry> CJournal::Select(const char* condition, std::string_view text, int64_t number)
{
    const std::string sql =
        "SELECT " + std::string(kColumns) + " FROM job WHERE " + condition + " ORDER BY id";
    CStatement rows(m_database, sql.c_str());
    rows.Bind(1, text).Bind(2, number);
    std::vector<CJobEntry> entries;
    while (rows.Step()) {
        entries.push_back(Entry(rows));
    }
    return entries;
}

} // namespace zrtmon::service
