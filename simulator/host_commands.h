/// The commands that the printer understands outside job data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zrtmon::sim {

inline constexpr uint8_t kEsc = 0x1B;
/// ESC and these two bytes open every command.
inline constexpr uint8_t kPrefix[] = {kEsc, 0x00, 0x02};

/// What stands behind a mnemonic.
enum class ParameterForm {
    Fixed,        ///< as many bytes as the row says
    Setting,      ///< text up to a carriage return
    PasswordMode, ///< an 8-byte response, a mode byte and, for two of the modes, a 16-byte password
    Job,          ///< none: a command of the job data itself, met in no packet
};

struct HostCommand {
    std::string_view mnemonic;
    ParameterForm form = ParameterForm::Fixed;
    size_t parameterBytes = 0; ///< of ParameterForm::Fixed
};

/// The row of a mnemonic; null when text is none, complete or not. *possible tells whether more letters could
/// make it one.
const HostCommand* FindHostCommand(std::string_view text, bool* possible);

/// The row of a host command that these bytes are, from its ESC to its last parameter byte; null when they
/// are not exactly one.
const HostCommand* FindWholeCommand(std::string_view bytes);

/// Whether these parameter bytes are exactly those that the command has. *wrong is set when they can never
/// be.
bool AreParametersComplete(const HostCommand& command, std::string_view parameters, bool* wrong);

} // namespace zrtmon::sim
