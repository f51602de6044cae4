/// The simulated card printer on the network: raw TCP, one connection at a time.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/socket.h"
#include "simulator/card_printer.h"

namespace zrtmon::sim {

/// What happens at the server, told on the thread that runs it.
class CServerEvents {
public:
    virtual ~CServerEvents() = default;
    /// A client is being served.
    virtual void OnConnected() = 0;
    /// It is served no more. problem: what broke the connection; empty if the client ended it.
    virtual void OnDisconnected(const std::string& problem) = 0;
    /// The printer has printed that card, counted from 1 since the start.
    virtual void OnCard(uint32_t number) = 0;
    /// The printer's error is now that code; 0: it has cleared.
    virtual void OnError(int32_t code) = 0;
    virtual void OnViolation(const Violation& violation) = 0;
};

/// Serves the printer: what a client sends reaches it, and its replies go back. A connection is a document:
/// it ends when the client half-closes, or when it breaks. After a half-close the connection is closed once
/// all cards are printed and all replies are sent. Other clients wait meanwhile.
class CPrinterServer {
public:
    /// How long one step waits for a client or its bytes.
    static constexpr DWORD kStepMs = 5;

    /// events must outlive the server. Throws as CListener.
    CPrinterServer(const std::string& host, uint16_t port, const PrinterOptions& options,
                   CServerEvents& events);

    std::string Address() const { return m_listener.Address(); }
    CCardPrinter& Printer() { return m_printer; }

    /// Serves for about kStepMs, and reports what has happened. The calls below are for the same thread.
    void Step();

    /// Breaks the connection that is being served.
    void Drop();
    /// Takes no bytes for so long, as a printer that has closed its window.
    void Stall(uint32_t ms);
    /// The printer is busy for so long.
    void SetBusy(uint32_t ms);
    /// Takes at most so many bytes in a second; 0: as many as come.
    void SetRate(uint32_t bytesPerSecond) { m_bytesPerSecond = bytesPerSecond; }

private:
    /// A moment to come, which GetTickCount's wrap does not disturb.
    struct Deadline {
        DWORD start;
        DWORD ms;
        bool HasPassed() const { return GetTickCount() - start >= ms; }
    };

    void Serve();
    void SendReplies();
    void ReceiveBytes();
    size_t Allowance();
    bool IsDone();
    void Disconnect(const std::string& problem);
    void Report();

    CListener m_listener;
    CCardPrinter m_printer;
    CServerEvents& m_events;
    CSocket m_client;        ///< empty between clients
    bool m_hasEnded = false; ///< the client sends no more
    std::vector<uint8_t> m_unsent;
    std::vector<uint8_t> m_buffer;
    std::optional<Deadline> m_stall;
    std::optional<Deadline> m_busy;
    uint32_t m_bytesPerSecond = 0;
    DWORD m_rateTick = 0;     ///< up to when the allowance is counted
    uint64_t m_allowance = 0; ///< thousandths of a byte
    uint32_t m_toldCards = 0;
    int32_t m_toldError = 0;
    uint64_t m_toldViolations = 0;
};

} // namespace zrtmon::sim
