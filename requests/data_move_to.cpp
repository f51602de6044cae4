#include "requests/data_move_to.h"

#include <iterator>

#include "link/command_prefix.h"

namespace zrtmon {

namespace {

constexpr auto kMove0 = MakeCommand("e");
constexpr auto kMove1 = MakeCommand("d");
constexpr auto kMove2 = MakeCommand("i", "S1");
constexpr auto kMove3 = MakeCommand("PPL", "i");
constexpr auto kMove4 = MakeCommand("PIL", "i");
constexpr auto kMove5 = MakeCommand("PML", "i");
constexpr auto kMove6 = MakeCommand("i", "r");
constexpr std::span<const uint8_t> kMoves[] = {kMove0, kMove1, kMove2, kMove3, kMove4, kMove5, kMove6};

} // namespace

const uint8_t* CDataMoveTo::GetCommand(uint32_t* length)
{
    const int number = WholeNumber();
    const bool isListed = number >= 0 && number < static_cast<int>(std::size(kMoves));
    return CommandBytes(isListed ? kMoves[number] : std::span<const uint8_t>(), length);
}

} // namespace zrtmon
