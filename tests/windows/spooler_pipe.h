/// How the stand-in for winspool.drv talks to the process of the test spooler: one connection to a named pipe
/// for each call, one message in each direction. A message is its size, then numbers of 4 bytes, and bytes
/// after their count.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/sync.h"
#include "platform/win32.h"

namespace zrtmon::test {

inline constexpr wchar_t kSpoolerPipe[] = L"\\\\.\\pipe\\zrtmon-test-spooler";

/// What is called. The arguments and results of each are in spooler_process.cpp.
enum class SpoolerCall : DWORD {
    List,
    Open,
    Close,
    Info,
    GetData,
    StoredValues,
    SetData,
    DeleteData,
    StartDocument,
    Write,
    EndDocument,
    Jobs,
    DeleteJob,
    WaitForChange,
    Ping,
    Stop, ///< ends the process of the spooler
};

class CMessageWriter {
public:
    CMessageWriter& operator<<(DWORD number)
    {
        m_bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
        return *this;
    }
    CMessageWriter& operator<<(std::string_view bytes)
    {
        *this << static_cast<DWORD>(bytes.size());
        m_bytes.append(bytes);
        return *this;
    }
    CMessageWriter& operator<<(std::wstring_view text)
    {
        return *this << std::string_view(reinterpret_cast<const char*>(text.data()),
                                         text.size() * sizeof(wchar_t));
    }

    const std::string& Bytes() const { return m_bytes; }

private:
    std::string m_bytes;
};

/// Throws std::runtime_error at the end of the message.
class CMessageReader {
public:
    explicit CMessageReader(std::string bytes = {}) : m_bytes(std::move(bytes)) {}

    DWORD Number()
    {
        DWORD number = 0;
        std::memcpy(&number, Take(sizeof number).data(), sizeof number);
        return number;
    }
    /// Borrowed from the message.
    std::string_view Bytes() { return Take(Number()); }
    std::wstring Text()
    {
        const std::string_view bytes = Bytes();
        std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
        std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
        return text;
    }

private:
    std::string_view Take(size_t size)
    {
        if (size > m_bytes.size() - m_position) {
            throw std::runtime_error("a message of the spooler's pipe is too short");
        }
        m_position += size;
        return std::string_view(m_bytes).substr(m_position - size, size);
    }

    std::string m_bytes;
    size_t m_position = 0;
};

inline bool WriteMessage(HANDLE pipe, const std::string& bytes)
{
    const std::string message = (CMessageWriter() << std::string_view(bytes)).Bytes();
    DWORD written = 0;
    return WriteFile(pipe, message.data(), static_cast<DWORD>(message.size()), &written, nullptr) &&
           written == message.size();
}

inline bool ReadExactly(HANDLE pipe, char* buffer, DWORD size)
{
    while (size > 0) {
        DWORD read = 0;
        if (!ReadFile(pipe, buffer, size, &read, nullptr) || read == 0) {
            return false;
        }
        buffer += read;
        size -= read;
    }
    return true;
}

inline bool ReadMessage(HANDLE pipe, std::string* bytes)
{
    DWORD size = 0;
    if (!ReadExactly(pipe, reinterpret_cast<char*>(&size), sizeof size)) {
        return false;
    }
    bytes->resize(size);
    return ReadExactly(pipe, bytes->data(), size);
}

/// A connection to the spooler's process; empty if there is no such process.
inline CHandle OpenSpoolerPipe()
{
    constexpr DWORD kBusyWaitMs = 5000;
    do {
        HANDLE const pipe =
            CreateFileW(kSpoolerPipe, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        if (pipe != INVALID_HANDLE_VALUE) {
            return CHandle(pipe);
        }
    } while (GetLastError() == ERROR_PIPE_BUSY && WaitNamedPipeW(kSpoolerPipe, kBusyWaitMs));
    return {};
}

/// One call. The reply begins after the error that the call returned, which is 1722 if there is no spooler.
inline DWORD CallSpooler(const CMessageWriter& message, CMessageReader* reply)
{
    const CHandle pipe = OpenSpoolerPipe();
    std::string bytes;
    if (!pipe || !WriteMessage(pipe.Get(), message.Bytes()) || !ReadMessage(pipe.Get(), &bytes)) {
        return RPC_S_SERVER_UNAVAILABLE;
    }
    *reply = CMessageReader(std::move(bytes));
    return reply->Number();
}

} // namespace zrtmon::test
