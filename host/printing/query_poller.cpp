#include "host/printing/query_poller.h"

#include "host/printer/status_words.h"
#include "host/text/text.h"

namespace zrtmon::host {
namespace {

// Between two rounds: every exchange delays the job for a moment.
constexpr DWORD kPauseMs = 200;

} // namespace

void CQueryPoller::Run(HANDLE done)
{
    try {
        do {
            QueryAll(done);
        } while (WaitForSingleObject(done, kPauseMs) == WAIT_TIMEOUT);
    } catch (const CHostError&) { // the place is lost: the thread that follows the job reports it
    }
}

void CQueryPoller::QueryAll(HANDLE done)
{
    for (const std::string& name : m_names) {
        if (WaitForSingleObject(done, 0) == WAIT_OBJECT_0) {
            return;
        }
        QueryOne(name);
    }
}

void CQueryPoller::QueryOne(const std::string& name)
{
    const CQueryResult answer = m_printer.Query(name);
    const std::string line =
        answer.answered ? name + '=' + Printable(answer.text) : name + ": " + QueryProblem(m_printer, answer);
    std::string& shown = m_shown[name];
    if (line == shown) {
        return;
    }
    shown = line;
    if (answer.answered) {
        m_console.Answer('[' + Seconds(GetTickCount() - m_startTick) + " s] " + line);
    } else {
        m_console.Message(line, Tone::Warning);
    }
}

} // namespace zrtmon::host
