#pragma once

#include "requests/data.h"

namespace zrtmon {

/// Cancels what the printer prints: 512 zero bytes, which end whatever it is in the middle of, and the
/// command "XC". No reply, no answer.
class CDataCancel final : public CData {
public:
    const uint8_t* GetCommand(uint32_t* length) override;
    uint32_t GetReceiveMethod() override { return kReceiveNothing; }
};

} // namespace zrtmon
