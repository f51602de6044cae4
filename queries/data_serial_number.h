#pragma once

#include <memory>

#include "requests/data.h"

namespace zrtmon {

/// The printer's serial number, from the IEEE 1284 device ID; sends nothing. Answer: the text after "SN:"
/// up to the next ";".
class CDataSerialNumber final : public CData {
public:
    CDataSerialNumber(std::unique_ptr<CData> next, uint32_t receiveMethod);

    const uint8_t* GetCommand(uint32_t* length) override;
    uint32_t GetSendMethod() override { return kSendNothing; }
    uint32_t GetReceiveMethod() override { return m_receiveMethod; }
    BOOL Parse() override;

private:
    uint32_t m_receiveMethod;
};

} // namespace zrtmon
