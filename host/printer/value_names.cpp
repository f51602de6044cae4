#include "host/printer/value_names.h"

#include <algorithm>
#include <vector>

#include "host/text/text.h"
#include "simulator/nearest_name.h"

namespace zrtmon::host {
namespace {

using enum ValueKind;

constexpr CValueName kValueNames[] = {
    {"CancelPrint", Action, "", "cancels what the printer is printing", "CancelPrint"},
    {"CardCount", Query, "", "cards printed since the printer was built", "CardCount"},
    {"ConfigInfo", Query, "", "MagModule and FlipperModule, 1 where fitted", "ConfigInfo"},
    {"CurrentActivity", Unserved, "", "", ""},
    {"CurrentSettings", Query, "", "each setting as name=value,lowest,highest,flag;", "CurrentSettings"},
    {"DefaultSettings", Query, "", "the factory's settings, in the form of CurrentSettings",
     "DefaultSettings"},
    {"DeviceError", Unserved, "", "", ""},
    {"DisablePassword", ValueKind::Password, "CURRENT", "turns the password protection off",
     "zrtctl password disable"},
    {"EnableOemSupplies", Action, "", "makes the printer accept supplies of other makes",
     "EnableOemSupplies"},
    {"EnablePassword", ValueKind::Password, "CURRENT", "turns the password protection on",
     "zrtctl password enable"},
    {"FilmInfo", Unserved, "", "", ""},
    {"HopperSelect", Unserved, "", "", ""},
    {"InitializeSettings", Action, "PRINTER", "writes the settings stored for that printer, and returns them",
     "InitializeSettings/Card Printer"},
    {"LCDInfo", Query, "", "the lines on the printer's display", "LCDInfo"},
    {"LaminateInfo_0", Unserved, "", "", ""},
    {"LaminateInfo_1", Unserved, "", "", ""},
    {"MagData", Query, "", "Track1 to Track3, as last read from a card", "MagData"},
    {"MoveTo", Action, "0 to 6", "moves the card by that number of the move table", "MoveTo/3"},
    {"MoveToEx", Unserved, "", "", ""},
    {"PassthroughOut", Unserved, "", "", ""},
    {"Password", ValueKind::Password, "CURRENT", "presents the password, so that a held job can print",
     "zrtctl password check"},
    {"PrinterError", Query, "", "category of the printer's error, 1 for none", "PrinterError"},
    {"ReadMagStrip", Unserved, "", "", ""},
    {"ReadMagStripEx", Unserved, "", "", ""},
    {"RibbonInfo", Query, "", "PartNumber, OEMPartNumber, Grade, Type, Material, PercentRemaining",
     "RibbonInfo"},
    {"SecurityInfo", Query, "", "Validation, OemSupplies and Password, each 1 or 0", "SecurityInfo"},
    {"SensorStatus", Unserved, "", "", ""},
    {"SerialNumber", Query, "", "the printer's serial number", "SerialNumber"},
    {"SetAdminPassword", ValueKind::Password, "CURRENT/NEW", "sets the administrator's password",
     "zrtctl password set-admin"},
    {"SetUserPassword", ValueKind::Password, "CURRENT/NEW", "sets the user's password",
     "zrtctl password set-user"},
    {"SimulateButtonPress", Action, "0 or 2", "presses a button of the front panel", "SimulateButtonPress/0"},
    {"StationStatus", Query, "0 to 5", "state of that station, -1 if no bay holds it", "StationStatus/2"},
    {"UtilityCommand", Action, "1, 2 or 9", "runs a utility of the printer; 9 takes ten seconds",
     "UtilityCommand/1"},
    {"VersionInfo", Query, "", "Firmware, the version of the printer's program", "VersionInfo"},
};

std::string_view NamePart(std::string_view requestText)
{
    return requestText.substr(0, requestText.find_first_of("/="));
}

} // namespace

std::span<const CValueName> ValueNames() { return kValueNames; }

const CValueName* FindValueName(std::string_view requestText)
{
    const std::string_view name = NamePart(requestText);
    const auto row =
        std::find_if(std::begin(kValueNames), std::end(kValueNames),
                     [&](const CValueName& known) { return EqualsIgnoringCase(known.name, name); });
    return row == std::end(kValueNames) ? nullptr : row;
}

std::string_view NearestValueName(std::string_view name)
{
    std::vector<std::string_view> known;
    for (const CValueName& row : kValueNames) {
        known.push_back(row.name);
    }
    return sim::Nearest(name, known);
}

std::string RequestProblem(std::string_view requestText)
{
    const std::string name = PrintableInput(NamePart(requestText));
    const CValueName* row = FindValueName(requestText);
    if (!row) {
        const std::string_view nearest = NearestValueName(name);
        return name + ": no such value name" +
               (nearest.empty() ? "; \"zrtctl names\" lists them" : sim::DidYouMean(nearest));
    }
    if (row->kind == Unserved) {
        return name + ": not supported by this printer family; \"zrtctl names\" lists those that are";
    }
    if (row->kind == ValueKind::Password) {
        return name + ": passwords are not accepted on the command line; use " + std::string(row->example);
    }
    if (!row->parameters.empty() && requestText.find('/') == std::string_view::npos) {
        return name + ": parameters required (" + std::string(row->parameters) + "), for example " +
               std::string(row->example);
    }
    return {};
}

} // namespace zrtmon::host
