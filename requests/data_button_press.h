#pragma once

#include <array>

#include "requests/data_send_command.h"

namespace zrtmon {

/// A press of a front-panel button: "SimulateButtonPress/<n>". No reply, no answer; a number without a button
/// sends nothing.
class CDataButtonPress final : public CDataSendCommand {
public:
    const uint8_t* GetCommand(uint32_t* length) override;

private:
    std::array<uint8_t, 5> m_command{};
};

} // namespace zrtmon
