/// TCP on the serving side, for the simulated printer on the network. Both systems.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "platform/win32.h"

namespace zrtmon {

/// A descriptor, or on Windows a socket handle.
using NativeSocket = intptr_t;
inline constexpr NativeSocket kNoSocket = -1;

/// Owns a socket; may be empty. No call waits but those with a time limit.
class CSocket {
public:
    explicit CSocket(NativeSocket socket = kNoSocket) : m_socket(socket) {}
    ~CSocket() { Close(); }
    CSocket(CSocket&& other) noexcept : m_socket(std::exchange(other.m_socket, kNoSocket)) {}
    CSocket& operator=(CSocket&& other) noexcept;

    explicit operator bool() const { return m_socket != kNoSocket; }
    NativeSocket Get() const { return m_socket; }

    void Close();
    /// Closes so that the other side's connection breaks at once, as by an error.
    void Reset();

    enum class State {
        Open,
        Ended,  ///< the other side sends no more
        Broken, ///< by an error
    };
    struct Transfer {
        size_t count = 0;
        State state = State::Open;
        int error = 0; ///< with Broken: the system's number, of std::system_category
    };
    /// Bytes read; with Open and none: there are none now.
    Transfer Receive(uint8_t* buffer, size_t sizeBytes);
    /// Bytes taken, which may be fewer.
    Transfer Send(const uint8_t* data, size_t sizeBytes);
    /// Whether bytes, the end or an error can be read within the time, on the installed clock.
    bool WaitReadable(DWORD timeoutMs) const;

private:
    NativeSocket m_socket;
};

/// A listening socket.
class CListener {
public:
    /// Listens at a host's address or name, and a port; 0: one that is free. Throws std::system_error with
    /// what the system says.
    CListener(const std::string& host, uint16_t port);

    /// Where it listens: "127.0.0.1:9100", "[::1]:9100".
    std::string Address() const;
    /// The next client's connection; std::nullopt if none comes within the time.
    std::optional<CSocket> Accept(DWORD timeoutMs) const;

private:
    CSocket m_socket;
};

} // namespace zrtmon
