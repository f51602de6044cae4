#include "requests/data_cancel.h"

#include <algorithm>
#include <new>

#include "link/command_prefix.h"

namespace zrtmon {

namespace {
constexpr size_t kFillerSize = 512;
constexpr auto kCancel = MakeCommand("XC");
} // namespace

const uint8_t* CDataCancel::GetCommand(uint32_t* length)
{
    try {
        m_command.assign(kFillerSize + kCancel.size(), 0);
    } catch (const std::bad_alloc&) {
        return Lend({}, length);
    }
    std::copy(kCancel.begin(), kCancel.end(), m_command.begin() + kFillerSize);
    return Lend(m_command, length);
}

} // namespace zrtmon
