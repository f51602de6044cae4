#pragma once

#include "requests/data.h"

namespace zrtmon {

/// The optional modules that the printer has: command "NM", reply "Module Status:" and two values.
/// Answer: "MagModule=<n>;FlipperModule=<n>", 1 for a module that is fitted.
class CDataDeviceInfo final : public CData {
public:
    const uint8_t* GetCommand(uint32_t* length) override;
    BOOL Parse() override;
    const char* GetFieldName(uint32_t index) override;
};

} // namespace zrtmon
