/// A file with every call at the lower port.
#pragma once

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "host/session/port_monitor_proxy.h"
#include "host/session/protocol_description.h"
#include "host/text/json.h"
#include "platform/sync.h"

namespace zrtmon::host {

/// Writes one record for each call, as soon as it has returned: a line of JSON each, or, in a file named
/// "*.json", the trace-event format that the browsers' trace viewers open, with a row for each thread. Times
/// are milliseconds (there: microseconds) since construction. Of long data only the beginning is shown;
/// what follows a password command is hidden.
class CTrace final : public IPortCallObserver {
public:
    /// Throws CHostError (CannotCreate).
    explicit CTrace(const std::filesystem::path& path);
    ~CTrace() override;

    void OnPortCall(const CPortCall& call) override;

private:
    struct CThreadRow {
        unsigned number; ///< from 1
        std::string name;
    };

    const CThreadRow& Row();
    void Write(const CJson& record);
    CJson::Object Details(const CPortCall& call, const CPasswordMask& mask) const;
    void WriteLine(const CPortCall& call, const CThreadRow& row, const CJson::Object& details);
    void WriteEvent(const CPortCall& call, const CThreadRow& row, const CJson::Object& details);

    bool m_isEventFormat;
    DWORD m_startTick;
    CCriticalSection m_lock; ///< guards what follows
    std::ofstream m_file;
    bool m_isFirst = true;
    std::map<const void*, CThreadRow> m_rows; ///< by an address that is unique to each thread
    std::map<HANDLE, CPasswordMask> m_masks;  ///< by lower port
};

} // namespace zrtmon::host
