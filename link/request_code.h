#pragma once

#include <array>
#include <cstdint>

namespace zrtmon {

/// The kinds of request. `Status` and `PrintJob` are used inside the system only and have no value name.
enum RequestCode : uint32_t {
    UnknownRequest = 0,
    CancelPrint = 1,
    CardCount = 2,
    ConfigInfo = 3,
    DeviceError = 4,
    FilmInfo = 5,
    LaminateInfo0 = 6,
    LaminateInfo1 = 7,
    RibbonInfo = 8,
    PassthroughOut = 9,
    Password = 10,
    DisablePassword = 11,
    EnablePassword = 12,
    SetAdminPassword = 13,
    SetUserPassword = 14,
    CurrentActivity = 15,
    PrinterError = 16,
    SecurityInfo = 17,
    EnableOemSupplies = 18,
    SerialNumber = 19,
    CurrentSettings = 20,
    DefaultSettings = 21,
    InitializeSettings = 22,
    Status = 23,
    HopperSelect = 24,
    MoveTo = 25,
    StationStatus = 26,
    LCDInfo = 27,
    SimulateButtonPress = 28,
    ReadMagStrip = 29,
    ReadMagStripEx = 30,
    MagData = 31,
    PrintJob = 32,
    UtilityCommand = 33,
    VersionInfo = 34,
    SensorStatus = 35,
    MoveToEx = 36,
};

/// One value name that callers may query.
struct RequestName {
    RequestCode code;
    const wchar_t* valueName;
};

/// Every value name, served or only known. Searched from the last row to the first.
extern const std::array<RequestName, 34> RequestNameTable;

} // namespace zrtmon
