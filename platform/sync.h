/// Owners for what the operating system hands out: every handle and every lock held has one.
#pragma once

#include <utility>

#include "platform/win32.h"

namespace zrtmon {

/// Owns an event or mutex handle; may be empty.
class CHandle {
public:
    CHandle() = default;
    explicit CHandle(HANDLE handle) : m_handle(handle) {}
    ~CHandle() { Reset(); }
    CHandle(CHandle&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}
    CHandle& operator=(CHandle&& other) noexcept
    {
        if (this != &other) {
            Reset();
            m_handle = std::exchange(other.m_handle, nullptr);
        }
        return *this;
    }

    HANDLE Get() const { return m_handle; }
    explicit operator bool() const { return m_handle != nullptr; }

    void Reset()
    {
        if (m_handle) {
            CloseHandle(std::exchange(m_handle, nullptr));
        }
    }

private:
    HANDLE m_handle = nullptr;
};

/// Takes a mutex; true only if the wait returned WAIT_OBJECT_0. An abandoned mutex is released immediately,
/// so its next user gets it in a normal state, and counts as not taken; so does a null mutex.
inline bool AcquireMutex(HANDLE mutex, DWORD timeoutMs)
{
    const DWORD outcome = mutex ? WaitForSingleObject(mutex, timeoutMs) : WAIT_FAILED;
    if (outcome == WAIT_ABANDONED) {
        ReleaseMutex(mutex);
    }
    return outcome == WAIT_OBJECT_0;
}

/// Takes a mutex for a scope, as AcquireMutex.
class CMutexHold {
public:
    CMutexHold(HANDLE mutex, DWORD timeoutMs) : m_mutex(mutex), m_held(AcquireMutex(mutex, timeoutMs)) {}
    ~CMutexHold()
    {
        if (m_held) {
            ReleaseMutex(m_mutex);
        }
    }
    CMutexHold(const CMutexHold&) = delete;
    CMutexHold& operator=(const CMutexHold&) = delete;

    bool IsHeld() const { return m_held; }

private:
    HANDLE m_mutex;
    bool m_held;
};

/// A critical section and its initialisation.
class CCriticalSection {
public:
    CCriticalSection() { InitializeCriticalSection(&m_section); }
    ~CCriticalSection() { DeleteCriticalSection(&m_section); }
    CCriticalSection(const CCriticalSection&) = delete;
    CCriticalSection& operator=(const CCriticalSection&) = delete;

    CRITICAL_SECTION* Get() { return &m_section; }

private:
    CRITICAL_SECTION m_section;
};

/// Holds a critical section for a scope.
class CSectionHold {
public:
    explicit CSectionHold(CRITICAL_SECTION* section) : m_section(section) { EnterCriticalSection(m_section); }
    explicit CSectionHold(CCriticalSection& section) : CSectionHold(section.Get()) {}
    ~CSectionHold() { LeaveCriticalSection(m_section); }
    CSectionHold(const CSectionHold&) = delete;
    CSectionHold& operator=(const CSectionHold&) = delete;

private:
    CRITICAL_SECTION* m_section;
};

/// Owns an open printer; may be empty.
class CPrinterHandle {
public:
    CPrinterHandle() = default;
    explicit CPrinterHandle(HANDLE printer) : m_printer(printer) {}
    ~CPrinterHandle()
    {
        if (m_printer) {
            ClosePrinter(m_printer);
        }
    }
    CPrinterHandle(CPrinterHandle&& other) noexcept : m_printer(std::exchange(other.m_printer, nullptr)) {}
    CPrinterHandle& operator=(CPrinterHandle&&) = delete;

    HANDLE Get() const { return m_printer; }
    explicit operator bool() const { return m_printer != nullptr; }

    /// The owned handle, which is the caller's from now on.
    HANDLE Release() { return std::exchange(m_printer, nullptr); }

private:
    HANDLE m_printer = nullptr;
};

} // namespace zrtmon
