#pragma once

#include <array>

#include "requests/data.h"

namespace zrtmon {

/// The printer's security state: command "NP", reply "Plinth:" and three words.
/// Answer: "Validation=<0|1>;OemSupplies=<0|1>;Password=<0|1>;".
class CDataSecurity : public CData {
public:
    static const std::array<uint8_t, 5> kCommand; ///< other security commands include it

    const uint8_t* GetCommand(uint32_t* length) override;
    BOOL Parse() override;
    const char* GetFieldName(uint32_t index) override;
};

} // namespace zrtmon
