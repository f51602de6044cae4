#pragma once

#include "requests/data.h"

namespace zrtmon {

/// The loaded ribbon: command "NR", reply "Ribbon Info:" and six values. Answer:
/// "PartNumber=..;OEMPartNumber=..;Grade=..;Type=..;Material=..;PercentRemaining=..", as far as the reply
/// goes.
class CDataRibbon final : public CData {
public:
    enum Supply : uint32_t { kRibbon = 0 };

    explicit CDataRibbon(uint32_t supply) : m_supply(supply) {}

    /// Nothing is sent for a supply other than the ribbon.
    const uint8_t* GetCommand(uint32_t* length) override;
    BOOL Parse() override;
    BOOL NameFields() override; ///< always TRUE
    const char* GetFieldName(uint32_t index) override;

private:
    uint32_t m_supply;
};

} // namespace zrtmon
