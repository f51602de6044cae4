/// Between the monitor and one simulated printer: makes calls slow, partial or failing, and checks what
/// passes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "simulator/job_builder.h"
#include "tests/seeds/simulation.h"
#include "tests/support/lower_port.h"

namespace zrtmon::simulation {

/// What this thread does in the library.
enum class Role { Job, Query };
inline thread_local Role t_role = Role::Job;

/// Checks every write: a job's bytes arrive in order and none is lost or changed; while a document is open,
/// commands are sent only between two packets of its job, except for those of the password gate.
class CFaultyPort {
public:
    /// simulation and lower are borrowed for the object's life; it takes over lower's hooks.
    CFaultyPort(CSimulation& simulation, unsigned port, test::CDisturbedPort& lower);

    /// The bytes of this job will follow; borrowed until EndJob. isValid: the printer can print it.
    void BeginJob(const sim::Job& job, bool isValid);
    /// The end of the document begins.
    void NoteEnding() { m_isEnding = true; }
    /// hasEnded: the lower document has ended, too, which resets the printer's parser.
    void EndJob(bool hasEnded);

    /// Bytes of the job that were passed on.
    size_t Below() const { return m_below; }
    /// When the last of them was, in virtual milliseconds.
    uint64_t LastProgress() const { return m_lastProgress; }
    /// The printer need not reply now: the job was cancelled, which the job's thread does concurrently with
    /// any query, or the bytes are not a job. Until the end of the document no order of the bytes is
    /// guaranteed.
    bool IsDisorderly() const { return m_isCancelled || m_isCommandInside || (m_job && !m_isValid); }
    /// How often such a time began.
    uint64_t Disorders() const { return m_disorders; }
    /// The printer need not understand the rest of the document: it was cancelled, or the port took only a
    /// part of a command.
    bool IsConfused() const { return m_isConfused; }
    /// The lower monitor refused to end a document or a channel: only closing the port helps.
    bool IsStuck() const { return m_isStuck; }
    /// As IsStuck, for the document of a job.
    bool IsJobStuck() const { return m_isJobStuck; }

    void NoteOpened(bool isUnguarded);
    /// The port has no lock for its exchanges, so that writes are not ordered.
    bool IsUnguarded() const { return m_isUnguarded; }

private:
    DWORD Trouble(const char* call);
    DWORD TroubleOf(std::string_view call);
    DWORD Take(std::string_view bytes);
    size_t DrawTaken(size_t size, bool isCommand);
    void NoteCommand(std::string_view bytes, size_t taken);
    void NoteJobData(std::string_view bytes);
    void ExpectBoundary();

    CSimulation& m_simulation;
    const unsigned m_number;         ///< the port's
    const sim::Job* m_job = nullptr; ///< of the open document
    bool m_isValid = false;
    size_t m_below = 0;
    uint64_t m_lastProgress = 0;
    uint64_t m_disorders = 0;
    bool m_isCancelled = false;
    bool m_isEnding = false;
    bool m_isCommandInside = false; ///< a command was sent inside a packet while the document ended
    bool m_isConfused = false;
    bool m_isStuck = false;
    bool m_isJobStuck = false;
    bool m_isUnguarded = false;
};

} // namespace zrtmon::simulation
