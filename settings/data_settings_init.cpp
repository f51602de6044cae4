#include "settings/data_settings_init.h"

#include <cwchar>
#include <memory>

#include "link/command_prefix.h"
#include "requests/decimal.h"
#include "requests/printer_data.h"

namespace zrtmon {

namespace {
constexpr wchar_t kParameterSeparator = L'/';
constexpr const wchar_t* kSettingsValue = L"CurrentSettings";
} // namespace

BOOL CDataSettingsInit::Prepare(const wchar_t* requestText)
{
    const wchar_t* printerName = GetTargetPrinter(requestText);
    if (!printerName) {
        return FALSE;
    }
    CPrinterData reader; // of its own: the port's transport may be in use
    const char* settings = reader.ReadValue(printerName, kSettingsValue);
    if (!settings) {
        return FALSE;
    }
    m_text = settings;
    return TRUE;
}

const wchar_t* CDataSettingsInit::GetTargetPrinter(const wchar_t* requestText)
{
    const wchar_t* separator = std::wcschr(requestText, kParameterSeparator);
    return separator ? separator + 1 : nullptr;
}

void CDataSettingsInit::BuildCommands(std::vector<uint8_t>& commands)
{
    commands.clear();
    for (uint32_t index = 0; const SettingRow* row = RowAt(index); ++index) {
        int value = 0;
        if (!GetIntField(row->name, value)) {
            continue;
        }
        const std::string parameters =
            DecimalText(m_memory.firstParameter + row->index) + "," + DecimalText(value) + "T\r";
        commands.insert(commands.end(), m_memory.prefix.begin(), m_memory.prefix.end());
        commands.insert(commands.end(), parameters.begin(), parameters.end());
    }
}

const uint8_t* CDataSettingsInit::GetCommand(uint32_t* length)
{
    BuildCommands(m_commandBuffer);
    return Lend(m_commandBuffer, length);
}

CDataSettingsInitZRT::CDataSettingsInitZRT() : CDataSettingsInit(EepromSettingsTable, {MakeCommand("TE"), 0})
{
}

BOOL CDataSettingsInitZRT::Prepare(const wchar_t* requestText)
{
    if (!CDataSettingsInit::Prepare(requestText)) {
        return FALSE;
    }
    if (!GetNext()) {
        SetNext(std::make_unique<CDataSettingsInitFlip>());
    }
    return GetNext()->Prepare(requestText);
}

const uint8_t* CDataSettingsInitZRT::GetCommand(uint32_t* length)
{
    const uint8_t* command = CDataSettingsInit::GetCommand(length);
    ClearText();
    return command;
}

CDataSettingsInitFlip::CDataSettingsInitFlip()
    : CDataSettingsInit(FlipperSettingsTable, {MakeCommand("TF"), 2})
{
}

} // namespace zrtmon
