#pragma once

#include "requests/data.h"

namespace zrtmon {

/// The tracks of a magnetic stripe. Answer: "Track1=<text>;Track2=<text>;Track3=<text>".
class CDataMag : public CData {
public:
    const char* GetFieldName(uint32_t index) override;
};

} // namespace zrtmon
