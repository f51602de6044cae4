/// Supplies the passwords that the printer needs while a job prints.
#pragma once

#include <functional>

#include "host/passwords/password_reader.h"
#include "host/places/printer.h"
#include "host/terminal/console.h"

namespace zrtmon::host {

/// On one thread. The arguments are borrowed for its life. A password that the monitor has not
/// used by then is removed from the printer's data.
class CPasswordSupply {
public:
    CPasswordSupply(IPrinter& printer, CPasswordReader& reader, CConsole& console)
        : m_printer(printer), m_reader(reader), m_console(console)
    {
    }
    ~CPasswordSupply();
    CPasswordSupply(const CPasswordSupply&) = delete;
    CPasswordSupply& operator=(const CPasswordSupply&) = delete;

    /// To be called every few dozen milliseconds. If the printer needs a password, reads one, until stop
    /// returns true, and stores it where the monitor finds it. Stops asking after three that were not
    /// accepted. False if one is needed and the input has ended.
    bool Poll(const CPublishedValues& published, const std::function<bool()>& stop);
    /// Another job prints: forgets the entries of the one before, and removes what it did not use.
    void StartOver();

private:
    void TakeBack();
    bool IsWanted(const CPublishedValues& published);
    void ReportRefusal();
    void Give(CSecret& password);
    void Send(CSecret& password);

    IPrinter& m_printer;
    CPasswordReader& m_reader;
    CConsole& m_console;
    unsigned m_polls = 0;    ///< in a row that found one needed
    unsigned m_entries = 0;  ///< passwords read
    bool m_isGiven = false;  ///< the monitor was given one
    bool m_isStored = false; ///< it is in the printer's data
    bool m_isSent = false;   ///< it was sent, at m_sentTick
    DWORD m_sentTick = 0;
    bool m_isRefused = false; ///< too many were wrong
    bool m_isTold = false;    ///< that a password which is sent counts less than a stored one
};

} // namespace zrtmon::host
