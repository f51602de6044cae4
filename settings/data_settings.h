#pragma once

#include <memory>
#include <new>

#include "requests/data.h"
#include "settings/setting_row.h"

namespace zrtmon {

/// One settings memory of the printer, as the printer reports it. Answer: for each row of the table whose
/// value the reply contains, "name=<value>,<minimum>,<maximum>,<flag>;". The request fails if a value is not
/// followed by a separator.
class CDataSettings : public CData {
public:
    const uint8_t* GetCommand(uint32_t* length) override;
    BOOL NameFields() override;
    const char* GetFieldName(uint32_t index) override;

protected:
    /// table is a constant table closed by its end row, or null.
    explicit CDataSettings(const SettingRow* table) : m_table(table) {}

    /// The row of that index, or null at or past the end row.
    const SettingRow* RowAt(uint32_t index) const;
    /// Chains a Request after this one if nothing is chained yet. FALSE if memory is exhausted.
    template <typename Request>
    BOOL EnsureNext()
    {
        if (!GetNext()) {
            SetNext(std::unique_ptr<CData>(new (std::nothrow) Request));
        }
        return GetNext() != nullptr;
    }

private:
    BOOL AppendRanges();
    BOOL AppendRange(const SettingRow& row);

    const SettingRow* m_table;
};

} // namespace zrtmon
