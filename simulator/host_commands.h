/// The commands that the printer understands outside job data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zrtmon::sim {

inline constexpr uint8_t kEsc = 0x1B;
/// ESC and these two bytes open every command.
inline constexpr uint8_t kPrefix[] = {kEsc, 0x00, 0x02};

/// What follows a mnemonic.
enum class ParameterForm {
    Fixed,        ///< as many bytes as the row says
    Setting,      ///< text up to a carriage return
    PasswordMode, ///< an 8-byte response, a mode byte and, for two of the modes, a 16-byte password
    Job,          ///< none: a command of the job data itself, outside the packets
};

struct HostCommand {
    std::string_view mnemonic;
    ParameterForm form = ParameterForm::Fixed;
    size_t parameterBytes = 0; ///< of ParameterForm::Fixed
};

/// The row of a mnemonic; null if text is not a whole one. *possible says whether more letters could
/// make it one.
const HostCommand* FindHostCommand(std::string_view text, bool* possible);

/// The host command that the bytes begin with, from its ESC to its last parameter byte, and its length in
/// bytes; null if they do not begin with a complete one.
const HostCommand* FindFirstCommand(std::string_view bytes, size_t* length);

/// Whether the parameter bytes received so far are all. *wrong is set when they can never
/// be.
bool AreParametersComplete(const HostCommand& command, std::string_view parameters, bool* wrong);

} // namespace zrtmon::sim
