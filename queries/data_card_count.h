#pragma once

#include "queries/data_status.h"

namespace zrtmon {

/// The card count from the printer's status. Answer: the count as a decimal number; when it cannot be
/// read, the named status text.
class CDataCardCount final : public CDataStatus {
public:
    BOOL NameFields() override; ///< always TRUE
};

} // namespace zrtmon
