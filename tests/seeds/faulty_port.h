/// Between the monitor and one simulated printer: makes calls slow, partial or failing, and watches what
/// passes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "simulator/job_builder.h"
#include "tests/seeds/simulation.h"
#include "tests/support/lower_port.h"

namespace zrtmon::simulation {

/// Who is inside the library on this thread.
enum class Role { Job, Query };
inline thread_local Role t_role = Role::Job;

/// Checks on every write: a job's bytes come in their order and none is lost or changed; a command goes out
/// whole, with nothing between its parts, and where a document is open only between two packets of its job.
class CFaultyPort {
public:
    /// simulation and lower are borrowed for the object's life; lower's hooks are this object's from now on.
    CFaultyPort(CSimulation& simulation, unsigned port, test::DisturbedPort& lower);

    /// The bytes of this job are to come; borrowed until EndJob. isValid: it is one that the printer can
    /// print.
    void BeginJob(const sim::Job& job, bool isValid);
    /// hasEnded: the lower document too, which clears the printer's head.
    void EndJob(bool hasEnded);

    /// Bytes of the job that have gone down.
    size_t Below() const { return m_below; }
    /// When the last of them did, virtual milliseconds.
    uint64_t LastProgress() const { return m_lastProgress; }
    /// The job's last packet began to go out ahead of its command: no command can go in any more, and the
    /// gate cannot ask.
    bool IsEndCut() const { return m_isEndCut; }
    /// The printer need not answer now: the job was cancelled, which the job's thread does beside whatever
    /// query there is, or is none. From then to the end of the document nothing on the wire has an order.
    bool IsDisorderly() const { return m_isCancelled || (m_job && !m_isValid); }
    /// How often that began.
    uint64_t Disorders() const { return m_disorders; }
    /// The printer need not make sense of the rest of the document: it was told to drop it, or a command went
    /// out in part only, for a reason that the library cannot help.
    bool IsConfused() const;
    /// The lower monitor refused to end a document or a channel: only closing the port helps.
    bool IsStuck() const { return m_isStuck; }
    /// And it was the job's.
    bool IsJobStuck() const { return m_isJobStuck; }

    void NoteOpened(bool isUnguarded);
    /// The port has no lock for its exchanges, so that nothing orders what is written.
    bool IsUnguarded() const { return m_isUnguarded; }

private:
    /// What is still to come of a command that is out in part.
    struct Rest {
        std::string bytes;
        uint64_t since = 0;     ///< virtual milliseconds
        bool isExcused = false; ///< a write of that command failed
    };

    DWORD Trouble(const char* call);
    DWORD TroubleOf(std::string_view call);
    DWORD Take(std::string_view bytes);
    size_t DrawTaken(size_t size, bool isCommand);
    void NoteCommand(std::string_view bytes, size_t taken);
    void NoteJobData(std::string_view bytes);
    void ExpectNothingHalfSent(const Rest* own);
    void ExpectBorder();
    Rest& OwnRest() { return m_rests[static_cast<size_t>(t_role)]; }

    CSimulation& m_simulation;
    const unsigned m_number;         ///< the port's
    const sim::Job* m_job = nullptr; ///< of the open document
    bool m_isValid = false;
    size_t m_below = 0;
    uint64_t m_lastProgress = 0;
    std::array<Rest, 2> m_rests; ///< by role
    uint64_t m_disorders = 0;
    bool m_isCancelled = false;
    bool m_isDropped = false;
    bool m_isEndCut = false;
    bool m_isConfused = false;
    bool m_isStuck = false;
    bool m_isJobStuck = false;
    bool m_isUnguarded = false;
};

} // namespace zrtmon::simulation
