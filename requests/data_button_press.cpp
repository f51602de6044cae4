#include "requests/data_button_press.h"

#include <algorithm>

#include "link/command_prefix.h"

namespace zrtmon {

namespace {

constexpr auto kPress = MakeCommand("B");
constexpr uint8_t kNoButton = 0xFF;
constexpr uint8_t kButtons[] = {'1', kNoButton, '2', kNoButton, kNoButton}; // by number

} // namespace

const uint8_t* CDataButtonPress::GetCommand(uint32_t* length)
{
    const uint8_t* command = CommandBytes(m_command, length);
    const int number = WholeNumber();
    const bool isListed = number >= 0 && number < static_cast<int>(std::size(kButtons));
    if (!isListed || kButtons[number] == kNoButton) {
        return nullptr;
    }
    *std::copy(kPress.begin(), kPress.end(), m_command.begin()) = kButtons[number];
    return command;
}

} // namespace zrtmon
