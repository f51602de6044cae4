#include "service/value_table.h"

#include "host/text/text.h"

namespace zrtmon::service {

bool IsPasswordName(std::string_view valueName) { return host::EqualsIgnoringCase(valueName, "Password"); }

std::vector<CStoredValue> CValueTable::Load(std::string_view printer)
{
    CStatement rows(m_database, "SELECT name, type, bytes FROM value WHERE printer = ?1");
    rows.Bind(1, printer);
    std::vector<CStoredValue> values;
    while (rows.Step()) {
        values.push_back({rows.Text(0), false, static_cast<uint32_t>(rows.Number(1)), rows.Bytes(2)});
    }
    return values;
}

void CValueTable::Save(std::string_view printer, const std::vector<CStoredValue>& values)
{
    CTransaction transaction(m_database);
    for (const CStoredValue& value : values) {
        if (!IsPasswordName(value.name)) {
            SaveOne(printer, value);
        }
    }
    transaction.Commit();
}

void CValueTable::SaveOne(std::string_view printer, const CStoredValue& value)
{
    if (value.isRemoved) {
        CStatement(m_database, "DELETE FROM value WHERE printer = ?1 AND name = ?2")
            .Bind(1, printer)
            .Bind(2, value.name)
            .Run();
        return;
    }
    CStatement(m_database, "INSERT INTO value (printer, name, type, bytes) VALUES (?1, ?2, ?3, ?4)"
                           " ON CONFLICT DO UPDATE SET type = ?3, bytes = ?4")
        .Bind(1, printer)
        .Bind(2, value.name)
        .Bind(3, static_cast<int64_t>(value.type))
        .BindBytes(4, value.bytes)
        .Run();
}

} // namespace zrtmon::service
