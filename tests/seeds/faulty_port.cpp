#include "tests/seeds/faulty_port.h"

#include <algorithm>

namespace zrtmon::simulation {

namespace {

using namespace std::string_view_literals;

constexpr size_t kPresentBytes = 17; ///< the commands that present a password
const std::string kCancel = std::string(512, '\0').append("\x1B\0\2XC"sv);

/// The password gate's, which may be sent between two commands inside a packet.
bool IsSecurityCommand(std::string_view bytes)
{
    return bytes == "\x1B\0\2NP"sv || bytes == "\x1B\0\2NT"sv ||
           (bytes.size() == kPresentBytes && bytes.starts_with("\x1B\0\2NP\x1B"sv));
}

/// What a job's thread sends in addition to the job.
bool IsOwnCommand(std::string_view bytes)
{
    return bytes == "\x1B\0\2Nr"sv || bytes == kCancel || IsSecurityCommand(bytes);
}

} // namespace

CFaultyPort::CFaultyPort(CSimulation& simulation, unsigned port, test::CDisturbedPort& lower)
    : m_simulation(simulation), m_number(port)
{
    lower.trouble = [this](const char* call) { return Trouble(call); };
    lower.limitWrite = [this](const uint8_t* data, DWORD size) {
        return Take({reinterpret_cast<const char*>(data), size});
    };
}

void CFaultyPort::BeginJob(const sim::Job& job, bool isValid)
{
    m_job = &job;
    m_isValid = isValid;
    m_disorders += isValid ? 0 : 1;
    m_below = 0;
    m_isEnding = false;
    m_isCommandInside = false;
}

void CFaultyPort::EndJob(bool hasEnded)
{
    m_job = nullptr;
    m_isCommandInside = false;
    m_disorders += m_isValid ? 0 : 1;
    m_isCancelled = false;
    m_isConfused = m_isConfused && !hasEnded;
}

void CFaultyPort::NoteOpened(bool isUnguarded)
{
    m_isStuck = false;
    m_isJobStuck = false;
    m_isUnguarded = isUnguarded;
}

DWORD CFaultyPort::Trouble(const char* call)
{
    const DWORD error = TroubleOf(call);
    m_simulation.journal.Note(call, m_number, error);
    return error;
}

DWORD CFaultyPort::TroubleOf(std::string_view call)
{
    CRandomSource& random = m_simulation.random;
    const Troubles& troubles = m_simulation.troubles;
    if (call == "OpenPort" || call == "ClosePort" || call == "StartDocPort" || call == "EndDocPort") {
        // What a failed open cannot close stays open for good.
        const bool mayFail = troubles.documents && (call != "ClosePort" || m_simulation.opening == 0);
        const bool fails = mayFail && random.OneIn(12);
        if (fails && call == "EndDocPort") {
            m_isStuck = true;
            m_isJobStuck = m_isJobStuck || t_role == Role::Job;
        }
        return fails ? ERROR_GEN_FAILURE : 0;
    }
    if (random.OneIn(troubles.slow ? 2 : 20)) {
        Sleep(random.Between(1, 30));
    }
    const bool isWrite = call.starts_with("WritePort");
    return (isWrite ? troubles.writes : troubles.reads) && random.OneIn(10) ? ERROR_GEN_FAILURE : 0;
}

/// How many bytes of a write are passed on.
DWORD CFaultyPort::Take(std::string_view bytes)
{
    const bool isCommand = t_role == Role::Query || IsOwnCommand(bytes);
    const size_t taken = DrawTaken(bytes.size(), isCommand);
    m_simulation.journal.Note(isCommand ? "command" : "job data", m_number, bytes.size(), taken);
    if (taken == 0) {
        return 0;
    }
    if (isCommand) {
        NoteCommand(bytes, taken);
    } else {
        NoteJobData(bytes.substr(0, taken));
    }
    return static_cast<DWORD>(taken);
}

/// Job data may be taken in parts at any time. A command of which a part is missing is lost, and the printer
/// with it until the document ends: that is one of the troubles.
size_t CFaultyPort::DrawTaken(size_t size, bool isCommand)
{
    CRandomSource& random = m_simulation.random;
    const bool isPartial = isCommand ? m_simulation.troubles.writes && random.OneIn(40) : random.OneIn(4);
    return isPartial ? random.Between(0, static_cast<uint32_t>(size)) : size;
}

void CFaultyPort::NoteCommand(std::string_view bytes, size_t taken)
{
    m_isConfused = m_isConfused || bytes == kCancel || taken < bytes.size();
    if (t_role == Role::Job && bytes == kCancel) {
        m_isCancelled = true;
        ++m_disorders;
    }
    if (t_role == Role::Query || !IsSecurityCommand(bytes)) {
        ExpectBoundary();
    }
}

void CFaultyPort::NoteJobData(std::string_view bytes)
{
    const bool fits = m_job && m_below + bytes.size() <= m_job->bytes.size() &&
                      std::equal(bytes.begin(), bytes.end(), m_job->bytes.begin() + std::ptrdiff_t(m_below),
                                 [](char a, uint8_t b) { return static_cast<uint8_t>(a) == b; });
    m_simulation.journal.Expect(fits, "the bytes sent are not the job's next bytes,",
                                std::to_string(bytes.size()) + " at " + std::to_string(m_below));
    m_simulation.journal.Expect(!m_isCommandInside,
                                "a packet continues after a command that was sent inside it,",
                                "at " + std::to_string(m_below));
    m_below += bytes.size();
    m_lastProgress = m_simulation.clock.Elapsed();
}

/// Commands are sent between two packets of the job. Once the document ends and no byte of the job will
/// follow, the library may send one wherever the job was cut.
void CFaultyPort::ExpectBoundary()
{
    if (!m_job || !m_isValid || m_isCancelled || m_isUnguarded || m_job->packetStarts.empty()) {
        return;
    }
    const bool isBoundary =
        m_below == m_job->bytes.size() || std::ranges::binary_search(m_job->packetStarts, m_below);
    m_disorders += !isBoundary && !m_isCommandInside;
    m_isCommandInside = m_isCommandInside || !isBoundary;
    m_simulation.journal.Expect(isBoundary || m_isEnding, "a command was sent inside a packet,",
                                "at " + std::to_string(m_below));
}

} // namespace zrtmon::simulation
