/// Lower port monitors for tests: a scripted one, and one that forwards to another and disturbs it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "platform/sync.h"
#include "platform/win32.h"

namespace zrtmon::test {

/// The entry points of a lower monitor as virtual functions. The object is both monitor and port handle.
class CLowerPort {
public:
    virtual ~CLowerPort() = default;

    static MONITOR2* Table();
    HANDLE Handle() { return this; }

    /// Called before each call except bidi, with its name ("StartDocPort"). False fails the call; the last
    /// error is set.
    virtual bool Admits(const char* call) = 0;

    virtual BOOL OpenPort(LPWSTR name, PHANDLE port);
    virtual BOOL ClosePort() { return TRUE; }
    virtual BOOL StartDocPort(LPWSTR, DWORD, DWORD, LPBYTE) { return TRUE; }
    virtual BOOL WritePort(LPBYTE data, DWORD size, LPDWORD written) = 0;
    virtual BOOL ReadPort(LPBYTE buffer, DWORD size, LPDWORD read) = 0;
    virtual BOOL EndDocPort() { return TRUE; }
    virtual BOOL GetPrinterData(DWORD code, LPWSTR valueName, LPWSTR input, DWORD inputSize, LPWSTR output,
                                DWORD outputSize, LPDWORD returned) = 0;

    virtual DWORD SendRecvBidi(DWORD, LPCWSTR, BIDI_REQUEST_CONTAINER*, BIDI_RESPONSE_CONTAINER**)
    {
        return bidiAnswer;
    }

    DWORD bidiAnswer = ERROR_NOT_SUPPORTED;
};

/// Replies from a script and keeps a record. Everything succeeds unless set otherwise. Any thread.
class CScriptedPort : public CLowerPort {
public:
    /// How many of the offered bytes WritePort accepts; std::nullopt: it fails. Default: all.
    std::function<std::optional<DWORD>(DWORD size)> take;
    /// The bytes of a reply: called for each ReadPort; empty text: no bytes yet.
    std::function<std::string()> reply;
    /// What ReadPort reports instead of the bytes it has read.
    std::optional<DWORD> readCount;
    /// What a device control replies; std::nullopt: it fails with failError.
    std::function<std::optional<std::string>(DWORD code, const std::string& input)> control;
    /// Each call's result by name ("StartDocPort", ...): false fails it with failError.
    std::function<bool(const char* call)> allow;
    DWORD failError = ERROR_GEN_FAILURE;

    std::string Written();
    size_t CountCalls(const std::string& name);

    bool Admits(const char* call) override;
    BOOL WritePort(LPBYTE data, DWORD size, LPDWORD written) override;
    BOOL ReadPort(LPBYTE buffer, DWORD size, LPDWORD read) override;
    BOOL GetPrinterData(DWORD code, LPWSTR valueName, LPWSTR input, DWORD inputSize, LPWSTR output,
                        DWORD outputSize, LPDWORD returned) override;

private:
    CCriticalSection m_lock;
    std::string m_written;
    std::map<std::string, size_t> m_calls;
};

/// Forwards to another lower monitor's port, and fails, shortens or watches calls on the way.
class CDisturbedPort : public CLowerPort {
public:
    CDisturbedPort(MONITOR2* lower, HANDLE lowerMonitor) : m_lower(lower), m_lowerMonitor(lowerMonitor) {}

    /// Fails the call that follows that many calls of any kind with error, instead of making it.
    void FailCall(uint64_t preceding, DWORD error);
    void FailNothing() { m_failAt.reset(); }
    /// The call that failed, by name ("StartDocPort"); empty: none yet.
    const std::string& FailedCall() const { return m_failedCall; }
    uint64_t CallCount() const { return m_count; }

    /// Called before each call, and as "WritePort's end" after a write that was forwarded: the error that it
    /// fails with, 0 for none.
    std::function<DWORD(const char* call)> trouble;
    /// Called before each write: how many of the offered bytes are passed on; more than size passes all.
    std::function<DWORD(const uint8_t* data, DWORD size)> limitWrite;

    bool Admits(const char* call) override;
    BOOL OpenPort(LPWSTR name, PHANDLE port) override;
    BOOL ClosePort() override;
    BOOL StartDocPort(LPWSTR printerName, DWORD jobId, DWORD level, LPBYTE docInfo) override;
    BOOL WritePort(LPBYTE data, DWORD size, LPDWORD written) override;
    BOOL ReadPort(LPBYTE buffer, DWORD size, LPDWORD read) override;
    BOOL EndDocPort() override;
    BOOL GetPrinterData(DWORD code, LPWSTR valueName, LPWSTR input, DWORD inputSize, LPWSTR output,
                        DWORD outputSize, LPDWORD returned) override;

private:
    bool IsUntroubled(const char* call) const;

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
