#pragma once

#include <string>

#include "requests/data.h"

namespace zrtmon {

/// A printer action chosen by a number: "UtilityCommand/<n>". No reply, no answer. A number without a command
/// sends nothing, and the exchange succeeds after its delay. Base of the requests that take parameters.
class CDataSendCommand : public CData {
public:
    const uint8_t* GetCommand(uint32_t* length) override;
    /// Keeps what follows the first "/". FALSE, the previous parameters unchanged, without one or if memory
    /// is exhausted.
    BOOL Prepare(const wchar_t* requestText) override;
    uint32_t GetSendDelay() override;
    uint32_t GetReceiveMethod() override { return kReceiveNothing; }

    /// Parameter number index (from 0) as a number, from its first 31 characters; -1 if there are fewer
    /// parameters.
    virtual int GetParameter(uint32_t index);

protected:
    /// All parameters read as one number: "2/7" is 2.
    int WholeNumber() const;

private:
    std::wstring m_parameters;
    uint32_t m_timeout = 0; ///< send delay of the last command in milliseconds; 0: the default
};

} // namespace zrtmon
