#include "queries/data_status.h"

#include <algorithm>
#include <iterator>

#include "link/command_prefix.h"
#include "queries/error_category_table.h"

namespace zrtmon {

namespace {

constexpr auto kCommand = MakeCommand("Nr");
constexpr const char* kFieldNames[] = {"Busy", "Error", "Status", "Print", "Secure", "Count"};

constexpr int kIdlePrintStates[] = {0, 10, 32, 39};
constexpr int kCategorySixPrintState = 29;
constexpr int kCategorySix = 6;

/// The two error codes that are states rather than errors.
struct StatusCode {
    int errorCode;
    int statusCode;
};
constexpr StatusCode kStatusCodes[] = {{71, 1}, {92, 2}};

} // namespace

const uint8_t* CDataStatus::GetCommand(uint32_t* length) { return CommandBytes(kCommand, length); }

BOOL CDataStatus::Parse() { return KeepTextAfter("ERR:"); }

const char* CDataStatus::GetFieldName(uint32_t index) { return NameAt(kFieldNames, index); }

BOOL CDataStatus::IsPrinting()
{
    int state = 0;
    return GetPrintState(state) && std::find(std::begin(kIdlePrintStates), std::end(kIdlePrintStates),
                                             state) == std::end(kIdlePrintStates);
}

BOOL CDataStatus::GetErrorCode(int& code) { return GetIntField("Error", code); }

BOOL CDataStatus::IsBusy()
{
    int busy = 0;
    return GetIntField("Busy", busy) && busy > 0;
}

BOOL CDataStatus::GetPrintState(int& state) { return GetIntField("Print", state); }

int CDataStatus::GetErrorCategory()
{
    int code = 0;
    if (GetErrorCode(code)) {
        const ErrorCategory* row = FindErrorCategory(code);
        if (row && row->category != kNoErrorCategory) {
            return row->category;
        }
    }
    int state = 0;
    if (GetPrintState(state) && state == kCategorySixPrintState) {
        return kCategorySix;
    }
    return kNoErrorCategory;
}

int CDataStatus::GetStatusCode()
{
    int code = 0;
    GetErrorCode(code);
    for (const StatusCode& row : kStatusCodes) {
        if (row.errorCode == code) {
            return row.statusCode;
        }
    }
    return kNoStatusCode;
}

BOOL CDataStatus::GetCardCount(int& count) { return GetIntField("Count", count); }

BOOL CDataStatus::EvaluateStatus(int& category, int& errorCode, int& statusCode)
{
    if (!GetErrorCode(errorCode)) {
        return TRUE;
    }
    statusCode = GetStatusCode();
    category = GetErrorCategory();
    return category == kNoErrorCategory && !IsBusy();
}

} // namespace zrtmon
