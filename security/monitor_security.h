#pragma once

#include <memory>

#include "link/monitor.h"
#include "security/config_password.h"

namespace zrtmon {

/// The device link that every port gets: it holds the end of a job until the printer is validated.
///
/// At a job's end-of-job command it asks the printer whether password protection is on and whether the
/// printer is validated, and lets the end of at most one job through for one validation. It presents the last
/// password again while the policy allows; otherwise it asks for one through "PrinterError" 100 and takes it
/// from the printer-data value "Password". A printer whose state cannot be read is not held.
///
/// The gate's own operations run on the job's thread. Exchanges, and the reading of their results, are done
/// under the exchange mutex, because query threads use the same request objects.
class CMonitorSecurity final : public CMonitor {
public:
    using CMonitor::CMonitor;

    /// Loads the policy that "ConfigurationFile" names; without one, or when it cannot be loaded, there is
    /// none. FALSE when CMonitor's fails or memory is exhausted.
    BOOL StartDoc(PortRecord* port) override;
    BOOL Write(PortRecord* port, const uint8_t* data, DWORD size, DWORD* written) override;

    /// Whether held job data may go by what the printer says. FALSE when it cannot be asked.
    virtual BOOL QuerySecurity(PortRecord* port, BOOL* mayPrint);
    /// Presents the last password once more. TRUE when the printer is validated then.
    virtual BOOL Reauthenticate(PortRecord* port);
    /// Presents the password that printer data holds, and removes it there. FALSE when there is none or it
    /// could not be presented; it stays then.
    virtual BOOL AuthenticateFromPrinterData(PortRecord* port);
    /// Runs the "Password" request, prepared with this text ("/password"), or as it was last prepared for
    /// null.
    virtual BOOL SendPassword(PortRecord* port, const wchar_t* requestText);
    /// The gate: whether the end of the job may go now.
    virtual void CheckPassword(PortRecord* port, BOOL* proceed);

private:
    struct SecurityState {
        bool isProtected;
        bool isValidated;
    };
    BOOL ReadSecurityState(PortRecord* port, SecurityState& state);
    bool AskForPassword(PortRecord* port);
    BOOL RunAtBorder(PortRecord* port, CData* request);

    std::unique_ptr<CConfigPassword> m_config;
    BOOL m_released = FALSE;  ///< the end of a job went under the validation that the printer still has
    bool m_isDecided = false; ///< the piece that is pending may go: asked before its first byte went
};

} // namespace zrtmon
