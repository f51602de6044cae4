/// Repeats the same queries while a job prints.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/session/query.h"
#include "host/session/spooler_session.h"
#include "host/terminal/console.h"

namespace zrtmon::host {

/// One thread. The arguments are borrowed for its life.
class CQueryPoller {
public:
    /// startTick: answers are shown with the time since then.
    CQueryPoller(CSpoolerSession& session, CConsole& console, const std::vector<std::string>& names,
                 DWORD startTick)
        : m_session(session), m_console(console), m_names(names), m_startTick(startTick)
    {
    }

    /// Queries until the event is set. Shows an answer or a failure if it differs from the last one of that
    /// name.
    void Run(HANDLE done);

private:
    void QueryOne(const std::string& name);

    CSpoolerSession& m_session;
    CConsole& m_console;
    const std::vector<std::string>& m_names;
    DWORD m_startTick;
    std::map<std::string, std::string> m_shown; ///< by name, the line last shown
};

} // namespace zrtmon::host
