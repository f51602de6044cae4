#include "tests/seeds/faulty_port.h"

#include <algorithm>

namespace zrtmon::simulation {

namespace {

using namespace std::string_view_literals;

constexpr uint64_t kCommandLimitMs = 3000; ///< after which the library gives the rest of a command up
constexpr size_t kPresentBytes = 17;       ///< the commands that present a password
const std::string kCancel = std::string(512, '\0').append("\x1B\0\2XC"sv);

/// What a job's thread sends besides the job.
bool IsOwnCommand(std::string_view bytes)
{
    return bytes == "\x1B\0\2Nr"sv || bytes == "\x1B\0\2NP"sv || bytes == "\x1B\0\2NT"sv ||
           bytes == kCancel || (bytes.size() == kPresentBytes && bytes.starts_with("\x1B\0\2NP\x1B"sv));
}

} // namespace

CFaultyPort::CFaultyPort(CSimulation& simulation, unsigned port, test::DisturbedPort& lower)
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
    m_isEndCut = false;
}

void CFaultyPort::EndJob(bool hasEnded)
{
    m_job = nullptr;
    m_disorders += m_isValid ? 0 : 1;
    m_rests[static_cast<size_t>(Role::Job)] = {}; // the end of the document ends that, too
    m_isCancelled = false;
    m_isDropped = false;
    m_isConfused = m_isConfused && !hasEnded;
}

bool CFaultyPort::IsConfused() const
{
    return m_isDropped || m_isConfused ||
           std::ranges::any_of(m_rests, [](const Rest& rest) { return !rest.bytes.empty(); });
}

void CFaultyPort::NoteOpened(bool isUnguarded)
{
    m_isStuck = false;
    m_isJobStuck = false;
    for (Rest& rest : m_rests) {
        rest.isExcused = rest.isExcused || m_isUnguarded;
    }
    m_isUnguarded = isUnguarded;
}

DWORD CFaultyPort::Trouble(const char* call)
{
    const DWORD error = TroubleOf(call);
    m_simulation.journal.Note(call, m_number, error);
    OwnRest().isExcused = OwnRest().isExcused || error != 0;
    return error;
}

DWORD CFaultyPort::TroubleOf(std::string_view call)
{
    CRandomSource& random = m_simulation.random;
    const Troubles& troubles = m_simulation.troubles;
    if (call == "OpenPort" || call == "ClosePort" || call == "StartDocPort" || call == "EndDocPort") {
        // What an open that fails cannot close again nobody can.
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
    if (isWrite && !OwnRest().bytes.empty() && !random.OneIn(8)) {
        return 0; // or every printer would soon be confused
    }
    return (isWrite ? troubles.writes : troubles.reads) && random.OneIn(10) ? ERROR_GEN_FAILURE : 0;
}

/// How many bytes of a write are passed on.
DWORD CFaultyPort::Take(std::string_view bytes)
{
    const bool isCommand = t_role == Role::Query || bytes == OwnRest().bytes || IsOwnCommand(bytes);
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

size_t CFaultyPort::DrawTaken(size_t size, bool isCommand)
{
    CRandomSource& random = m_simulation.random;
    return random.OneIn(isCommand ? 8 : 4) ? random.Between(0, static_cast<uint32_t>(size)) : size;
}

void CFaultyPort::NoteCommand(std::string_view bytes, size_t taken)
{
    Rest& rest = OwnRest();
    if (bytes == rest.bytes) {
        ExpectNothingHalfSent(&rest);
    } else {
        m_isDropped = m_isDropped || bytes == kCancel;
        if (t_role == Role::Job && bytes == kCancel) {
            m_isCancelled = true;
            ++m_disorders;
        }
        ExpectNothingHalfSent(nullptr);
        ExpectBorder();
        rest.since = m_simulation.clock.Elapsed();
        rest.isExcused = false;
    }
    rest.bytes = bytes.substr(taken);
}

void CFaultyPort::NoteJobData(std::string_view bytes)
{
    ExpectNothingHalfSent(nullptr);
    const bool fits = m_job && m_below + bytes.size() <= m_job->bytes.size() &&
                      std::equal(bytes.begin(), bytes.end(), m_job->bytes.begin() + std::ptrdiff_t(m_below),
                                 [](char a, uint8_t b) { return static_cast<uint8_t>(a) == b; });
    m_simulation.journal.Expect(fits, "the bytes below are not the job's next bytes,",
                                std::to_string(bytes.size()) + " at " + std::to_string(m_below));
    m_below += bytes.size();
    m_lastProgress = m_simulation.clock.Elapsed();
    m_isEndCut = m_isEndCut || (m_job && !m_job->packetStarts.empty() &&
                                m_below > m_job->packetStarts.back() && m_below < m_job->bytes.size());
}

/// own: the command that goes on now.
void CFaultyPort::ExpectNothingHalfSent(const Rest* own)
{
    for (Rest& rest : m_rests) {
        if (&rest == own || rest.bytes.empty()) {
            continue;
        }
        m_isConfused = true;
        if (m_isCancelled || m_isUnguarded) {
            continue;
        }
        rest.bytes.clear();
        m_simulation.journal.Expect(rest.isExcused ||
                                        m_simulation.clock.Elapsed() - rest.since >= kCommandLimitMs,
                                    "something went between the parts of a command");
    }
}

void CFaultyPort::ExpectBorder()
{
    if (!m_job || !m_isValid || m_isCancelled || m_isUnguarded || m_job->packetStarts.empty()) {
        return;
    }
    const bool isBorder =
        m_below == m_job->bytes.size() || std::ranges::binary_search(m_job->packetStarts, m_below);
    m_simulation.journal.Expect(isBorder, "a command went into a packet,", "at " + std::to_string(m_below));
}

} // namespace zrtmon::simulation
