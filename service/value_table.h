/// The printers' values that outlive the process.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "service/database.h"

namespace zrtmon::service {

struct CStoredValue {
    std::string name; ///< UTF-8
    bool isRemoved = false;
    uint32_t type = 0; ///< of the registry
    std::string bytes;
};

/// Whether it is the value that must never reach the disk.
bool IsPasswordName(std::string_view valueName);

/// Names of printers and values compare case-insensitively (ASCII letters). Throws CDatabaseError. One
/// thread.
class CValueTable {
public:
    explicit CValueTable(CDatabase& database) : m_database(database) {}

    std::vector<CStoredValue> Load(std::string_view printer);
    /// Stores or removes them, all or none. "Password" is left out.
    void Save(std::string_view printer, const std::vector<CStoredValue>& values);

private:
    void SaveOne(std::string_view printer, const CStoredValue& value);

    CDatabase& m_database;
};

} // namespace zrtmon::service
