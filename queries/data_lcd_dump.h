#pragma once

#include "requests/data.h"

namespace zrtmon {

/// The lines on the front panel: command "NL", reply: the display lines separated by ";". Answer: the lines,
/// separated by CR LF, without field names.
class CDataLCDDump : public CData {
public:
    const uint8_t* GetCommand(uint32_t* length) override;
    BOOL NameFields() override; ///< always TRUE
};

} // namespace zrtmon
