#include "requests/data_cancel.h"

#include <algorithm>
#include <array>

#include "link/command_prefix.h"

namespace zrtmon {

namespace {

constexpr size_t kFillerSize = 512;
constexpr auto kCancel = MakeCommand("XC");

/// Constant, so that no want of memory keeps the printer from being told.
constexpr auto kCommand = [] {
    std::array<uint8_t, kFillerSize + kCancel.size()> bytes{};
    std::copy(kCancel.begin(), kCancel.end(), bytes.begin() + kFillerSize);
    return bytes;
}();

} // namespace

const uint8_t* CDataCancel::GetCommand(uint32_t* length) { return Lend(kCommand, length); }

} // namespace zrtmon
