#include "settings/data_settings_init.h"

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <span>

#include "link/command_prefix.h"
#include "requests/decimal.h"
#include "requests/printer_data.h"

namespace zrtmon {

namespace {
constexpr wchar_t kParameterSeparator = L'/';
constexpr const wchar_t* kSettingsValue = L"CurrentSettings";

/// Fills the buffer with the request's commands, after measuring them. Empty if there are none.
template <typename Request>
std::span<const uint8_t> MeasureAndBuild(const Request& request, std::vector<uint8_t>& buffer)
{
    uint32_t needed = 0;
    request.BuildCommands(nullptr, needed);
    buffer.resize(needed);
    return request.BuildCommands(buffer.data(), needed) ? buffer : std::span<const uint8_t>();
}

} // namespace

BOOL CDataSettingsInit::Prepare(const wchar_t* requestText)
{
    const wchar_t* printerName = GetTargetPrinter(requestText);
    if (!printerName) {
        return FALSE;
    }
    CPrinterData reader; // a separate one: the port's transport may be in use
    const char* settings = reader.ReadValue(printerName, kSettingsValue);
    if (!settings) {
        return FALSE;
    }
    return SetReply(settings, static_cast<uint32_t>(reader.GetValueSize())); // up to the first NUL
}

const wchar_t* CDataSettingsInit::GetTargetPrinter(const wchar_t* requestText)
{
    const wchar_t* separator = std::wcschr(requestText, kParameterSeparator);
    return separator ? separator + 1 : nullptr;
}

BOOL CDataSettingsInit::WriteCommands(const std::array<uint8_t, 5>& prefix, int firstParameter,
                                      uint8_t* buffer, uint32_t& length) const
{
    const uint32_t capacity = length;
    length = 0;
    const auto append = [&](const auto& bytes) {
        const auto size = static_cast<uint32_t>(std::size(bytes));
        if (length + size <= capacity) {
            std::copy(bytes.begin(), bytes.end(), buffer + length);
        }
        length += size;
    };
    for (uint32_t index = 0; const SettingRow* row = RowAt(index); ++index) {
        int value = 0;
        if (GetIntField(row->name, value)) {
            append(prefix);
            append(DecimalText(firstParameter + row->index) + "," + DecimalText(value) + "T\r");
        }
    }
    return length <= capacity;
}

const uint8_t* CDataSettingsInitZRT::GetCommand(uint32_t* length)
{
    const std::span<const uint8_t> commands = MeasureAndBuild(*this, m_commandBuffer);
    ClearText();
    return CommandBytes(commands, length);
}

BOOL CDataSettingsInitZRT::Prepare(const wchar_t* requestText)
{
    return CDataSettingsInit::Prepare(requestText) && EnsureNext<CDataSettingsInitFlip>() &&
           GetNext()->Prepare(requestText);
}

BOOL CDataSettingsInitZRT::BuildCommands(uint8_t* buffer, uint32_t& length) const
{
    return WriteCommands(MakeCommand("TE"), 0, buffer, length);
}

const uint8_t* CDataSettingsInitFlip::GetCommand(uint32_t* length)
{
    return CommandBytes(MeasureAndBuild(*this, m_commandBuffer), length);
}

BOOL CDataSettingsInitFlip::BuildCommands(uint8_t* buffer, uint32_t& length) const
{
    return WriteCommands(MakeCommand("TF"), 2, buffer, length);
}

} // namespace zrtmon
