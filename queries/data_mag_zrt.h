#pragma once

#include "queries/data_mag.h"

namespace zrtmon {

/// The tracks that the printer's magnetic-stripe module last read: command "N0", reply "MAG:" and three
/// values. Fails if a track is missing; an empty last track counts only if a separator follows it.
class CDataMagZRT final : public CDataMag {
public:
    const uint8_t* GetCommand(uint32_t* length) override;
    BOOL Parse() override;
};

} // namespace zrtmon
