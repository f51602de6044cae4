/// The journal of jobs, and the rule by which no job prints twice.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "service/database.h"

namespace zrtmon::service {

/// How a job ended.
enum class JobOutcome { Completed, Cancelled, Failed, Interrupted };

/// "completed", "cancelled", "failed", "interrupted".
const char* OutcomeText(JobOutcome outcome);

struct CNewJob {
    std::string printer;
    std::string title;
    std::string owner;
    std::string submitter;   ///< the user who asked for it
    std::string uuid;        ///< empty: none
    uint64_t totalBytes = 0; ///< 0: unknown
};

struct CJobEntry {
    uint64_t id = 0;
    CNewJob job;
    uint64_t bytes = 0; ///< that have left; while it prints, at least so many
    int cards = 0;
    int64_t submitted = 0; ///< seconds since 1970
    int64_t started = 0;   ///< just before its first byte left; 0: none has
    int64_t ended = 0;     ///< 0: it waits or prints
    int baseCount = -1;    ///< the printer's card count before it; -1: unknown
    std::string outcome;   ///< empty until it ends
    std::string reason;    ///< why it failed, or was held last
};

/// Why a job is not taken: its uuid is known.
struct CRefusal {
    enum class Kind { Running, Interrupted, Printed } kind;
    std::string text; ///< how far it got, for a person
};

using CAdmission = std::variant<uint64_t, CRefusal>; ///< the new job's id, or why not

/// "3 cards, 22.6 KiB".
std::string AmountText(uint64_t bytes, int cards);

/// Times are seconds since 1970. Each change is on disk when it returns. Throws CDatabaseError. One thread.
class CJournal {
public:
    /// A job of the same uuid that comes sooner after the end was told is not a person's release: seconds.
    /// The print system starts jobs by itself, and has forgotten the hold if it crashed before it wrote it
    /// down.
    static constexpr int64_t kOwnStartS = 10;

    explicit CJournal(CDatabase& database) : m_database(database) {}

    /// Enters a job that waits, unless its uuid is known for its owner: a job of that uuid waits or prints,
    /// or has sent bytes without a good end, or was printed. The last two are told, and a job of that uuid
    /// that comes kOwnStartS later is taken: a person has released it.
    CAdmission Admit(const CNewJob& job, int64_t now);

    /// The job's first byte is about to leave.
    void Start(uint64_t id, int64_t now, int baseCount);
    void Progress(uint64_t id, uint64_t bytes, int cards);
    void Hold(uint64_t id, std::string_view reason);
    /// isCancelDue: the printer may be in the middle of the job's data, and has to be cancelled first thing.
    /// An empty reason keeps why it was held.
    void End(uint64_t id, JobOutcome outcome, std::string_view reason, int64_t now, bool isCancelDue = false);
    /// The printer was cancelled. Returns the jobs for which that was due, which keep their outcome.
    std::vector<CJobEntry> CancelDone(std::string_view printer);
    /// A person knows how far the job got: the next job of its uuid is taken at once.
    void Acknowledge(uint64_t id);

    /// The jobs that ended at that time or later, or have not ended; oldest first. Those of one user, as
    /// owner or submitter; empty: all.
    std::vector<CJobEntry> Jobs(int64_t since, std::string_view user);
    /// Those that have not ended; after a start nobody prints them any more.
    std::vector<CJobEntry> Unfinished();
    /// Whether a cancel is due at the printer.
    bool IsCancelDue(std::string_view printer);
    /// Removes jobs that ended before that time, unless a cancel is due for them.
    void Forget(int64_t before);

private:
    void Tell(uint64_t id, int64_t when);
    std::vector<CJobEntry> Select(const char* condition, std::string_view text, int64_t number);

    CDatabase& m_database;
};

} // namespace zrtmon::service
