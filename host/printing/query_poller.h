/// Repeats the same queries while a job prints.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/places/printer.h"
#include "host/terminal/console.h"

namespace zrtmon::host {

/// One thread. The arguments are borrowed for its life.
class CQueryPoller {
public:
    /// startTick: answers are shown with the time since then.
    CQueryPoller(IPrinter& printer, CConsole& console, const std::vector<std::string>& names, DWORD startTick)
        : m_printer(printer), m_console(console), m_names(names), m_startTick(startTick)
    {
    }

    /// Queries until the event is set. Shows an answer or a failure if it differs from the last one of that
    /// name.
    void Run(HANDLE done);

private:
    void QueryAll(HANDLE done);
    void QueryOne(const std::string& name);

    IPrinter& m_printer;
    CConsole& m_console;
    const std::vector<std::string>& m_names;
    DWORD m_startTick;
    std::map<std::string, std::string> m_shown; ///< by name, the line last shown
};

} // namespace zrtmon::host
