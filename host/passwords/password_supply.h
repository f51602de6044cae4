/// Gives the printer the passwords that it wants while a job prints.
#pragma once

#include <functional>

#include "host/passwords/password_reader.h"
#include "host/session/spooler_session.h"
#include "host/terminal/console.h"

namespace zrtmon::host {

/// For one job, on one thread. Everything given is lent. A password that the monitor has not taken by the end
/// is removed from the printer's data.
class CPasswordSupply {
public:
    CPasswordSupply(CSpoolerSession& session, CPasswordReader& reader, CConsole& console)
        : m_session(session), m_reader(reader), m_console(console)
    {
    }
    ~CPasswordSupply();
    CPasswordSupply(const CPasswordSupply&) = delete;
    CPasswordSupply& operator=(const CPasswordSupply&) = delete;

    /// To be called every few dozen milliseconds. Once the printer wants a password, reads one, unless stop
    /// answers true meanwhile, and leaves it where the monitor looks for it. After some that were not
    /// accepted it asks for no more. False when one is wanted and the input has ended.
    bool Poll(const CPublishedValues& published, const std::function<bool()>& stop);

private:
    bool IsWanted(const CPublishedValues& published);
    void ReportRefusal();
    void Store(CSecret& password);

    CSpoolerSession& m_session;
    CPasswordReader& m_reader;
    CConsole& m_console;
    unsigned m_polls = 0;     ///< in a row that have found one wanted
    unsigned m_entries = 0;   ///< passwords read
    bool m_isGiven = false;   ///< the monitor was given one
    bool m_isRefused = false; ///< too many were wrong
};

} // namespace zrtmon::host
