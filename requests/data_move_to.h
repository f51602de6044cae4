#pragma once

#include "requests/data_send_command.h"

namespace zrtmon {

/// A move of the card: "MoveTo/<n>". No reply, no answer; a number without a move sends nothing.
class CDataMoveTo final : public CDataSendCommand {
public:
    const uint8_t* GetCommand(uint32_t* length) override;
};

} // namespace zrtmon
