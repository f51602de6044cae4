/// Lower port monitors for tests: a scripted one, and one that stands in front of another and disturbs it.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/sync.h"
#include "platform/win32.h"

namespace zrtmon::test {

/// The entry points of a lower monitor as virtual functions. The object is both monitor and port handle.
class LowerPort {
public:
    virtual ~LowerPort() = default;

    static MONITOR2* Table();
    HANDLE Handle() { return this; }

    virtual BOOL OpenPort(const wchar_t* name) = 0;
    virtual BOOL ClosePort() = 0;
    virtual BOOL StartDocPort(LPWSTR printerName, DWORD jobId, DWORD level, LPBYTE docInfo) = 0;
    virtual BOOL WritePort(LPBYTE data, DWORD size, LPDWORD written) = 0;
    virtual BOOL ReadPort(LPBYTE buffer, DWORD size, LPDWORD read) = 0;
    virtual BOOL EndDocPort() = 0;
    virtual BOOL GetPrinterData(DWORD code, LPWSTR valueName, LPWSTR input, DWORD inputSize, LPWSTR output,
                                DWORD outputSize, LPDWORD returned) = 0;
    virtual DWORD SendRecvBidiData() { return ERROR_NOT_SUPPORTED; }
};

/// Answers from a script and keeps a record. Everything succeeds unless told otherwise; guarded for any
/// thread.
class ScriptedPort : public LowerPort {
public:
    /// What WritePort takes of the bytes offered: a count, or nothing for a failure. Default: all.
    std::function<std::optional<DWORD>(DWORD size)> take;
    /// What comes of a reply: called for each ReadPort; empty text: no bytes yet.
    std::function<std::string()> reply;
    /// What a device control answers; nothing: it fails with controlError.
    std::function<std::optional<std::string>(DWORD code, const std::string& input)> control;
    /// Each call's result by name ("StartDocPort", ...): false fails it with failError.
    std::function<bool(const char* call)> allow;
    DWORD failError = ERROR_GEN_FAILURE;

    std::vector<std::string> Writes();
    std::string Written(); ///< all writes joined
    std::vector<std::string> Calls();
    size_t CountCalls(const std::string& name);

    BOOL OpenPort(const wchar_t* name) override;
    BOOL ClosePort() override;
    BOOL StartDocPort(LPWSTR printerName, DWORD jobId, DWORD level, LPBYTE docInfo) override;
    BOOL WritePort(LPBYTE data, DWORD size, LPDWORD written) override;
    BOOL ReadPort(LPBYTE buffer, DWORD size, LPDWORD read) override;
    BOOL EndDocPort() override;
    BOOL GetPrinterData(DWORD code, LPWSTR valueName, LPWSTR input, DWORD inputSize, LPWSTR output,
                        DWORD outputSize, LPDWORD returned) override;

private:
    BOOL Note(const char* call);

    CCriticalSection m_lock;
    std::vector<std::string> m_writes;
    std::vector<std::string> m_calls;
};

/// Forwards to another lower monitor's port, and fails, shortens or watches calls on the way.
class DisturbedPort : public LowerPort {
public:
    DisturbedPort(MONITOR2* lower, HANDLE lowerMonitor) : m_lower(lower), m_lowerMonitor(lowerMonitor) {}

    /// Call number index (from 0, of all calls) fails with error instead of being made.
    void FailCall(uint64_t index, DWORD error);
    void FailNothing() { m_failAt.reset(); }
    bool Fired() const { return !m_failedCall.empty(); }
    /// The call that failed, by name ("StartDocPort"); empty: none yet.
    const std::string& FailedCall() const { return m_failedCall; }
    uint64_t CallCount() const { return m_count; }

    /// Asked before each call, and as "WritePort's end" behind a write that was passed on: the error that it
    /// fails with, 0 for none.
    std::function<DWORD(const char* call)> trouble;
    /// How many of the offered bytes are passed on; more than size passes all.
    std::function<DWORD(const uint8_t* data, DWORD size)> limitWrite;
    /// Called before each write that is passed on.
    std::function<void(const uint8_t* data, DWORD size)> beforeWrite;

    BOOL OpenPort(const wchar_t* name) override;
    BOOL ClosePort() override;
    BOOL StartDocPort(LPWSTR printerName, DWORD jobId, DWORD level, LPBYTE docInfo) override;
    BOOL WritePort(LPBYTE data, DWORD size, LPDWORD written) override;
    BOOL ReadPort(LPBYTE buffer, DWORD size, LPDWORD read) override;
    BOOL EndDocPort() override;
    BOOL GetPrinterData(DWORD code, LPWSTR valueName, LPWSTR input, DWORD inputSize, LPWSTR output,
                        DWORD outputSize, LPDWORD returned) override;

private:
    bool Fails(const char* call);
    bool IsTroubled(const char* call) const;

    MONITOR2* m_lower;
    HANDLE m_lowerMonitor;
    HANDLE m_port = nullptr;
    CCriticalSection m_lock;
    uint64_t m_count = 0;
    std::optional<uint64_t> m_failAt;
    DWORD m_failError = 0;
    std::string m_failedCall;
};

} // namespace zrtmon::test
