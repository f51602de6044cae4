#include "simulator/printer_server.h"

#include <algorithm>
#include <system_error>

namespace zrtmon::sim {

namespace {

constexpr size_t kBufferBytes = size_t{64} * 1024;
constexpr size_t kReplyBytes = 2048;
constexpr uint64_t kThousand = 1000;
constexpr int32_t kPrintingState = 11;

std::string SystemText(int error) { return std::system_category().message(error); }

} // namespace

CPrinterServer::CPrinterServer(const std::string& host, uint16_t port, const PrinterOptions& options,
                               CServerEvents& events)
    : m_listener(host, port), m_printer(options), m_events(events), m_buffer(kBufferBytes)
{
}

void CPrinterServer::Step()
{
    if (m_busy && m_busy->HasPassed()) {
        m_busy.reset();
        m_printer.SetBusy(std::nullopt);
    }
    if (m_stall && m_stall->HasPassed()) {
        m_stall.reset();
    }
    if (m_client) {
        Serve();
    } else if (std::optional<CSocket> client = m_listener.Accept(kStepMs)) {
        m_client = std::move(*client);
        m_hasEnded = false;
        m_rateTick = GetTickCount();
        m_allowance = 0;
        m_events.OnConnected();
    }
    Report();
}

void CPrinterServer::Drop()
{
    if (m_client) {
        Disconnect("as ordered");
    }
}

void CPrinterServer::Stall(uint32_t ms) { m_stall = Deadline{GetTickCount(), ms}; }

void CPrinterServer::SetBusy(uint32_t ms)
{
    m_busy = Deadline{GetTickCount(), ms};
    m_printer.SetBusy(true);
}

void CPrinterServer::Serve()
{
    const size_t allowance = m_hasEnded ? 0 : Allowance();
    if (allowance == 0) {
        Sleep(kStepMs);
    } else if (m_client.WaitReadable(kStepMs)) {
        ReceiveBytes();
    }
    if (m_client) {
        SendReplies();
    }
    if (m_client && m_hasEnded && IsDone()) {
        Disconnect({});
    }
}

void CPrinterServer::ReceiveBytes()
{
    const size_t most = std::min(Allowance(), m_buffer.size());
    const CSocket::Transfer received = m_client.Receive(m_buffer.data(), most);
    if (received.count > 0) {
        m_printer.Receive(m_buffer.data(), received.count);
        m_allowance -= m_bytesPerSecond > 0 ? received.count * kThousand : 0;
    } else if (received.state == CSocket::State::Ended) {
        m_hasEnded = true;
        m_printer.EndDocument();
    } else if (received.state == CSocket::State::Broken) {
        Disconnect(SystemText(received.error));
    }
}

/// Bytes that may be taken now.
size_t CPrinterServer::Allowance()
{
    // A client that does not read its replies is read no further.
    if (m_stall || !m_unsent.empty()) {
        return 0;
    }
    if (m_bytesPerSecond == 0) {
        return m_buffer.size();
    }
    const DWORD now = GetTickCount();
    m_allowance += uint64_t{now - std::exchange(m_rateTick, now)} * m_bytesPerSecond;
    m_allowance = std::min(m_allowance, uint64_t{m_bytesPerSecond} * kThousand); // a second's, after a pause
    return static_cast<size_t>(m_allowance / kThousand);
}

void CPrinterServer::SendReplies()
{
    do {
        if (m_unsent.empty()) {
            m_unsent.resize(kReplyBytes);
            m_unsent.resize(m_printer.TakeReply(m_unsent.data(), m_unsent.size()));
        }
        if (m_unsent.empty()) {
            return;
        }
        const CSocket::Transfer sent = m_client.Send(m_unsent.data(), m_unsent.size());
        m_unsent.erase(m_unsent.begin(), m_unsent.begin() + static_cast<ptrdiff_t>(sent.count));
        if (sent.state == CSocket::State::Broken) {
            Disconnect(SystemText(sent.error));
            return;
        }
    } while (m_unsent.empty());
}

bool CPrinterServer::IsDone()
{
    const PrinterView view = m_printer.View();
    return view.cardsWaiting == 0 && view.printState != kPrintingState && m_unsent.empty() &&
           !m_printer.HasReplies();
}

void CPrinterServer::Disconnect(const std::string& problem)
{
    if (!problem.empty()) {
        m_client.Reset();
    }
    m_client.Close();
    m_unsent.clear();
    // A reply belongs to the connection that it was asked on.
    m_printer.DropReplies();
    if (!m_hasEnded) {
        m_printer.EndDocument();
    }
    Report();
    m_events.OnDisconnected(problem);
}

void CPrinterServer::Report()
{
    const PrinterView view = m_printer.View();
    while (m_toldCards < view.cardsPrinted) {
        m_events.OnCard(++m_toldCards);
    }
    if (view.errorCode != m_toldError) {
        m_toldError = view.errorCode;
        m_events.OnError(m_toldError);
    }
    // A violation may be taken back: what looked like stray zero bytes was the lead of a cancel command.
    m_toldViolations = std::min<uint64_t>(m_toldViolations, view.violationCount);
    for (; m_toldViolations < view.violations.size(); ++m_toldViolations) {
        m_events.OnViolation(view.violations[static_cast<size_t>(m_toldViolations)]);
    }
}

} // namespace zrtmon::sim
