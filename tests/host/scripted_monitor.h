/// A language monitor that does as a test says, in place of the library.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/environment.h"
#include "platform/sync.h"

namespace zrtmon::test {

/// While one exists, its Initialize is the entry point of a monitor that follows it. At most one at a time.
class ScriptedMonitor {
public:
    struct Answer {
        std::string text;
        DWORD error = 0; ///< with an empty text: FALSE with this last error
    };

    ScriptedMonitor();
    ~ScriptedMonitor();
    ScriptedMonitor(const ScriptedMonitor&) = delete;
    ScriptedMonitor& operator=(const ScriptedMonitor&) = delete;

    static MONITOR2* WINAPI Initialize(MONITORINIT* init, HANDLE* monitor);

    /// Calls of an entry point so far.
    size_t Count(const std::string& call);

    DWORD openError = 0;  ///< last error of OpenPortEx, 0 when it succeeds
    DWORD startError = 0; ///< of StartDocPort
    DWORD writeError = 0; ///< of WritePort
    bool endFails = false;
    /// How many of the offered bytes WritePort reports written; all when it is empty.
    std::function<DWORD(DWORD size)> take;
    /// Called in EndDocPort.
    std::function<void()> onEnd;
    /// Called in ClosePort.
    std::function<void()> onClose;
    /// The answer to a request text; error 87 where there is none.
    std::function<std::optional<Answer>(const std::string& requestText)> answer;

    std::wstring printerName;      ///< of OpenPortEx
    std::string written;           ///< all bytes reported written, in order
    std::vector<DWORD> offers;     ///< sizes offered to WritePort
    std::optional<DWORD> jobAtEnd; ///< status of the job when EndDocPort came
    DWORD jobId = 0;
    size_t staleJobs = 0; ///< documents that were started with the job of an earlier one still in the queue

private:
    struct Entries;

    void Note(const char* call);

    CCriticalSection m_lock; ///< guards m_calls: the watching thread asks too
    std::map<std::string, size_t> m_calls;
};

} // namespace zrtmon::test
