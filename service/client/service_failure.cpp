#include "service/client/service_failure.h"

#include "host/text/text.h"

namespace zrtmon::client {
namespace {

using host::ExitStatus;

struct CRefusalRow {
    std::string_view name;
    ExitStatus status;
    DWORD error;
    const char* advice; ///< ends the message
};

constexpr CRefusalRow kRefusals[] = {
    {"org.zrtmon.Error.AccessDenied", ExitStatus::NoPermission, ERROR_ACCESS_DENIED, ""},
    {"org.zrtmon.Error.NoSuchPrinter", ExitStatus::NoDevice, ERROR_INVALID_PRINTER_NAME, ""},
    {"org.zrtmon.Error.NoSuchName", ExitStatus::Usage, ERROR_FILE_NOT_FOUND, ""},
    {"org.zrtmon.Error.WrongKind", ExitStatus::Usage, ERROR_INVALID_PARAMETER, ""},
    {"org.zrtmon.Error.Busy", ExitStatus::Busy, ERROR_BUSY, ""},
    {"org.zrtmon.Error.NoDevice", ExitStatus::NoDevice, ERROR_DEVICE_NOT_AVAILABLE, ""},
    {"org.zrtmon.Error.PrinterError", ExitStatus::PrinterError, ERROR_INVALID_PARAMETER, ""},
    {"org.zrtmon.Error.NotServed", ExitStatus::NoDevice, ERROR_NOT_SUPPORTED, ""},
    {"org.zrtmon.Error.BadData", ExitStatus::BadData, ERROR_INVALID_DATA, ""},
    {"org.zrtmon.Error.TooLarge", ExitStatus::BadData, ERROR_INVALID_DATA, ""},
    {"org.zrtmon.Error.Stopping", ExitStatus::Busy, ERROR_BUSY, "; try again later"},
    {"org.freedesktop.DBus.Error.AccessDenied", ExitStatus::NoPermission, ERROR_ACCESS_DENIED,
     "; members of the groups lp and lpadmin may use the print service"},
    {"org.freedesktop.DBus.Error.UnknownObject", ExitStatus::NoDevice, ERROR_INVALID_PRINTER_NAME,
     "; it has been removed from the print service"},
};

constexpr std::string_view kNotRunning[] = {"org.freedesktop.DBus.Error.ServiceUnknown",
                                            "org.freedesktop.DBus.Error.NameHasNoOwner"};
// The starter of services on the bus could not start it.
constexpr std::string_view kNotStarted = "org.freedesktop.DBus.Error.Spawn.";

constexpr std::string_view kNoReply[] = {"org.freedesktop.DBus.Error.NoReply",
                                         "org.freedesktop.DBus.Error.Timeout",
                                         "org.freedesktop.DBus.Error.TimedOut"};

bool Contains(std::span<const std::string_view> names, std::string_view name)
{
    for (const std::string_view row : names) {
        if (row == name) {
            return true;
        }
    }
    return false;
}

} // namespace

void ThrowBusError(std::string_view name, const std::string& message)
{
    if (Contains(kNotRunning, name) || name.starts_with(kNotStarted)) {
        throw host::CNoPrintSystem("the print service is not running; start zrtmond, or give --port");
    }
    if (Contains(kNoReply, name)) {
        throw CServiceLost(CServiceLost::Cause::ServiceEnded,
                           "the print service does not reply; see its messages (journalctl -u zrtmond)");
    }
    for (const CRefusalRow& row : kRefusals) {
        if (row.name == name) {
            throw CServiceRefusal(row.status, row.error, host::PrintableUtf8(message) + row.advice);
        }
    }
    throw CServiceRefusal(ExitStatus::NoDevice, ERROR_GEN_FAILURE,
                          "the print service: " + host::PrintableUtf8(message));
}

} // namespace zrtmon::client
