#pragma once

#include "requests/data.h"

namespace zrtmon {

/// The printer's status: command "Nr", reply "ERR:" and six values, each followed by a separator.
/// Answer: "Busy=<n>;Error=<n>;Status=<n>;Print=<n>;Secure=<n>;Count=<n>;".
class CDataStatus : public CData {
public:
    static constexpr int kNoErrorCategory = 1;
    static constexpr int kNoErrorCode = 0;
    static constexpr int kNoStatusCode = -1; ///< for all error codes except 71 and 92

    const uint8_t* GetCommand(uint32_t* length) override;
    BOOL Parse() override;
    const char* GetFieldName(uint32_t index) override;

    virtual BOOL IsPrinting();
    virtual BOOL GetErrorCode(int& code);
    virtual BOOL IsBusy();
    virtual BOOL GetPrintState(int& state);
    /// The error code's category in the ErrorCategoryTable; if that is none or kNoErrorCategory, 6 for print
    /// state 29, else kNoErrorCategory.
    virtual int GetErrorCategory();
    /// 1 or 2 for the two error codes that are states, else kNoStatusCode.
    virtual int GetStatusCode();

    BOOL GetCardCount(int& count);

    /// Whether the printer is ready for more work, and the numbers that are published. Without a readable
    /// error code it counts as ready, and the three numbers are left unchanged.
    BOOL EvaluateStatus(int& category, int& errorCode, int& statusCode);
};

} // namespace zrtmon
