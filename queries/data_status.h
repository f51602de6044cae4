#pragma once

#include "requests/data.h"

namespace zrtmon {

/// What a status reply says of the printer, in the numbers that are published.
struct PrinterState {
    int category = kNoErrorCategory;
    int errorCode = 0;
    int statusCode = kNoStatusCode;

    static constexpr int kNoErrorCategory = 1;
    static constexpr int kNoStatusCode = -1;
};

/// The printer's status: command "Nr", reply "ERR:" and six values, each closed by a separator.
/// Answer: "Busy=<n>;Error=<n>;Status=<n>;Print=<n>;Secure=<n>;Count=<n>;".
class CDataStatus : public CData {
public:
    const uint8_t* GetCommand(uint32_t* length) override;
    BOOL Parse() override;
    const char* GetFieldName(uint32_t index) override;

    virtual BOOL IsPrinting();
    virtual BOOL GetErrorCode(int& code);
    virtual BOOL IsBusy();
    virtual BOOL GetPrintState(int& state);
    /// The category of the error code by the ErrorCategoryTable; 1 is no error.
    virtual int GetErrorCategory();
    virtual int GetStatusCode();

    BOOL GetCardCount(int& count);

    /// TRUE: ready for more work. A status without a readable error code counts as ready and leaves state as
    /// it was; otherwise all of it is filled in.
    BOOL EvaluateStatus(PrinterState& state);
};

} // namespace zrtmon
