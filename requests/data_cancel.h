#pragma once

#include <cstdint>
#include <vector>

#include "requests/data.h"

namespace zrtmon {

/// Cancels what the printer prints: 512 zero bytes, which end whatever it is in the middle of, and the
/// command "XC". No reply, no answer.
class CDataCancel final : public CData {
public:
    /// May throw std::bad_alloc: the command's memory is reserved here, so that a cancel that could be
    /// created can also be sent.
    CDataCancel();

    const uint8_t* GetCommand(uint32_t* length) override;
    uint32_t GetReceiveMethod() override { return kReceiveNothing; }

private:
    std::vector<uint8_t> m_command; ///< built anew by each GetCommand
};

} // namespace zrtmon
