#include "link/request_code.h"

namespace zrtmon {

constinit const std::array<RequestName, 34> RequestNameTable = {{
    {CancelPrint, L"CancelPrint"},
    {CardCount, L"CardCount"},
    {ConfigInfo, L"ConfigInfo"},
    {DeviceError, L"DeviceError"},
    {FilmInfo, L"FilmInfo"},
    {LaminateInfo0, L"LaminateInfo_0"},
    {LaminateInfo1, L"LaminateInfo_1"},
    {RibbonInfo, L"RibbonInfo"},
    {CurrentSettings, L"CurrentSettings"},
    {DefaultSettings, L"DefaultSettings"},
    {InitializeSettings, L"InitializeSettings"},
    {SecurityInfo, L"SecurityInfo"},
    {EnableOemSupplies, L"EnableOemSupplies"},
    {SerialNumber, L"SerialNumber"},
    {PassthroughOut, L"PassthroughOut"},
    {Password, L"Password"},
    {EnablePassword, L"EnablePassword"},
    {SetAdminPassword, L"SetAdminPassword"},
    {SetUserPassword, L"SetUserPassword"},
    {DisablePassword, L"DisablePassword"},
    {CurrentActivity, L"CurrentActivity"},
    {PrinterError, L"PrinterError"},
    {HopperSelect, L"HopperSelect"},
    {MoveTo, L"MoveTo"},
    {StationStatus, L"StationStatus"},
    {LCDInfo, L"LCDInfo"},
    {SimulateButtonPress, L"SimulateButtonPress"},
    {ReadMagStrip, L"ReadMagStrip"},
    {ReadMagStripEx, L"ReadMagStripEx"},
    {MagData, L"MagData"},
    {UtilityCommand, L"UtilityCommand"},
    {VersionInfo, L"VersionInfo"},
    {SensorStatus, L"SensorStatus"},
    {MoveToEx, L"MoveToEx"},
}};

} // namespace zrtmon
