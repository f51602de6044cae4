#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace zrtmon {

/// The three bytes that open every command to the printer, followed by a mnemonic of one to three letters and
/// its parameters. There is no length field and no terminator.
inline constexpr std::array<uint8_t, 3> CommandPrefix = {0x1B, 0x00, 0x02};

/// Whether the three bytes at data are a prefix.
inline bool OpensWithPrefix(const uint8_t* data)
{
    return std::memcmp(data, CommandPrefix.data(), CommandPrefix.size()) == 0;
}

/// The first position in [from, end) where a prefix begins, else end. Requires from <= end; data[end] and
/// data[end + 1] must be readable.
uint32_t FindPrefix(const uint8_t* data, uint32_t from, uint32_t end);

/// Constant command bytes: a prefix and a mnemonic for each of the texts, back to back.
template <size_t... N>
consteval auto MakeCommand(const char (&... mnemonics)[N])
{
    std::array<uint8_t, ((CommandPrefix.size() + N - 1) + ...)> command{};
    uint8_t* out = command.data();
    const auto append = [&out](std::string_view mnemonic) {
        out = std::copy(CommandPrefix.begin(), CommandPrefix.end(), out);
        for (const char letter : mnemonic) {
            *out++ = static_cast<uint8_t>(letter);
        }
    };
    (append(std::string_view(mnemonics, N - 1)), ...);
    return command;
}

} // namespace zrtmon
