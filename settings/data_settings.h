#pragma once

#include "requests/data.h"
#include "settings/setting_row.h"

namespace zrtmon {

/// One settings memory of the printer, read as it stands. Answer: for each row of the table whose value the
/// reply holds, "name=<value>,<minimum>,<maximum>,<flag>;". Every value needs a separator behind it, or the
/// request fails.
class CDataSettings : public CData {
public:
    const uint8_t* GetCommand(uint32_t* length) override;
    BOOL NameFields() override;
    const char* GetFieldName(uint32_t index) override;

protected:
    /// table is a constant table up to its end row, or null.
    explicit CDataSettings(const SettingRow* table) : m_table(table) {}

    /// The row of that index, or null at or past the end row.
    const SettingRow* RowAt(uint32_t index) const;

private:
    BOOL AppendRanges();
    BOOL AppendRange(const SettingRow& row);

    const SettingRow* m_table;
};

} // namespace zrtmon
