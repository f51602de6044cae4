#include "queries/data_lcd_dump.h"

#include "link/command_prefix.h"

namespace zrtmon {

namespace {
constexpr auto kCommand = MakeCommand("NL");
constexpr std::string_view kLineBreak = "\r\n";
} // namespace

const uint8_t* CDataLCDDump::GetCommand(uint32_t* length) { return CommandBytes(kCommand, length); }

BOOL CDataLCDDump::NameFields()
{
    for (size_t found = m_text.find(';'); found != std::string::npos;
         found = m_text.find(';', found + kLineBreak.size())) {
        m_text.replace(found, 1, kLineBreak);
    }
    return TRUE;
}

} // namespace zrtmon
