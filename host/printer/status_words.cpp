#include "host/printer/status_words.h"

#include <span>

namespace zrtmon::host {
namespace {

// The printer's documents name only these categories; the others are shown by number.
struct CCategory {
    int first;
    int last;
    const char* words;
};

constexpr CCategory kCategories[] = {
    {kNoErrorCategory, kNoErrorCategory, "no error"},
    {6, 6, "waiting for the printer"},
    {20, 26, "ribbon"},
    {kPasswordCategory, kPasswordCategory, "waiting for a password"},
};

struct CErrorWords {
    DWORD error;
    const char* words;
};

constexpr CErrorWords kQueryErrors[] = {
    {ERROR_NOT_SUPPORTED, "the port does not support queries"},
    {ERROR_INVALID_PARAMETER, "no valid reply from the printer, or the parameters are invalid"},
    {ERROR_BUSY, "the printer is printing a card or busy with another query"},
    {ERROR_DEVICE_NOT_AVAILABLE, "another exchange has occupied the printer for 30 seconds"},
};

constexpr CErrorWords kPortErrors[] = {
    {ERROR_FILE_NOT_FOUND, "no such file"},           {ERROR_PATH_NOT_FOUND, "no such folder"},
    {ERROR_ACCESS_DENIED, "access denied"},           {ERROR_NOT_ENOUGH_MEMORY, "memory is exhausted"},
    {ERROR_WRITE_FAULT, "it cannot be written to"},   {ERROR_GEN_FAILURE, "the device failed"},
    {ERROR_INVALID_PARAMETER, "the name is invalid"}, {ERROR_BUSY, "it is in use"},
    {ERROR_UNKNOWN_PORT, "no such kind of port"},     {ERROR_INVALID_PRINTER_NAME, "no such printer"},
};

constexpr CErrorWords kSpoolerErrors[] = {
    {ERROR_ACCESS_DENIED,
     "access denied: the right to administer the printer is missing; run as an administrator"},
    {ERROR_INVALID_HANDLE, "the printer has been removed"},
    {ERROR_NOT_SUPPORTED, "this system has no printers of that kind"},
    {ERROR_MOD_NOT_FOUND, "the system's winspool.drv cannot be used; repair the system"},
    {RPC_S_SERVER_UNAVAILABLE, "the print spooler is not running; start the service \"Print Spooler\""},
    {ERROR_INVALID_PRINTER_NAME, "no such printer"},
};

std::string WithNumber(std::span<const CErrorWords> table, DWORD error)
{
    std::string number = "system error " + std::to_string(error);
    for (const CErrorWords& row : table) {
        if (row.error == error) {
            return row.words + (" (" + number + ')');
        }
    }
    return number;
}

} // namespace

std::string CategoryWords(int category)
{
    for (const CCategory& row : kCategories) {
        if (category >= row.first && category <= row.last) {
            return row.words;
        }
    }
    return "error";
}

std::string DeviceErrorWords(int code)
{
    return code == 0 ? "no error code" : "printer error code " + std::to_string(code);
}

std::string PrinterStatusWords(int status)
{
    return status == -1 ? "no special state" : "special state " + std::to_string(status);
}

std::string ErrorReason(int category, int code)
{
    if (category == kPasswordCategory) {
        return "password required";
    }
    return CategoryWords(category) + " (printer error " + std::to_string(code) + ", category " +
           std::to_string(category) + ')';
}

std::string QueryErrorWords(DWORD error) { return WithNumber(kQueryErrors, error); }

std::string SpoolerErrorWords(DWORD error) { return WithNumber(kSpoolerErrors, error); }

ExitStatus SpoolerErrorStatus(DWORD error)
{
    switch (error) {
    case ERROR_ACCESS_DENIED:
        return ExitStatus::NoPermission;
    case ERROR_INVALID_DATA:
        return ExitStatus::BadData;
    default:
        return ExitStatus::NoDevice;
    }
}

std::string PortErrorWords(DWORD error) { return WithNumber(kPortErrors, error); }

} // namespace zrtmon::host
