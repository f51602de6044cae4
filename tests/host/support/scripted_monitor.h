/// A language monitor that does as a test says, in place of the library.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/sync.h"
#include "tests/host/support/host_bench.h"

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

    /// Calls of an entry point so far, or of a request text.
    size_t Count(const std::string& call);

    /// By entry point: it fails with this last error.
    std::map<std::string, DWORD> errors;
    /// By entry point: called in it.
    std::map<std::string, std::function<void()>> hooks;
    /// How many of the offered bytes WritePort reports written; all when it is empty.
    std::function<DWORD(DWORD size)> take;
    /// The answer to a request text.
    std::function<Answer(const std::string& requestText)> answer = [](const std::string&) {
        return Answer{"", ERROR_INVALID_PARAMETER};
    };

    std::string written;           ///< all bytes reported written, in order
    std::vector<DWORD> offers;     ///< sizes offered to WritePort
    std::optional<DWORD> jobAtEnd; ///< status of the job when EndDocPort came
    DWORD jobId = 0;               ///< of the last document

private:
    struct Entries;

    BOOL Note(const std::string& call);

    CCriticalSection m_lock; ///< guards m_calls: the watching thread asks too
    std::map<std::string, size_t> m_calls;
};

/// The command line above a scripted monitor.
struct ScriptedBench : HostBench {
    ScriptedBench() { monitor = ScriptedMonitor::Initialize; }

    ScriptedMonitor script;
};

} // namespace zrtmon::test
