#pragma once

#include <memory>

#include "link/monitor.h"
#include "security/config_password.h"

namespace zrtmon {

/// The device link that every port gets: it holds the end of a job until the printer is validated.
///
/// At a job's end-of-job command it queries whether password protection is on and whether the printer is
/// validated, and lets the end of at most one job through for each validation. It presents the last password
/// again while the policy allows it; otherwise it requests one through "PrinterError" 100 and takes it from
/// the printer-data value "Password". If the printer's state cannot be read, the job is let through: that
/// includes every place where the scanner does not allow a command. The query may reach the printer between
/// two commands inside a packet; a record that has been sent in part is completed first.
///
/// The gate's operations run on the job's thread. Exchanges, and the reading of their results, are done under
/// the exchange mutex, because query threads use the same request objects.
class CMonitorSecurity final : public CMonitor {
public:
    using CMonitor::CMonitor;

    /// Loads the policy that "ConfigurationFile" names; there is none without that value or if the file
    /// cannot be loaded. FALSE if CMonitor's StartDoc fails or memory is exhausted.
    BOOL StartDoc(PortRecord* port) override;
    BOOL Write(PortRecord* port, const uint8_t* data, DWORD size, DWORD* written) override;

    /// Whether the printer's state allows the held job data to be sent. FALSE if the state cannot be read.
    virtual BOOL QuerySecurity(PortRecord* port, BOOL* mayPrint);
    /// Presents the last password again. TRUE if the printer is validated afterwards.
    virtual BOOL Reauthenticate(PortRecord* port);
    /// Presents the password stored in printer data, and removes it from there. FALSE if no password is
    /// stored or it could not be presented, in which case it stays.
    virtual BOOL AuthenticateFromPrinterData(PortRecord* port);
    /// Runs the "Password" request, prepared with this text ("/password"), or for null as it was last
    /// prepared.
    virtual BOOL SendPassword(PortRecord* port, const wchar_t* requestText);
    /// The gate: whether the end of the job may be sent now.
    virtual void CheckPassword(PortRecord* port, BOOL* proceed);

private:
    bool RequestPassword(PortRecord* port);

    std::unique_ptr<CConfigPassword> m_config;
    /// The end of a job has been sent under the validation that the printer still has.
    BOOL m_released = FALSE;
    /// What QuerySecurity last read: a job that is sent without protection does not use up a validation.
    bool m_isProtected = false;
    /// The gate has let the pending piece through. Checked once for each piece: a second check would treat
    /// the validation as used.
    bool m_isPendingPieceAllowed = false;
};

} // namespace zrtmon
