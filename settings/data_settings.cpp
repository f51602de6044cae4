#include "settings/data_settings.h"

#include "link/command_prefix.h"
#include "requests/decimal.h"

namespace zrtmon {

namespace {
constexpr auto kCommand = MakeCommand("NE");
}

const uint8_t* CDataSettings::GetCommand(uint32_t* length) { return CommandBytes(kCommand, length); }

BOOL CDataSettings::NameFields()
{
    CData::NameFields(); // a reply may have fewer values than the table has rows
    return AppendRanges();
}

const char* CDataSettings::GetFieldName(uint32_t index)
{
    const SettingRow* row = RowAt(index);
    return row ? row->name : nullptr;
}

const SettingRow* CDataSettings::RowAt(uint32_t index) const
{
    if (!m_table) {
        return nullptr;
    }
    const SettingRow* row = m_table;
    while (row->index != SettingRow::kEndIndex && index > 0) {
        ++row;
        --index;
    }
    return row->index == SettingRow::kEndIndex ? nullptr : row;
}

BOOL CDataSettings::AppendRanges()
{
    for (uint32_t index = 0; const SettingRow* row = RowAt(index); ++index) {
        if (!AppendRange(*row)) {
            return FALSE;
        }
    }
    return TRUE;
}

BOOL CDataSettings::AppendRange(const SettingRow& row)
{
    const size_t name = m_text.find(row.name);
    if (name == std::string::npos) {
        return TRUE;
    }
    const size_t end = m_text.find(';', name);
    if (end == std::string::npos) {
        return FALSE;
    }
    std::string range;
    for (const int32_t number : {row.minimum, row.maximum, row.flag}) {
        range.append(1, ',').append(DecimalText(number));
    }
    m_text.insert(end, range);
    return TRUE;
}

} // namespace zrtmon
