#include "requests/data_cancel.h"

#include "link/command_prefix.h"

namespace zrtmon {

namespace {
constexpr size_t kFillerSize = 512;
constexpr auto kCancel = MakeCommand("XC");
} // namespace

CDataCancel::CDataCancel() { m_command.reserve(kFillerSize + kCancel.size()); }

const uint8_t* CDataCancel::GetCommand(uint32_t* length)
{
    m_command.assign(kFillerSize, 0);
    m_command.insert(m_command.end(), kCancel.begin(), kCancel.end());
    return CommandBytes(m_command, length);
}

} // namespace zrtmon
