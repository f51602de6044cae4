/// Supplies the passwords that the printer needs while a job prints.
#pragma once

#include <functional>

#include "host/passwords/password_reader.h"
#include "host/session/spooler_session.h"
#include "host/terminal/console.h"

namespace zrtmon::host {

/// For one job, on one thread. The arguments are borrowed for its life. A password that the monitor has not
/// used by then is removed from the printer's data.
class CPasswordSupply {
public:
    CPasswordSupply(CSpoolerSession& session, CPasswordReader& reader, CConsole& console)
        : m_session(session), m_reader(reader), m_console(console)
    {
    }
    ~CPasswordSupply();
    CPasswordSupply(const CPasswordSupply&) = delete;
    CPasswordSupply& operator=(const CPasswordSupply&) = delete;

    /// To be called every few dozen milliseconds. If the printer needs a password, reads one, until stop
    /// returns true, and stores it where the monitor finds it. Stops asking after three that were not
    /// accepted. False if one is needed and the input has ended.
    bool Poll(const CPublishedValues& published, const std::function<bool()>& stop);

private:
    bool IsWanted(const CPublishedValues& published);
    void ReportRefusal();
    void Store(CSecret& password);

    CSpoolerSession& m_session;
    CPasswordReader& m_reader;
    CConsole& m_console;
    unsigned m_polls = 0;     ///< in a row that found one needed
    unsigned m_entries = 0;   ///< passwords read
    bool m_isGiven = false;   ///< the monitor was given one
    bool m_isRefused = false; ///< too many were wrong
};

} // namespace zrtmon::host
