#include "security/data_oem_enable.h"

#include <algorithm>

#include "link/command_prefix.h"
#include "queries/data_serial_number.h"

namespace zrtmon {

namespace {
constexpr auto kEnable = MakeCommand("TU");
constexpr size_t kSerialLength = 8;
constexpr uint8_t kEnd[] = {'S', 0x01, 'T'};
} // namespace

const uint8_t* CDataOEMEnable::GetCommand(uint32_t* length)
{
    m_command.assign(kEnable.begin(), kEnable.end());
    const char* serial = m_serialRequest->GetText();
    m_command.insert(m_command.end(), serial,
                     serial + std::min(kSerialLength, m_serialRequest->GetTextLength()));
    m_command.resize(kEnable.size() + kSerialLength);
    m_command.insert(m_command.end(), std::begin(kEnd), std::end(kEnd));
    m_command.insert(m_command.end(), kCommand.begin(), kCommand.end());
    return CommandBytes(m_command, length);
}

const char* CDataOEMEnable::GetFieldName(uint32_t /*index*/)
{
    ClearText();
    m_serialRequest->ClearText();
    return nullptr;
}

} // namespace zrtmon
