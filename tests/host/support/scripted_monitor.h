/// A language monitor that does as a test says, in place of the library.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/sync.h"
#include "tests/host/support/host_fixture.h"

namespace zrtmon::test {

/// While one exists, its Initialize is the entry point of a monitor that follows it. At most one at a time.
class CScriptedMonitor {
public:
    struct CAnswer {
        std::string text;
        DWORD error = 0; ///< with an empty text: FALSE with this last error
    };

    CScriptedMonitor();
    ~CScriptedMonitor();
    CScriptedMonitor(const CScriptedMonitor&) = delete;
    CScriptedMonitor& operator=(const CScriptedMonitor&) = delete;

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
    std::function<CAnswer(const std::string& requestText)> answer = [](const std::string&) {
        return CAnswer{"", ERROR_INVALID_PARAMETER};
    };

    std::string written;           ///< all bytes reported written, in order
    std::vector<DWORD> offers;     ///< sizes offered to WritePort
    std::optional<DWORD> jobAtEnd; ///< status of the job when EndDocPort came
    DWORD jobId = 0;               ///< of the last document

private:
    struct CEntries;

    BOOL Note(const std::string& call);

    CCriticalSection m_lock; ///< guards m_calls: the watching thread asks too
    std::map<std::string, size_t> m_calls;
};

/// The command line above a scripted monitor.
struct CScriptedFixture : CHostFixture {
    CScriptedFixture() { monitor = CScriptedMonitor::Initialize; }

    CScriptedMonitor script;
};

} // namespace zrtmon::test
