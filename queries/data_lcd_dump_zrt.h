#pragma once

#include "queries/data_lcd_dump.h"

namespace zrtmon {

/// The display of this printer family, whose reply opens with "LCD:".
class CDataLCDDumpZRT final : public CDataLCDDump {
public:
    BOOL Parse() override { return KeepTextAfter("LCD:"); }
};

} // namespace zrtmon
