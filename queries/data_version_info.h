#pragma once

#include "requests/data.h"

namespace zrtmon {

/// The printer's firmware version: command "NV", reply "Ver:" and the version. Answer: "Firmware=<text>".
class CDataVersionInfo final : public CData {
public:
    const uint8_t* GetCommand(uint32_t* length) override;
    BOOL Parse() override;
    const char* GetFieldName(uint32_t index) override;
};

} // namespace zrtmon
