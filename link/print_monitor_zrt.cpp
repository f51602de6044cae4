#include "link/print_monitor_zrt.h"

#include "queries/data_card_count.h"
#include "queries/data_device_info.h"
#include "queries/data_lcd_dump_zrt.h"
#include "queries/data_mag_zrt.h"
#include "queries/data_ribbon.h"
#include "queries/data_serial_number.h"
#include "queries/data_status.h"
#include "queries/data_status_info.h"
#include "queries/data_version_info.h"
#include "requests/data_button_press.h"
#include "requests/data_cancel.h"
#include "requests/data_move_to.h"
#include "requests/data_print_job_zrt.h"
#include "requests/data_send_command.h"
#include "requests/data_station_status.h"
#include "security/data_oem_enable.h"
#include "security/data_password.h"
#include "security/data_security.h"
#include "security/data_security_token.h"
#include "settings/data_settings_init.h"
#include "settings/data_settings_zrt.h"

namespace zrtmon {

namespace {

std::unique_ptr<CData> MakeStationStatus()
{
    auto bay1 = std::make_unique<CDataStationStatus>();
    bay1->SetNext(std::make_unique<CDataStationStatusBay2>(bay1.get()));
    return bay1;
}

std::unique_ptr<CData> MakeOemEnable()
{
    auto serialNumber = std::make_unique<CDataSerialNumber>(nullptr, CData::kReceiveDeviceId);
    serialNumber->SetNext(std::make_unique<CDataOEMEnable>(serialNumber.get()));
    return serialNumber;
}

/// A password command, chained after the request for the challenge that it responds to.
template <typename Command>
std::unique_ptr<CData> MakePasswordCommand()
{
    auto token = std::make_unique<CDataSecurityToken>();
    token->SetNext(std::make_unique<Command>(token.get()));
    return token;
}

} // namespace

BOOL CPrintMonitorZRT::CanInterleave()
{
    if (!CPrintMonitor::CanInterleave()) {
        return FALSE;
    }
    // The only class that CreateRequest uses for it.
    const auto* job = static_cast<const CDataPrintJobZRT*>(FindPrintJob());
    return !job || job->GetCardCount() % 2 == 0;
}

BOOL CPrintMonitorZRT::ResetJob() { return GetRequest(PrintJob) && CPrintMonitor::ResetJob(); }

std::unique_ptr<CData> CPrintMonitorZRT::CreateRequest(RequestCode code) const
{
    switch (code) {
    case CancelPrint:
        return std::make_unique<CDataCancel>();
    case CardCount:
        return std::make_unique<CDataCardCount>();
    case ConfigInfo:
        return std::make_unique<CDataDeviceInfo>();
    case RibbonInfo:
        return std::make_unique<CDataRibbon>(CDataRibbon::kRibbon);
    case Password:
        return MakePasswordCommand<CDataPassword>();
    case DisablePassword:
        return MakePasswordCommand<CDataPasswordDisable>();
    case EnablePassword:
        return MakePasswordCommand<CDataPasswordEnable>();
    case SetAdminPassword:
        return MakePasswordCommand<CDataPasswordSet>();
    case SetUserPassword:
        return MakePasswordCommand<CDataPasswordSetUser>();
    case PrinterError:
        return std::make_unique<CDataStatusInfo>(std::make_unique<CDataStatus>(),
                                                 CDataStatusInfo::kErrorCategory);
    case SecurityInfo:
        return std::make_unique<CDataSecurity>();
    case EnableOemSupplies:
        return MakeOemEnable();
    case SerialNumber:
        return std::make_unique<CDataSerialNumber>(nullptr, CData::kReceiveDeviceId);
    case CurrentSettings:
        return std::make_unique<CDataSettingsZRT>();
    case DefaultSettings:
        return std::make_unique<CDataSettingsZRTDefault>();
    case InitializeSettings:
        return std::make_unique<CDataSettingsInitZRT>();
    case Status:
        return std::make_unique<CDataStatus>();
    case MoveTo:
        return std::make_unique<CDataMoveTo>();
    case StationStatus:
        return MakeStationStatus();
    case LCDInfo:
        return std::make_unique<CDataLCDDumpZRT>();
    case SimulateButtonPress:
        return std::make_unique<CDataButtonPress>();
    case MagData:
        return std::make_unique<CDataMagZRT>();
    case PrintJob:
        return std::make_unique<CDataPrintJobZRT>();
    case UtilityCommand:
        return std::make_unique<CDataSendCommand>();
    case VersionInfo:
        return std::make_unique<CDataVersionInfo>();
    default:
        return nullptr;
    }
}

} // namespace zrtmon
