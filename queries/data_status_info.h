#pragma once

#include <memory>

#include "queries/data_status.h"

namespace zrtmon {

/// One number derived from the printer's status. Answer: that number as decimal text.
class CDataStatusInfo final : public CData {
public:
    enum Selector : uint32_t { kErrorCategory = 0, kErrorCode = 1, kStatusCode = 2 };

    /// status may be null: then nothing is sent and every reply fails. Selectors past the last give -1.
    CDataStatusInfo(std::unique_ptr<CDataStatus> status, uint32_t selector);

    const uint8_t* GetCommand(uint32_t* length) override;
    BOOL Prepare(const wchar_t* requestText) override;
    uint32_t GetSendDelay() override;
    BOOL SetReply(const char* data, uint32_t length) override;

private:
    std::unique_ptr<CDataStatus> m_status;
    uint32_t m_selector;
};

} // namespace zrtmon
