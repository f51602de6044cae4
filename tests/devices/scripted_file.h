/// A device whose system calls follow a script, on the virtual clock.
#pragma once

#include <algorithm>
#include <cerrno>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/device_file.h"
#include "platform/win32.h"

namespace zrtmon::test {

/// What the calls do, and what they did. Without changes a device that takes everything at once, replies
/// nothing, and closes when it is told the end. Outlives the files made of it.
struct CScript {
    int openError = 0;
    DWORD openMs = 0;           ///< how long opening takes, up to its limit
    std::deque<ssize_t> writes; ///< results of the next writes; then all is taken
    std::optional<uint64_t>
        failsAtByte; ///< a write that reaches it takes what is before it, the next one fails
    int failError = ECONNRESET;
    std::deque<std::string> replies; ///< of the next reads; "" is the end of the stream
    std::deque<int> readErrors;      ///< of the next reads, before the replies
    DWORD writableAtTick = 0;        ///< GetTickCount from which it takes bytes
    DWORD acknowledgedAtTick = 0;    ///< from which nothing is unsent
    bool closesAtEnd = true;         ///< the stream ends after the half-close
    std::string deviceId;
    std::optional<unsigned> failCall; ///< number of the call that fails with failError, whatever it is

    std::string written;
    std::vector<std::string> calls; ///< "open", "write 8192", "close", ...
    unsigned opened = 0;            ///< files that are open now
    bool hasFired = false;          ///< failCall has come

    size_t Count(const std::string& call) const
    {
        return static_cast<size_t>(std::count(calls.begin(), calls.end(), call));
    }
};

class CScriptedFile final : public CDeviceFile {
public:
    explicit CScriptedFile(CScript& script) : m_script(script) {}

    int Open(DWORD timeoutMs) override
    {
        if (Note("open")) {
            return m_script.failError;
        }
        Sleep(std::min(m_script.openMs, timeoutMs));
        const int error = m_script.openMs > timeoutMs ? ETIMEDOUT : m_script.openError;
        m_script.opened += error == 0 ? 1 : 0;
        return error;
    }

    void Close() override
    {
        m_script.calls.emplace_back("close");
        --m_script.opened;
    }

    ssize_t Write(const uint8_t* data, size_t sizeBytes) override
    {
        if (Note("write " + std::to_string(sizeBytes))) {
            return -m_script.failError;
        }
        ssize_t result = static_cast<ssize_t>(sizeBytes);
        if (!m_script.writes.empty()) {
            result = std::min(result, m_script.writes.front());
            m_script.writes.pop_front();
        }
        if (m_script.failsAtByte && result > 0) {
            const uint64_t left = *m_script.failsAtByte - m_script.written.size();
            result =
                left == 0 ? -m_script.failError : static_cast<ssize_t>(std::min<uint64_t>(left, sizeBytes));
        }
        m_script.written.append(reinterpret_cast<const char*>(data),
                                result > 0 ? static_cast<size_t>(result) : 0);
        return result;
    }

    ssize_t Read(uint8_t* buffer, size_t sizeBytes) override
    {
        if (Note("read")) {
            return -m_script.failError;
        }
        if (!m_script.readErrors.empty()) {
            const int error = m_script.readErrors.front();
            m_script.readErrors.pop_front();
            return -error;
        }
        if (m_script.replies.empty()) {
            return m_hasEnded && m_script.closesAtEnd ? 0 : -EAGAIN;
        }
        const std::string reply = m_script.replies.front().substr(0, sizeBytes);
        m_script.replies.pop_front();
        std::copy(reply.begin(), reply.end(), buffer);
        return static_cast<ssize_t>(reply.size());
    }

    bool Wait(DescriptorEvent event, DWORD timeoutMs) override
    {
        const bool isWrite = event == DescriptorEvent::Writable;
        m_script.calls.emplace_back(isWrite ? "wait to write" : "wait to read");
        if (isWrite) {
            return SleepUntil(m_script.writableAtTick, timeoutMs);
        }
        if (!m_script.replies.empty() || !m_script.readErrors.empty() ||
            (m_hasEnded && m_script.closesAtEnd)) {
            return true;
        }
        Sleep(timeoutMs);
        return false;
    }

    ssize_t UnsentBytes() override
    {
        if (Note("unsent")) {
            return -m_script.failError;
        }
        return GetTickCount() >= m_script.acknowledgedAtTick ? 0 : 1234;
    }

    int HalfClose() override
    {
        m_hasEnded = true;
        return Note("half-close") ? m_script.failError : 0;
    }

    ssize_t ReadDeviceId(uint8_t* buffer, size_t sizeBytes) override
    {
        if (Note("device ID")) {
            return -m_script.failError;
        }
        const size_t size = std::min(sizeBytes, m_script.deviceId.size());
        std::copy_n(m_script.deviceId.begin(), size, buffer);
        return static_cast<ssize_t>(size);
    }

private:
    /// Whether this is the call that has to fail.
    bool Note(std::string call)
    {
        const bool isDue = m_script.failCall && *m_script.failCall == m_script.calls.size();
        m_script.calls.push_back(std::move(call));
        m_script.hasFired = m_script.hasFired || isDue;
        return isDue;
    }

    static bool SleepUntil(DWORD tick, DWORD timeoutMs)
    {
        const DWORD now = GetTickCount();
        const DWORD left = tick > now ? tick - now : 0;
        Sleep(std::min(left, timeoutMs));
        return left <= timeoutMs;
    }

    CScript& m_script;
    bool m_hasEnded = false;
};

} // namespace zrtmon::test
