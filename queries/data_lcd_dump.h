#pragma once

#include "requests/data.h"

namespace zrtmon {

/// What the front panel shows: command "NL", the display lines separated by ";". Answer: the lines, each ";"
/// a line break of CR LF; nothing is named.
class CDataLCDDump : public CData {
public:
    const uint8_t* GetCommand(uint32_t* length) override;
    BOOL NameFields() override; ///< always TRUE
};

} // namespace zrtmon
